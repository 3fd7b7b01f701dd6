#include <Kestrel/Root/Log/BugReport.h>

#include <gtest/gtest.h>

#include <string>

namespace {

std::string GetCurrent(unsigned int capacity = 2000) {
    std::string path(2000, '?');
    return BugRep_GetCurrentLogFile(path.data(), capacity) ? path.c_str() : "none";
}

std::string GetPrevious() {
    char path[100];
    return BugRep_GetPreviousLogFile(path, sizeof path) ? path : "none";
}

} // namespace

TEST(BugReport, KeepsTheTwoLastLogFiles) {
    BugRep_SetLogFileLocations("C:\\log-1", nullptr);
    EXPECT_EQ(GetCurrent(), "C:\\log-1");
    EXPECT_EQ(GetPrevious(), "none");
    BugRep_SetLogFileLocations("C:\\log-2", "C:\\log-1");
    EXPECT_EQ(GetCurrent(), "C:\\log-2");
    EXPECT_EQ(GetPrevious(), "C:\\log-1");
    EXPECT_EQ(GetCurrent(9), "C:\\log-2") << "it just fits";
    EXPECT_EQ(GetCurrent(8), "none");
    BugRep_SetLogFileLocations(std::string(1024, 'x').c_str(), std::string(1023, 'y').c_str());
    EXPECT_EQ(GetCurrent(), "none");
    BugRep_SetLogFileLocations(nullptr, nullptr);
    EXPECT_EQ(GetPrevious(), "none");
}
