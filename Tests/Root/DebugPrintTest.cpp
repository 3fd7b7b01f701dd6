#include <Kestrel/Root/DebugPrint.h>

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(DebugPrint, FormatsAndCutsWhatIsTooLong) {
#if defined(_WIN32)
    DBPrintf("%s %d\n", "number", 7);
    GTEST_SKIP() << "the text goes to the debugger, and there is none";
#else
    ::testing::internal::CaptureStderr();
    DBPrintf("%s %d\n", "number", 7);
    DBPrintf(nullptr);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "number 7\n");
    ::testing::internal::CaptureStderr();
    DBPrintf("%s", std::string(5000, 'x').c_str());
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), std::string(4095, 'x'));
#endif
}

} // namespace
