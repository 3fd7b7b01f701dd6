#include <Kestrel/Root/Text/UniString.h> // first: the header stands on its own

#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Text/CaseMapping.h>

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
    UniString const empty, fromNothing(""), fromNull(static_cast<char const *>(nullptr));
    UniString copy(empty);
    copy.Append(fromNothing);
    copy.ClearContent();
    copy.Truncate(5);
    EXPECT_EQ(copy[0], 0);
    EXPECT_TRUE(copy == fromNull);
    EXPECT_EQ(Tests::CountAllocations(), before);
}

TEST(UniString, IsMadeOfAndAssignedFromEveryKindOfText) {
    unsigned short const units[] = {'x', 0xE4, 0};
    UniString const text = "abcdef";
    EXPECT_TEXT(UniString("abcdef", 3), "abc");
    auto const underWay = text + "-";
    EXPECT_TEXT(UniString("1" + text + "-" + u"\u00E4" + units + text(0, 1) + 'z'),
                "1abcdef-\xC3\xA4x\xC3\xA4"
                "az");
    EXPECT_TEXT(UniString(underWay + "x" + 'y'), "abcdef-xy");
    EXPECT_TEXT(UniString(underWay), "abcdef-");
    UniString other;
    other = units;
    EXPECT_TEXT(other, "x\xC3\xA4");
    other.Assign("narrow", 3, MuLogCharCode);
    EXPECT_TEXT(other, "nar");
    other.Assign(text, 3);
    EXPECT_TEXT(other, "def");
    other = static_cast<char const *>(nullptr);
    EXPECT_TEXT(other, "");
}

TEST(UniString, GivesMemoryBackOnlyWhenAsked) {
    UniString text("abcdef"), exact("123");
    text.SetCapacity(100);
    text.ClearContent();
    EXPECT_EQ(text.GetCapacity(), 100u);
    unsigned long long const before = Tests::CountAllocations();
    text = "xyz";
    text.Append(u"0123456789");
    exact = "456";
    exact.Assign("abc", 3);
    EXPECT_EQ(Tests::CountAllocations(), before);
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

TEST(UniString, ComparesHashesAndPrints) {
    UniString const text(u"Stra\u00DFe \u00C4\u00D6");
    EXPECT_TRUE(text.IsEqual(u"sTRA\u00DFE \u00E4\u00F6", Mu::IgnoreCase));
    EXPECT_FALSE(text.IsEqual(u"sTRA\u00DFE \u00E4\u00F6", Mu::RespectCase));
    EXPECT_FALSE(text.IsEqual(u"sTRA\u00DFE \u00E4\u00F5", Mu::IgnoreCase));
    EXPECT_TRUE(UniString(u"\U0001F600") < UniString(u"\uFF41")) << "by code unit";
    EXPECT_TRUE(u"ab" == UniString("ab") && UniString("abc") != "abcd" && UniString("abc") != "ab");
    EXPECT_TRUE(text() == text && text(4, 1) == u"\u00DF" && text(0, 3) < text(1, 2) &&
                text(0, 3) == UniString("Str"));
    EXPECT_FALSE(UniString() == static_cast<char const *>(nullptr));
    EXPECT_EQ(std::hash<UniString>()(text), text.GenerateHashValue());
    std::ostringstream stream;
    stream << text;
    EXPECT_EQ(stream.str(), "Stra\xC3\x9F"
                            "e \xC3\x84\xC3\x96");
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
        try {
            Tests::Shortage const shortage(Random(10) == 0 ? 1 + Random(2) : 0);
            Change();
        } catch (Mu::OutOfMemoryException const &) { // it is as it was
        }
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
            text(from, range) = UniString("-0123")(1, 99);
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
        auto const part = std::as_const(text).GetSubstring().GetSubstring(from, range);
        ASSERT_TRUE(part == view);
        ASSERT_EQ(part == std::u16string_view(pattern), view == pattern);
        ASSERT_EQ(part == "ab", view == u"ab");
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
