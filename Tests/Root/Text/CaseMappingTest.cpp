#include <Kestrel/Root/Text/CaseMapping.h>

#include <Kestrel/Root/Text/UniString.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <vector>

using Mu::ToLowerUnit;
using Mu::ToUpperUnit;
using Mu::UniString;

TEST(CaseMapping, MapsKnownPairsOfManyScripts) {
    // The second line has no case, or none of one unit.
    std::u16string_view const lower =
        u"az\u00E4\u00FE\u0153\u03B1\u0436\u0561\u1E3F\uFF41\u00FF\u2170"
        u"\u00DF\u00D7\u00F7\u4E00\u05D0\uFFFF@[`{";
    std::u16string_view const upper =
        u"AZ\u00C4\u00DE\u0152\u0391\u0416\u0531\u1E3E\uFF21\u0178\u2160"
        u"\u00DF\u00D7\u00F7\u4E00\u05D0\uFFFF@[`{";
    for (std::size_t i = 0; i < lower.size(); ++i) {
        EXPECT_EQ(ToUpperUnit(lower[i]), upper[i]);
        EXPECT_EQ(ToLowerUnit(upper[i]), lower[i]);
        EXPECT_EQ(ToUpperUnit(upper[i]), upper[i]);
        EXPECT_EQ(ToLowerUnit(lower[i]), lower[i]);
    }
}

TEST(CaseMapping, IsStableOverTheWholePlane) {
    unsigned int changed = 0;
    for (unsigned int i = 0; i < 0x10000; ++i) {
        unsigned short const unit = static_cast<unsigned short>(i);
        unsigned short const upper = ToUpperUnit(unit);
        unsigned short const lower = ToLowerUnit(unit);
        ASSERT_EQ(ToUpperUnit(upper), upper) << i;
        ASSERT_EQ(ToLowerUnit(lower), lower) << i;
        ASSERT_FALSE(unit != 0 && (upper == 0 || lower == 0)) << i;
        ASSERT_TRUE(unit >> 11 != 0xD800 >> 11 || (upper == unit && lower == unit)) << i;
        ASSERT_TRUE(unit >= 0x80 || upper < 0x80) << i;
        ASSERT_TRUE(unit < 0x80 || upper >= 0x80 || Mu::UniChar(upper).IsAlpha()) << i;
        ASSERT_TRUE(unit < 0x80 || lower >= 0x80 || Mu::UniChar(lower).IsAlpha()) << i;
        changed += upper != unit ? 1 : 0;
    }
    EXPECT_GT(changed, 900u) << "not ASCII alone";
}

TEST(CaseMapping, HashesLikeAnUpperCasedCopyWithoutMakingOne) {
    std::mt19937 random(3);
    for (int round = 0; round < 2000; ++round) {
        UniString text;
        for (unsigned int i = random() % 20; i > 0; --i)
            text.Append(Mu::UniChar(static_cast<unsigned short>(
                random() % 2 == 0 ? random() % 0x80 : random() % 0x10000)));
        UniString copy(text);
        unsigned long long const before = Tests::CountAllocations();
        unsigned int const hash = Mu::HashUnitsUpperCased(text.GetUnits(), text.GetLength());
        ASSERT_EQ(Tests::CountAllocations(), before);
        copy.SetToUpperCase();
        ASSERT_EQ(hash, copy.GenerateHashValue());
        ASSERT_TRUE(Mu::EqualUnitsUpperCased(text.GetUnits(), copy.GetUnits(), copy.GetLength()));
    }
}

TEST(CaseMapping, HashesTheSameOnEveryPlatform) {
    EXPECT_EQ(UniString().GenerateHashValue(), 0u);
    EXPECT_EQ(UniString(u"Kestrel \u20AC").GenerateHashValue(), 0xBEFDA6A8u);
}

// Names that are numbered, as most large folders have them, must not pile up anywhere: neither in
// the low bits, where tables look, nor in the whole value.
TEST(CaseMapping, SpreadsNumberedNames) {
    std::set<unsigned int> hashes;
    std::vector<unsigned int> buckets(4096);
    for (unsigned int i = 0; i < 40960; ++i) {
        unsigned int const hash = UniString::Printf("file%05u.txt", i).GenerateHashValue();
        hashes.insert(hash);
        ++buckets[hash % buckets.size()];
    }
    EXPECT_GT(hashes.size(), 40940u);
    EXPECT_LT(*std::max_element(buckets.begin(), buckets.end()), 35u);
}

TEST(UniChar, ClassifiesAsciiAndComparesWithBytes) {
    using Mu::UniChar;
    EXPECT_TRUE(UniChar('q').IsLower() && UniChar('Q').IsAlpha() && !UniChar('Q').IsLower());
    EXPECT_TRUE(UniChar('0').IsDigit() && UniChar('9').IsDigit() && !UniChar(':').IsDigit());
    EXPECT_TRUE(UniChar('f').IsHexaDigit() && UniChar('F').IsHexaDigit());
    EXPECT_FALSE(UniChar('g').IsHexaDigit() || UniChar('@').IsAlpha() || UniChar('[').IsAlpha());
    EXPECT_FALSE(UniChar(u'\u00E4').IsAlpha() || UniChar(u'\u0661').IsDigit());
    EXPECT_TRUE(UniChar('\xE4') == u'\u00E4');
    EXPECT_TRUE(UniChar('\xE4') == '\xE4');
    EXPECT_TRUE(UniChar(u'\u0141') != 'A') << "whose low byte is the same";
    EXPECT_EQ(static_cast<char>(UniChar('\xE4')), '\xE4');
    EXPECT_EQ(static_cast<unsigned char>(UniChar(u'\u20AC')), '?');
}
