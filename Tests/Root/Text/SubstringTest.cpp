#include <Kestrel/Root/Text/Substring.h>

#include <Kestrel/Root/Text/UniString.h>

#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

using Mu::UniString;

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
