#include <Kestrel/FileSystem/IOException.h>

#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

#include <memory>

TEST(IOException, IsOneOfTheFamilyWithANumberOfItsOwn) {
    IO::IOException const cause("deep", "a.cpp", 1);
    IO::IOException const exception(U("disk is gone"), "b.cpp", 7, cause);
    EXPECT_STREQ(exception.GetName(), "IOException");
    EXPECT_STREQ(exception.GetMessage(), "disk is gone");
    EXPECT_EQ(exception.GetID(), -7003);
    EXPECT_EQ(cause.GetID(), -7003);
    EXPECT_STREQ(exception.GetCause().GetMessage(), "deep");
    EXPECT_FALSE(cause.HasCause());
    EXPECT_STREQ(std::unique_ptr<IO::IOException>(exception.Clone())->GetName(), "IOException");
}
