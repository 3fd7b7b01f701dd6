#include <Kestrel/Root/UniString.h> // first: the header stands on its own

#include <Kestrel/Root/Exceptions.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

#include <random>
#include <sstream>

using Mu::UniString;

namespace {

std::u16string ToModel(UniString const & text) {
    return std::u16string(text.begin(), text.end());
}

#define EXPECT_TEXT(text, expected)                                                                \
    EXPECT_EQ(ToUtf8(text), expected);                                                             \
    EXPECT_EQ((text).CheckState(), Mu::NoError)

} // namespace

TEST(UniString, IsThreeWordsAndEmptyOnesTakeNoMemory) {
    EXPECT_LE(sizeof(UniString), 24u);
    unsigned long long const before = Tests::CountAllocations();
    UniString const empty;
    UniString copy(empty);
    UniString const fromNothing("");
    UniString const fromNull(static_cast<char const *>(nullptr));
    copy = empty;
    copy.Append(fromNothing);
    copy.Append("");
    copy.SetLength(0);
    copy.ClearContent();
    copy.Truncate(5);
    EXPECT_EQ(copy[0], 0);
    EXPECT_TRUE(copy == fromNull);
    EXPECT_EQ(Tests::CountAllocations(), before);
}

TEST(UniString, TakesOneExactBlockForACopy) {
    UniString const text("a name of some length");
    unsigned long long const before = Tests::CountAllocations();
    UniString const copy(text);
    EXPECT_EQ(copy.GetCapacity(), text.GetLength());
    UniString moved(std::move(const_cast<UniString &>(copy)));
    EXPECT_TEXT(moved, "a name of some length");
    EXPECT_EQ(Tests::CountAllocations(), before + 1);
}

TEST(UniString, AppendsPieceByPieceInFewAllocations) {
    UniString text;
    unsigned long long const before = Tests::CountAllocations();
    for (unsigned int i = 0; i < 100000; ++i)
        text.Append(Mu::UniChar(static_cast<unsigned short>(i)));
    EXPECT_LE(Tests::CountAllocations() - before, 30u);
    UniString pieces;
    for (unsigned int i = 0; i < 50000; ++i)
        pieces.Append("ab");
    EXPECT_LE(Tests::CountAllocations() - before, 60u);
    for (unsigned int i = 0; i < 100000; ++i)
        ASSERT_EQ(text[i], static_cast<unsigned short>(i));
}

TEST(UniString, IsMadeOfAndAssignedFromEveryKindOfText) {
    unsigned short const units[] = {'x', 0xE4, 0};
    UniString text = "abcdef";
    EXPECT_TEXT(UniString("abcdef", 3), "abc");
    EXPECT_TEXT(UniString(units), "x\xC3\xA4");
    EXPECT_TEXT(UniString(u"\u00E4"), "\xC3\xA4");
    EXPECT_TEXT(UniString(text, 2, 3), "cde");
    EXPECT_TEXT(UniString(text(1, 2)), "bc");
    EXPECT_TEXT(UniString(std::as_const(text)(4)), "ef");
    EXPECT_TEXT(UniString(text + "-" + u"\u00E4" + units + text(0, 1) + 'z'),
                "abcdef-\xC3\xA4x\xC3\xA4"
                "az");
    EXPECT_TEXT(UniString("1" + text), "1abcdef");
    auto const underWay = text + "-";
    EXPECT_TEXT(UniString(underWay + "x" + 'y'), "abcdef-xy");
    EXPECT_TEXT(UniString(underWay), "abcdef-");
    UniString other;
    other = text(1, 3);
    EXPECT_TEXT(other, "bcd");
    other = units;
    EXPECT_TEXT(other, "x\xC3\xA4");
    other = "narrow";
    EXPECT_TEXT(other, "narrow");
    other.Assign("narrow", 3, MuLogCharCode);
    EXPECT_TEXT(other, "nar");
    other.Assign(text, 3);
    EXPECT_TEXT(other, "def");
    other = static_cast<char const *>(nullptr);
    EXPECT_TEXT(other, "");
}

TEST(UniString, KeepsZeroUnitsInside) {
    UniString text("a\0b", 3);
    EXPECT_EQ(text.GetLength(), 3u);
    EXPECT_EQ(text.FindFirst('b'), 2u);
    EXPECT_FALSE(text == "a");
    EXPECT_EQ(text, UniString("a\0b", 3));
}

// What lies past the end is left out; what begins past the end is empty, and stands at the end.
TEST(UniString, ClampsEveryRangeToTheText) {
    UniString const text("abc");
    EXPECT_TEXT(UniString(text(1, 99)), "bc");
    EXPECT_TEXT(UniString(text(3, 1)), "");
    EXPECT_TEXT(UniString(text(99, 99)), "");
    EXPECT_TEXT(UniString(text(0xFFFFFFFF, 0xFFFFFFFF)), "");
    EXPECT_TEXT(UniString(text.GetPrefix(99)), "abc");
    EXPECT_TEXT(UniString(text, 2, 0xFFFFFFFE), "c");
    EXPECT_EQ(text.FindFirst('a', 1, 0xFFFFFFFF), Mu::NotFound);
    EXPECT_EQ(text.FindFirst('c', 0xFFFFFFFE, 7), Mu::NotFound);
    UniString edit(text);
    edit.SetSubstring(99, 99, 'd');
    edit.SetSubstring(3, 99, UniString("xyz"), 1, 99);
    edit.SetToUpperCase(4, 99);
    edit.ReplaceAll('a', 'q', 77, 1);
    EXPECT_TEXT(edit, "abcyZ");
    EXPECT_STREQ(edit.ToCStr(2, 2), "cy");
}

TEST(UniString, EditsInPlace) {
    UniString text("a%20b%20c");
    text.SetSubstring(1, 3, ' ');
    EXPECT_TEXT(text, "a b%20c");
    text.SetSubstring(3, 3, UniString("%2F"));
    EXPECT_TEXT(text, "a b%2Fc");
    text.SetSubstring(3, 3, UniString("0123456789"), 2, 5);
    EXPECT_TEXT(text, "a b23456c");
    text.SetSubstring(1, 7, UniString());
    EXPECT_TEXT(text, "ac");
    text.Pad(5, '.');
    text.Pad(3, '!');
    EXPECT_TEXT(text, "ac...");
    text.ReplaceAll('.', '-', 3, 1);
    EXPECT_TEXT(text, "ac.-.");
    text.SetLength(1);
    text.SetLength(3);
    EXPECT_EQ(ToModel(text), std::u16string(u"a\0\0", 3));
}

// Whatever part of a text is put into the same text, the part is what it was before.
TEST(UniString, TakesPartsOfItself) {
    for (unsigned int room : {0u, 100u}) {
        UniString text("abcdef");
        text.SetCapacity(room);
        text.Append(text);
        EXPECT_TEXT(text, "abcdefabcdef");
        text.Append(text, 1, 2);
        EXPECT_TEXT(text, "abcdefabcdefbc");
        text.SetSubstring(1, 4, text, 2, 12);
        EXPECT_TEXT(text, "acdefabcdefbcfabcdefbc");
        text = text(1, 4);
        EXPECT_TEXT(text, "cdef");
        text = std::as_const(text);
        EXPECT_TEXT(text, "cdef");
        text = text + "|" + text;
        EXPECT_TEXT(text, "cdef|cdef");
        text.Append(text.GetUnits() + 4);
        EXPECT_TEXT(text, "cdef|cdef|cdef");
        text = text.GetUnits() + 9;
        EXPECT_TEXT(text, "|cdef");
    }
}

TEST(UniString, GivesMemoryBackOnlyWhenAsked) {
    UniString text("abcdef");
    text.SetCapacity(100);
    EXPECT_EQ(text.GetCapacity(), 100u);
    text.ClearContent();
    EXPECT_EQ(text.GetCapacity(), 100u);
    unsigned long long const before = Tests::CountAllocations();
    text = "xyz";
    text.Append(u"0123456789");
    EXPECT_EQ(Tests::CountAllocations(), before);
    UniString exact("123");
    unsigned long long const exactBefore = Tests::CountAllocations();
    exact = "456";
    exact.Assign("abc", 3);
    EXPECT_EQ(Tests::CountAllocations(), exactBefore);
    text.SetCapacity(5);
    EXPECT_EQ(text.GetCapacity(), 13u) << "never below the text";
    EXPECT_TEXT(text, "xyz0123456789");
    text.Clear();
    EXPECT_EQ(text.GetCapacity(), 0u);
}

TEST(UniString, RefusesMoreThanItCanHold) {
    UniString text("abc");
    EXPECT_THROW(text.SetCapacity(UniString::MaxLength + 1), Mu::OutOfMemoryException);
    EXPECT_THROW(text.SetLength(0xFFFFFFFF), Mu::OutOfMemoryException);
    EXPECT_THROW(text.Pad(0xFFFFFFFE, 'x'), Mu::OutOfMemoryException);
    EXPECT_TEXT(text, "abc");
}

TEST(UniString, ComparesExactlyOrWithoutCase) {
    UniString const text(u"Stra\u00DFe \u00C4\u00D6");
    EXPECT_TRUE(text.IsEqual(u"sTRA\u00DFE \u00E4\u00F6", Mu::IgnoreCase));
    EXPECT_FALSE(text.IsEqual(u"sTRA\u00DFE \u00E4\u00F6", Mu::RespectCase));
    EXPECT_FALSE(text.IsEqual(u"sTRASSE \u00E4\u00F6", Mu::IgnoreCase));
    EXPECT_FALSE(text.IsEqual(u"sTRA\u00DFE \u00E4\u00F5", Mu::IgnoreCase));
    EXPECT_TRUE(UniString("ABC") < UniString("abc"));
    EXPECT_TRUE(UniString("ab") < UniString("abc"));
    EXPECT_FALSE(UniString("abc") < UniString("abc"));
    EXPECT_TRUE(UniString(u"\U0001F600") < UniString(u"\uFF41")) << "by code unit";
    EXPECT_TRUE(U("\xC3\xA4x") == u"\u00E4x");
    EXPECT_TRUE(u"ab" == UniString("ab"));
    EXPECT_TRUE(UniString("abc") != "abcd");
    EXPECT_TRUE(UniString("abc") != "ab");
    EXPECT_TRUE(UniString("abc")(1, 1) == "b");
    EXPECT_FALSE(UniString() == static_cast<char const *>(nullptr));
}

TEST(UniString, HashesAndPrintsForTheStandardLibrary) {
    UniString const text(u"h\u00E9");
    EXPECT_EQ(std::hash<UniString>()(text), text.GenerateHashValue());
    EXPECT_NE(text.GenerateHashValue(), UniString("h").GenerateHashValue());
    std::ostringstream stream;
    stream << text;
    EXPECT_EQ(stream.str(), "h\xC3\xA9");
    EXPECT_EQ(std::u16string_view(text), u"h\u00E9");
}

TEST(UniString, IsAsItWasAfterEveryFailedAllocation) {
    using Step = void (*)(UniString &);
    Step const steps[] = {
        [](UniString & text) { text.Append(u"\u00E4\u00F6 and a tail"); },
        [](UniString & text) { text.Append("narrow and long enough"); },
        [](UniString & text) { text.Append(text); },
        [](UniString & text) { text.SetSubstring(2, 1, text); },
        [](UniString & text) { text = "another text, which is longer"; },
        [](UniString & text) { text = UniString("from a copy of something longer"); },
        [](UniString & text) { text = text + "-" + text; },
        [](UniString & text) { text.SetCapacity(1000); },
        [](UniString & text) { text(1, 2) = "a replacement of more units"; },
        [](UniString & text) {
            text = UniString::Printf("%s %ls %d", "a narrow text", text.ToUStr(), 7);
        },
    };
    for (Step const step : steps) {
        SCOPED_TRACE(&step - steps);
        SweepAllocations([step](bool failed) {
            UniString text("start");
            try {
                step(text);
            } catch (Mu::OutOfMemoryException const &) {
                EXPECT_TRUE(failed);
                EXPECT_TEXT(text, "start");
            }
        });
    }
}

// Whatever the order of operations, the text is a std::u16string with clamped ranges.
TEST(UniString, IsAStandardStringWithClampedRanges) {
    for (unsigned int seed = 1; seed <= 150; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        UniString text;
        std::u16string model;
        auto const upTo = [&](std::size_t most) {
            return static_cast<unsigned int>(random() % (most + 1));
        };
        for (int step = 0; step < 200; ++step) {
            unsigned int const from = upTo(model.size() + 2);
            unsigned int const range = upTo(12) == 0 ? UniString::All : upTo(6);
            std::size_t const modelFrom = std::min<std::size_t>(from, model.size());
            char16_t const unit = static_cast<char16_t>(u'a' + upTo(5));
            switch (upTo(9)) {
            case 0:
                text.Append(unit);
                model += unit;
                break;
            case 1:
                text.Append(text, from, range);
                model += std::u16string(model, modelFrom, range);
                break;
            case 2: {
                std::u16string const part(model, std::min<std::size_t>(3, model.size()), range);
                text.SetSubstring(from, range, text, 3, range);
                model.replace(modelFrom, range, part);
                break;
            }
            case 3:
                text.SetSubstring(from, range, unit);
                model.replace(modelFrom, range, 1, unit);
                break;
            case 4:
                text.Truncate(from);
                model.resize(modelFrom);
                break;
            case 5:
                text = text(from, range);
                model = std::u16string(model, modelFrom, range);
                break;
            case 6: text.SetCapacity(from); break;
            case 7:
                text.Pad(from, unit);
                model.resize(std::max<std::size_t>(from, model.size()), unit);
                break;
            case 8: {
                UniString const copy(text);
                text = UniString(u"abc") + copy(from, range);
                model = u"abc" + std::u16string(model, modelFrom, range);
                break;
            }
            default: {
                std::size_t const found = model.find(unit, from);
                bool const isInRange = found != std::u16string::npos && (found - from < range);
                ASSERT_EQ(text.FindFirst(unit, from, range),
                          isInRange ? static_cast<unsigned int>(found) : Mu::NotFound);
            }
            }
            if (model.size() > 200) {
                text.Truncate(20);
                model.resize(20);
            }
            ASSERT_EQ(ToModel(text), model);
            ASSERT_EQ(text.CheckState(), Mu::NoError);
            ASSERT_EQ(text[text.GetLength()], 0);
        }
    }
}
