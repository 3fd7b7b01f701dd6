#include <Kestrel/Location/CString.h>

#include "Tests/Support/FaultSweep.h"

#include <gtest/gtest.h>

#include <string>

using Text = IO::CString<256>;

TEST(CString, KeepsUpTo255BytesInside) {
    unsigned long long const before = Tests::CountAllocations();
    for (unsigned int length : {0u, 1u, 255u}) {
        std::string const content(length, 'c');
        Text const text(content.c_str());
        EXPECT_EQ(text.ToCStr(), content);
        EXPECT_EQ(text.GetLength(), length);
        EXPECT_TRUE(text.IsValid());
    }
    EXPECT_EQ(Tests::CountAllocations(), before);
    for (unsigned int length : {256u, 257u, 10000u}) {
        std::string const content(length, 'c');
        Text const text(content.c_str());
        EXPECT_EQ(text.ToCStr(), content);
    }
    EXPECT_EQ(Tests::CountAllocations(), before + 3);
}

TEST(CString, TakesAPartOfItself) {
    Text text(std::string(300, 'a').append("tail").c_str());
    EXPECT_TRUE(text.Assign(text.ToCStr() + 300, 4));
    EXPECT_STREQ(text.ToCStr(), "tail");
    EXPECT_TRUE(text.Assign(text.ToCStr() + 1, 3));
    EXPECT_STREQ(text.ToCStr(), "ail");
}

TEST(CString, IsEmptyAndInvalidWithoutMemory) {
    Text text("old");
    {
        Tests::Shortage const shortage;
        EXPECT_FALSE(text.Assign(std::string(256, 'c').c_str(), 256));
    }
    EXPECT_FALSE(text.IsValid());
    EXPECT_STREQ(text.ToCStr(), "");
    text = "short";
    EXPECT_TRUE(text.IsValid());
}
