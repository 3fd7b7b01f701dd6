// What stays of a log whose process is killed: this program once more, which does not survive it.

#include <Kestrel/Log/FileLogOutput.h>
#include <Kestrel/Root/Logger.h>

#include "Tests/Support/OwnProcess.h"
#include "Tests/Support/TempFolder.h"
#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#if defined(_WIN32)
#include <windows.h>
#else
#include <csignal>
#endif

namespace {

constexpr char const * FolderVariable = "KESTREL_TEST_LOG";

void SetFolder(char const * folder) {
#if defined(_WIN32)
    _putenv_s(FolderVariable, folder);
#else
    setenv(FolderVariable, folder, 1);
#endif
}

[[noreturn]] void Die() {
#if defined(_WIN32)
    TerminateProcess(GetCurrentProcess(), 9);
#else
    std::raise(SIGKILL);
#endif
    std::abort();
}

void LogLines(unsigned int first, unsigned int end) {
    static Mu::InfoLogLine line("line %, and it is whole", "test", nullptr);
    for (unsigned int i = first; i < end; ++i) {
        Mu::LogComposer composer;
        composer.Append(i);
        Mu::logger.Append(line, &composer);
    }
}

constexpr unsigned int Flushed = 1000;
constexpr unsigned int Announced = 1234; // behind the flush, brought along by an error
constexpr unsigned int Blocks = 20000;   // some of them in blocks that went out by themselves

} // namespace

// Not a test: what the killed process does.
TEST(KilledHost, DISABLED_LogsAndDies) {
    char const * const folder = std::getenv(FolderVariable);
    ASSERT_NE(folder, nullptr);
    IO::FileLogOutput log(IO::Location(U(folder)), 100, 100, 100);
    Mu::logger.SetOutput(&log, &log);
    LogLines(0, Flushed);
    Mu::logger.Flush();
    LogLines(Flushed, Announced);
    Mu::ErrorLogLine line("line 1234, and it is whole", "test", nullptr);
    Mu::logger.Append(line);
    LogLines(Announced + 1, Blocks);
    Die();
}

TEST(KilledHost, LeavesEveryFlushedBlockWhole) {
    Tests::TempFolder const folder;
    std::u16string const portable = folder.GetPortable("logs");
    SetFolder(ToUtf8(Mu::UniString(portable.c_str())).c_str());
    EXPECT_NE(Tests::RunAgain({"--gtest_also_run_disabled_tests",
                               "--gtest_filter=KilledHost.DISABLED_LogsAndDies",
                               "--gtest_output=", "--gtest_brief=1"}),
              0);
    unsigned int next = 0;
    for (auto const & entry : std::filesystem::directory_iterator(folder / "logs")) {
        std::ifstream file(entry.path(), std::ios::binary);
        std::string line;
        while (std::getline(file, line)) {
            EXPECT_FALSE(file.eof()) << "a line that is cut: " << line;
            std::string const end = " line " + std::to_string(next++) + ", and it is whole";
            ASSERT_TRUE(line.ends_with(end)) << line;
        }
    }
    EXPECT_GT(next, Announced);
    EXPECT_GT(next, Blocks - 1000) << "only the last block was not out";
    EXPECT_LT(next, Blocks) << "it was killed before";
}
