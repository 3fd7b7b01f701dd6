#include <Kestrel/Root/UniString.h> // first: the header stands on its own

#include <Kestrel/Root/CaseMapping.h>
#include <Kestrel/Root/Exceptions.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

#include <algorithm>
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

TEST(UniString, FindsNarrowTextsOfAnyLength) {
    for (unsigned int length = 120; length < 140; ++length) {
        std::string const narrow(length, 'x');
        UniString text(".");
        text.Append(narrow.c_str());
        ASSERT_EQ(text.FindFirst(narrow.c_str()), 1u);
        ASSERT_EQ(text.FindFirst((narrow + "x").c_str()), Mu::NotFound);
    }
    EXPECT_EQ(UniString(u"x?\u00E4").FindFirstIn("\xC3\xA4", 0, UniString::All, MuLogCharCode), 2u);
    EXPECT_EQ(UniString("\x01(a)").GetSubstring('(', ')'), "a");
}

namespace {

/// A text and a std::u16string, of few different units, zero among them.
class TextAndModel {
public:
    explicit TextAndModel(unsigned int seed) : random(seed) {}

    // What lies past the end is left out; what begins past the end is empty, and stands at the end.
    void Step() {
        from = Random(model.size() + 3);
        range = Random(12) == 0 ? UniString::All : Random(7);
        at = std::min<std::size_t>(from, model.size());
        unit = AnyUnit();
        Change();
        if (model.size() > 100) {
            text.Truncate(20);
            model.resize(20);
        }
        ASSERT_EQ(ToModel(text), model);
        ASSERT_EQ(text.CheckState(), Mu::NoError);
        ASSERT_EQ(text[text.GetLength()], 0);
        at = std::min<std::size_t>(from, model.size());
        Search();
        Look();
    }

private:
    unsigned int Random(std::size_t below) { return static_cast<unsigned int>(random() % below); }
    char16_t AnyUnit() { return u"abcAB\0"[Random(6)]; }
    std::u16string_view InRange() const { return std::u16string_view(model).substr(at, range); }

    void Change() {
        // A part of the text itself, in front of its first zero unit, and another text.
        std::u16string const rest = model.substr(at).c_str();
        std::u16string const part(model, std::min<std::size_t>(3, model.size()), range);
        std::size_t const count = InRange().size();
        switch (Random(15)) {
        case 0:
            text.Append(unit);
            model += unit;
            break;
        case 1:
            text.Append(text, from, range);
            model += std::u16string(InRange());
            break;
        case 2:
            text.Append(text.GetUnits() + at);
            model += rest;
            break;
        case 3:
            text = text.GetUnits() + at;
            model = rest;
            break;
        case 4:
            text.SetSubstring(from, range, text, 3, range);
            model.replace(at, range, part);
            break;
        case 5:
            text.SetSubstring(from, range, UniString("-0123"), 1, 99);
            model.replace(at, range, u"0123");
            break;
        case 6:
            text.SetSubstring(from, range, unit);
            model.replace(at, range, 1, unit);
            break;
        case 7:
            text.Truncate(from);
            model.resize(at);
            break;
        case 8:
            text = text(from, range);
            model = std::u16string(InRange());
            break;
        case 9: text.SetCapacity(from); break;
        case 10:
            text.Pad(from, unit);
            model.resize(std::max<std::size_t>(from, model.size()), unit);
            break;
        case 11: {
            UniString const copy(text);
            text = UniString(u"abc") + copy(from, range);
            model = u"abc" + std::u16string(InRange());
            break;
        }
        case 12:
            text.ReplaceAll(unit, 'c', from, range);
            std::replace(model.begin() + at, model.begin() + at + count, unit, u'c');
            break;
        case 13: {
            bool const isUpper = Random(2) == 0;
            isUpper ? text.SetToUpperCase(from, range) : text.SetToLowerCase(from, range);
            for (std::size_t i = at; i < at + count; ++i)
                model[i] = isUpper ? Mu::ToUpperUnit(model[i]) : Mu::ToLowerUnit(model[i]);
            break;
        }
        default: text.SetLength(from); model.resize(from);
        }
    }

    unsigned int ToIndex(std::size_t found) const {
        return found == model.npos ? Mu::NotFound : static_cast<unsigned int>(at + found);
    }

    void Search() {
        std::u16string_view const view = InRange();
        std::u16string pattern(Random(4), u' ');
        for (char16_t & each : pattern)
            each = AnyUnit();
        UniString const sought{std::u16string_view(pattern)};
        ASSERT_EQ(text.FindFirst(unit, from, range), ToIndex(view.find(unit)));
        ASSERT_EQ(text.Contains(unit, from, range), view.find(unit) != view.npos);
        ASSERT_EQ(text.FindFirst(sought, from, range), ToIndex(view.find(pattern)));
        ASSERT_EQ(text.FindFirst("ab", from, range), ToIndex(view.find(u"ab")));
        ASSERT_EQ(text.FindFirstIn("Bc", from, range), ToIndex(view.find_first_of(u"Bc")));
        std::size_t const last = model.rfind(unit);
        ASSERT_EQ(text.FindLast(unit), last == model.npos ? Mu::NotFound : last);
        ASSERT_EQ(text.BeginsWith(sought), model.starts_with(pattern));
        ASSERT_EQ(text.EndsWith(unit), model.ends_with(unit));
        ASSERT_EQ(text == sought, model == pattern);
        ASSERT_EQ(text < sought, model < pattern);
        std::size_t const left = view.find(unit);
        std::size_t const right = left == view.npos ? view.npos : view.find(u'b', left + 1);
        ASSERT_EQ(std::u16string_view(UniString(text.GetSubstring(unit, u'b', from, range))),
                  right == view.npos ? u"" : view.substr(left + 1, right - left - 1));
    }

    void Look() {
        std::u16string_view const view = InRange();
        ASSERT_EQ(std::u16string_view(UniString(std::as_const(text)(from, range))), view);
        ASSERT_EQ(std::u16string_view(UniString(text, from, range)), view);
        ASSERT_EQ(std::u16string_view(UniString(text.GetPrefix(from))), model.substr(0, from));
        ASSERT_STREQ(text.ToCStr(from, range), std::string(view.begin(), view.end()).c_str());
    }

    std::mt19937 random;
    UniString text;
    std::u16string model;
    unsigned int from = 0, range = 0;
    std::size_t at = 0; // where the range begins in the text
    char16_t unit = 0;
};

} // namespace

TEST(UniString, IsAStandardStringWithClampedRanges) {
    for (unsigned int seed = 1; seed <= 150; ++seed) {
        SCOPED_TRACE(seed);
        TextAndModel both(seed);
        for (int step = 0; step < 200 && !HasFailure(); ++step)
            both.Step();
        if (HasFailure())
            return;
    }
}
