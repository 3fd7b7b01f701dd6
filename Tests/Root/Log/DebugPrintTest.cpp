#include <Kestrel/Root/Log/DebugPrint.h>

#include <gtest/gtest.h>

#if !defined(_WIN32) // where the text goes to a debugger
TEST(DebugPrint, WritesToStandardError) {
    testing::internal::CaptureStderr();
    DBPrintf("%d %s", 5, "x");
    DBPrintf(nullptr);
    DBPrintf("%s", "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "5 x");
}
#endif
