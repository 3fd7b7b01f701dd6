#include <Kestrel/Root/Text/NarrowText.h>

#include <gtest/gtest.h>

namespace {

constexpr MuCharCode Utf8 = MuLogCharCode;

long long FindUnit(char16_t unit, char const * text, int length = -1) {
    char const * const place = CHSearchCharLeft(unit, text, length, Utf8);
    return place == nullptr ? -1 : place - text;
}

long long FindText(char const * pattern, char const * text, Mu::CaseType caseType,
                   int length = -1) {
    char const * const place = CHSearchSubstring(pattern, text, length, caseType, Utf8);
    return place == nullptr ? -1 : place - text;
}

int Compare(char const * a, char const * b, Mu::CaseType caseType, int lengthA = -1,
            int lengthB = -1) {
    return CHCompareTexts(a, lengthA, b, lengthB, caseType, Utf8);
}

} // namespace

TEST(NarrowText, FindsAUnitAsAWholeCharacter) {
    EXPECT_EQ(FindUnit(':', "a:b:"), 1);
    EXPECT_EQ(FindUnit(u'\u00E4', "x\xC3\xA4"), 1);
    EXPECT_EQ(FindUnit(u'\u00C3', "x\xC3\xA4"), -1) << "the byte is part of another character";
    EXPECT_EQ(FindUnit(':', "abc:", 3), -1);
    EXPECT_EQ(FindUnit(':', "", -1), -1);
    EXPECT_EQ(CHSearchCharLeft(':', nullptr, -1, Utf8), nullptr);
}

TEST(NarrowText, FindsATextWithAndWithoutCase) {
    EXPECT_EQ(FindText("Key", "a key, a Key", Mu::RespectCase), 9);
    EXPECT_EQ(FindText("Key", "a key, a Key", Mu::IgnoreCase), 2);
    EXPECT_EQ(FindText("\xC3\xA4x", "a\xC3\x84X", Mu::IgnoreCase), 1);
    EXPECT_EQ(FindText("\xC3\xA4x", "a\xC3\x84X", Mu::RespectCase), -1);
    EXPECT_EQ(FindText("abc", "abc", Mu::RespectCase, 2), -1);
    EXPECT_EQ(FindText("", "abc", Mu::RespectCase), 0);
    EXPECT_EQ(FindText("x", "", Mu::IgnoreCase), -1);
    EXPECT_EQ(FindText("\xF0\x9F\x98\x80", "..\xF0\x9F\x98\x80", Mu::IgnoreCase), 2);
}

TEST(NarrowText, ComparesWithAndWithoutCase) {
    EXPECT_EQ(Compare("TXT", "txt", Mu::RespectCase), Mu::Less);
    EXPECT_EQ(Compare("TXT\xC3\x84", "txt\xC3\xA4", Mu::IgnoreCase), 1);
    EXPECT_EQ(Compare("abc", "abd", Mu::IgnoreCase), Mu::Less);
    EXPECT_EQ(Compare("abcx", "abcy", Mu::RespectCase, 3, 3), 1);
    EXPECT_EQ(Compare("abc", "ab", Mu::RespectCase), Mu::Greater);
    EXPECT_EQ(Compare(nullptr, "", Mu::RespectCase), 1);
}

TEST(NarrowText, LowersInPlaceAtTheSameLength) {
    char text[] = "ABC \xC3\x84\xC5\x81 \xC4\xB0 \xE2\x84\xAA Z"; // the two before Z shrink
    CHtoLower(text, -1, Utf8);
    EXPECT_STREQ(text, "abc \xC3\xA4\xC5\x82 \xC4\xB0 \xE2\x84\xAA z");
    char part[] = "ABCD";
    CHtoLower(part, 2, MuMachineCharCode);
    EXPECT_STREQ(part, "abCD");
    char cut[] = "A\xC3";
    CHtoLower(cut, -1, Utf8);
    EXPECT_STREQ(cut, "a\xC3");
}
