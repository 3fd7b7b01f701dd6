#include <Kestrel/Root/Substring.h>

#include <Kestrel/Root/UniString.h>

#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

using Mu::UniString;

TEST(Substring, PutsWhatIsAssignedInItsPlace) {
    UniString text("one two three");
    text(4, 3) = "2";
    EXPECT_EQ(ToUtf8(text), "one 2 three");
    text(0, 3) = text(6, 5);
    EXPECT_EQ(ToUtf8(text), "three 2 three");
    text(6, 1) = '-';
    text(99) = u".";
    EXPECT_EQ(ToUtf8(text), "three - three.");
    text(5) = UniString();
    EXPECT_EQ(ToUtf8(text), "three");
}

TEST(Substring, FollowsWhatWasPutIntoIt) {
    UniString text("abc");
    Mu::Substring part = text(1, 1);
    part = "a text that moves the block";
    EXPECT_EQ(part, "a text that moves the block");
    part.SetToUpperCase();
    EXPECT_EQ(ToUtf8(text), "aA TEXT THAT MOVES THE BLOCKc");
    part = "B";
    EXPECT_EQ(part.GetLength(), 1u);
    part.SetToLowerCase();
    EXPECT_EQ(ToUtf8(text), "abc");
}

TEST(Substring, ComparesAndCutsLikeAText) {
    UniString const text("abcabc");
    EXPECT_TRUE(text(0, 3) == text(3, 3));
    EXPECT_TRUE(text(0, 2) < text(3, 3));
    EXPECT_TRUE(text(1, 2) > text(0, 3));
    EXPECT_TRUE(text(0, 3) == UniString("abc"));
    EXPECT_EQ(text(1, 4).GetSubstring(1, 99), u"cab");
    EXPECT_EQ(text(2, 3).GetSubstring(9, 9).GetLength(), 0u);
}
