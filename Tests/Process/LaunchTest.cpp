// Real programs: this one once more, and what is none.

#include <Kestrel/Process/Platform/ProcessCalls.h>

#include "Tests/Support/OwnProcess.h"
#include "Tests/Support/TempFolder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <thread>

#if !defined(_WIN32)
#include <sys/wait.h>
#endif

namespace {

namespace fs = std::filesystem;

constexpr char const * ResultVariable = "KESTREL_TEST_LAUNCHED";

// What comes into being when another process has done its work.
std::string Await(fs::path const & file) {
    for (int tries = 0; tries < 1000 && !fs::exists(file); ++tries)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    std::ifstream stream(file);
    return std::string(std::istreambuf_iterator<char>(stream), {});
}

unsigned int Launch(fs::path const & path, std::u16string_view parameters) {
    return IO::Process::GetPlatformProcessCalls().Launch(path.c_str(), parameters);
}

fs::path GetOwnPath() {
    char16_t units[4096];
    IO::TextBuffer text{units, 4096, 0};
    EXPECT_EQ(IO::Process::GetPlatformProcessCalls().GetModuleFileName(&text), 0u);
    return fs::path(std::u16string(text.GetText()));
}

} // namespace

// Not a test: what the launched process does.
TEST(Launch, DISABLED_SaysThatItRuns) {
    std::string const file = std::getenv(ResultVariable);
    std::ofstream(file + "~") << "it runs";
    fs::rename(file + "~", file);
}

TEST(Launch, StartsAProgramAndDoesNotKeepIt) {
    Tests::TempFolder folder;
    Tests::SetVariable(ResultVariable, (folder / "result").string());
    ASSERT_EQ(Launch(GetOwnPath(), u"--gtest_also_run_disabled_tests  --gtest_brief=1 "
                                   u"--gtest_filter=Launch.DISABLED_SaysThatItRuns"),
              0u);
    EXPECT_EQ(Await(folder / "result"), "it runs");
#if !defined(_WIN32)
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
#endif
}

TEST(Launch, ReportsWhatCannotBeStarted) {
    Tests::TempFolder folder;
    EXPECT_EQ(Launch(folder / "nothing", u"a b"), IO::FileError::FileNotFound);
    std::u16string const half(1, 0xD800);
#if !defined(_WIN32)
    EXPECT_EQ(Launch(GetOwnPath(), half), IO::FileError::InvalidName);
#endif
}

#if !defined(_WIN32)

TEST(Launch, HandsAFileThatIsNoProgramToWhatOpensIt) {
    Tests::TempFolder folder;
    std::ofstream(folder / "letter.txt") << "text";
    std::string const path = std::getenv("PATH");
    Tests::SetVariable("PATH", (folder / "").string());
    std::signal(SIGCHLD, SIG_IGN); // of no use to what is launched, and no failure
    EXPECT_EQ(Launch(folder / "letter.txt", u""), IO::FileError::AccessDenied)
        << "nothing opens it";
    std::ofstream(folder / "xdg-open") << "#!/bin/sh\necho \"$# $1 $(/bin/grep -c "
                                          "'SigIgn:.*[08]0000000$' /proc/$$/status)\" >\"$0~\"\n"
                                          "/bin/mv \"$0~\" \"$0.result\"\n";
    fs::permissions(folder / "xdg-open", fs::perms::owner_all);
    EXPECT_EQ(Launch(folder / "letter.txt", u"a b"), 0u);
    Tests::SetVariable("PATH", path);
    std::signal(SIGCHLD, SIG_DFL);
    EXPECT_EQ(Await(folder / "xdg-open.result"), "1 " + (folder / "letter.txt").string() + " 1\n");
}

TEST(Launch, SplitsTheParametersAtBlanks) {
    Tests::TempFolder folder;
    std::ofstream(folder / "list")
        << "#!/bin/sh\nfor a; do echo \"[$a]\" >>\"$0~\"; done\n/bin/mv \"$0~\" \"$0.result\"\n";
    fs::permissions(folder / "list", fs::perms::owner_all);
    // A long word of characters of two units, the first of those there are, so that a cut anywhere
    // would show, and a stray byte.
    std::u16string longWord;
    std::string longBytes;
    for (int i = 0; i < 2000; ++i) {
        longWord += u"\U00010000";
        longBytes += "\xF0\x90\x80\x80";
    }
    for (std::u16string const blanks : {u" ", u"  "}) {
        ASSERT_EQ(Launch(folder / "list", blanks + u"x " + longWord + u"  \"y" + char16_t(0xEFFF)),
                  0u);
        EXPECT_EQ(Await(folder / "list.result"), "[x]\n[" + longBytes + "]\n[\"y\xFF]\n");
        fs::remove(folder / "list.result");
    }
}

#endif
