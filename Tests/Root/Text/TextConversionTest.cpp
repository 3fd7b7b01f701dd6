#include <Kestrel/Root/Text/TextConversion.h>

#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Internal/Utf8.h>
#include <Kestrel/Root/Text/UniString.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

using Mu::UniString;

namespace {

std::u16string Decode(std::string_view utf8) {
    UniString const text = U(utf8);
    return std::u16string(text.begin(), text.end());
}

std::string EncodeCodePoint(unsigned int codePoint) {
    char bytes[4];
    return std::string(bytes, Mu::Internal::EncodeUtf8Character(codePoint, bytes));
}

} // namespace

TEST(TextConversion, BringsEveryCharacterThereAndBack) {
    for (unsigned int codePoint = 1; codePoint < 0x110000; ++codePoint) {
        if (codePoint == 0xD800)
            codePoint = 0xE000;
        std::string const bytes = EncodeCodePoint(codePoint);
        UniString const text = U(bytes);
        ASSERT_EQ(text.GetLength(), codePoint < 0x10000 ? 1u : 2u);
        ASSERT_EQ(ToUtf8(text), bytes) << codePoint;
    }
    EXPECT_EQ(Decode("\xF0\x9F\xA6\x85\xE2\x82\xAC"), u"\U0001F985\u20AC");
}

TEST(TextConversion, ReplacesEachInvalidPieceOnce) {
    struct {
        std::string_view bytes;
        std::u16string_view units;
    } const rows[] = {
        {"a\x80z", u"a\uFFFDz"},                           // a follower alone
        {"\xC0\xAF", u"\uFFFD\uFFFD"},                     // a long form of '/'
        {"\xE0\x80\xAF", u"\uFFFD\uFFFD\uFFFD"},           // a longer one
        {"\xF0\x80\x80\xAF", u"\uFFFD\uFFFD\uFFFD\uFFFD"}, //
        {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},           // a surrogate
        {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"}, // above U+10FFFF
        {"\xFF\xFEx", u"\uFFFD\uFFFDx"},                   //
        {"\xE2\x82", u"\uFFFD"},                           // cut at the end
        {"\xE2\x82x", u"\uFFFDx"},                         // cut by another character
        {"\xF0\x9F\xA6\xC3\xA4", u"\uFFFD\u00E4"},         //
        {"12345678\xC3", u"12345678\uFFFD"},               // behind a run of ASCII
        {"12345678\xC3\xA4", u"12345678\u00E4"},
    };
    for (auto const & row : rows)
        EXPECT_EQ(Decode(row.bytes), row.units) << row.bytes;
}

TEST(TextConversion, KeepsLoneSurrogatesUntilTheyLeave) {
    UniString text(u"a");
    text.Append(Mu::UniChar(u'\xD83D'));
    text.Append('b');
    EXPECT_EQ(text[1], 0xD83D);
    EXPECT_EQ(ToUtf8(text), "a\xEF\xBF\xBD"
                            "b");
    text.SetSubstring(2, 1, Mu::UniChar(u'\xDE00'));
    EXPECT_EQ(ToUtf8(text), "a\xF0\x9F\x98\x80");
    EXPECT_STREQ(text.ToCStr(0, 2, MuLogCharCode), "a\xEF\xBF\xBD") << "the range parts a pair";
    text.Truncate(2);
    EXPECT_EQ(ToUtf8(text), "a\xEF\xBF\xBD");
    EXPECT_THROW((void)text.ToCStr(0, 9, MuLogCharCode, Mu::ThrowOnConversionError),
                 Mu::ConversionErrorException);
    EXPECT_STREQ(text.ToCStr(0, 1, MuLogCharCode, Mu::ThrowOnConversionError), "a");
}

TEST(TextConversion, TakesMemoryForLongTextsOnly) {
    UniString text;
    for (unsigned int length = 1; length < 400; ++length) {
        text.Append(u'\u20AC');
        unsigned long long const before = Tests::CountAllocations();
        Mu::CStr const narrow = text.ToCStr(0, UniString::All, MuLogCharCode);
        Mu::UStr const copy = text.ToUStr(0, length - 1);
        ASSERT_TRUE(length > 50 || Tests::CountAllocations() == before);
        ASSERT_EQ(narrow.GetLength(), 3 * length);
        ASSERT_EQ(std::strlen(narrow), 3 * length);
        ASSERT_TRUE(UniString(narrow, MuLogCharCode) == text);
        ASSERT_TRUE(UniString(copy.GetUnits()) == text(0, length - 1));
    }
    EXPECT_EQ(text.ToUStr(2).GetUnits(), text.GetUnits() + 2) << "the end of a text is lent";
}

// The ANSI code page of the machine or UTF-8: where a euro sign exists, it comes back.
TEST(TextConversion, BringsTextThereAndBackInTheMachinesCode) {
    UniString const text(u"\u00E4\u20AC");
    Mu::CStr const narrow = text.ToCStr();
    if (std::strchr(narrow, '?') != nullptr)
        GTEST_SKIP() << "the machine's code page has no such characters";
    EXPECT_TRUE(UniString(narrow) == text);
    EXPECT_TRUE(text == narrow.GetText());
#if !defined(_WIN32)
    EXPECT_STREQ(narrow, "\xC3\xA4\xE2\x82\xAC");
#endif
}

// Random bytes become text that is valid, and stays the same when it is converted once more.
TEST(TextConversion, MeetsRandomBytes) {
    std::mt19937 random(7);
    for (int round = 0; round < 20000; ++round) {
        std::string bytes(random() % 12, 0);
        for (char & c : bytes)
            c = static_cast<char>(random() % 3 == 0 ? random() % 128 + 1 : 0x80 + random() % 128);
        UniString const text = U(bytes);
        ASSERT_LE(text.GetLength(), bytes.size());
        std::string const once = ToUtf8(text);
        ASSERT_EQ(ToUtf8(U(once)), once);
    }
}
