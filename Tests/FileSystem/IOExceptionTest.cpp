#include <Kestrel/FileSystem/IOException.h>

#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

TEST(IOException, CarriesMessagePlaceAndCause) {
    IO::IOException const cause("deep", "a.cpp", 1);
    IO::IOException const exception(U("disk is gone"), "b.cpp", 7, cause);
    EXPECT_STREQ(exception.GetName(), "IOException");
    EXPECT_STREQ(exception.GetMessage(), "disk is gone");
    EXPECT_STREQ(exception.GetFileName(), "b.cpp");
    EXPECT_EQ(exception.GetLineNumber(), 7u);
    EXPECT_EQ(exception.GetID(), -7003);
    EXPECT_STREQ(exception.GetCause().GetMessage(), "deep");
    EXPECT_FALSE(cause.HasCause());

    std::unique_ptr<IO::IOException> const copy(exception.Clone());
    EXPECT_STREQ(copy->GetMessage(), "disk is gone");
    EXPECT_STREQ(copy->GetName(), "IOException");
    IO::IOException assigned("other", "", 0);
    assigned = *copy;
    EXPECT_STREQ(assigned.GetMessage(), "disk is gone");
}
