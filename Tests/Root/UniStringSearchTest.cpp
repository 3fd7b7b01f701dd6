#include <Kestrel/Root/UniString.h>

#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

using Mu::NotFound;
using Mu::UniString;

TEST(UniStringSearch, FindsUnitsAsIndicesOfTheWholeText) {
    UniString const text("a.b.c");
    EXPECT_EQ(text.FindFirst('.'), 1u);
    EXPECT_EQ(text.FindFirst('.', 2), 3u);
    EXPECT_EQ(text.FindFirst('.', 2, 1), NotFound);
    EXPECT_EQ(text.FindFirst('.', 2, 2), 3u);
    EXPECT_EQ(text.FindLast('.'), 3u);
    EXPECT_EQ(text.FindLast('x'), NotFound);
    EXPECT_EQ(UniString().FindLast('x'), NotFound);
    EXPECT_EQ(UniString("x").FindLast('x'), 0u);
    EXPECT_TRUE(text.Contains('c'));
    EXPECT_FALSE(text.Contains('c', 0, 4));
}

TEST(UniStringSearch, FindsTextsThatLieWhollyInTheRange) {
    UniString const text("foo://bar://");
    UniString const mark("://");
    EXPECT_EQ(text.FindFirst(mark), 3u);
    EXPECT_EQ(text.FindFirst("://"), 3u);
    EXPECT_EQ(text.FindFirst(mark, 4), 9u);
    EXPECT_EQ(text.FindFirst(mark, 4, 7), NotFound);
    EXPECT_EQ(text.FindFirst(mark, 4, 8), 9u);
    EXPECT_EQ(text.FindFirst("aab"), NotFound);
    EXPECT_EQ(UniString("aaab").FindFirst("aab"), 1u) << "a start that fails is taken up again";
    EXPECT_EQ(text.FindFirst("", 5), 5u);
    EXPECT_EQ(text.FindFirst("", 99), text.GetLength());
}

TEST(UniStringSearch, TakesNarrowTextsOfAnyLength) {
    for (unsigned int length = 120; length < 140; ++length) {
        std::string const narrow(length, 'x');
        UniString text(".");
        text.Append(narrow.c_str());
        ASSERT_EQ(text.FindFirst(narrow.c_str()), 1u);
        ASSERT_EQ(text.FindFirst((narrow + "x").c_str()), NotFound);
    }
}

TEST(UniStringSearch, FindsOneOfASet) {
    UniString const text(u"name\u00E4?x");
    EXPECT_EQ(text.FindFirstIn("*?"), 5u);
    EXPECT_EQ(text.FindFirstIn("\xC3\xA4?", 0, 0xFFFFFFFF, MuLogCharCode), 4u);
    EXPECT_EQ(text.FindFirstIn("*?", 0, 5), NotFound);
    EXPECT_EQ(text.FindFirstIn(""), NotFound);
}

TEST(UniStringSearch, TellsBeginAndEnd) {
    UniString const text("abc");
    EXPECT_TRUE(text.BeginsWith(""));
    EXPECT_TRUE(text.BeginsWith("abc"));
    EXPECT_FALSE(text.BeginsWith("abcd"));
    EXPECT_FALSE(text.BeginsWith("b"));
    EXPECT_TRUE(text.EndsWith('c'));
    EXPECT_FALSE(text.EndsWith('b'));
    EXPECT_FALSE(UniString().EndsWith(u'\0'));
}

TEST(UniStringSearch, CutsOutWhatStandsBetweenTwoUnits) {
    UniString text(")a(b(c)d)");
    EXPECT_EQ(text.GetSubstring('(', ')'), "b(c");
    EXPECT_EQ(std::as_const(text).GetSubstring(u'(', u')'), "b(c");
    EXPECT_EQ(text.GetSubstring(Mu::UniChar('('), ')', 4), "c");
    EXPECT_EQ(text.GetSubstring('(', ')', 4, 2), "") << "the right unit is out of the range";
    EXPECT_EQ(text.GetSubstring('x', ')'), "");
    EXPECT_EQ(UniString("''").GetSubstring('\'', '\''), "");
    EXPECT_EQ(UniString("'a'b'").GetSubstring('\'', '\''), "a");
}
