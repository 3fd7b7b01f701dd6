#include <Kestrel/Log/FileLogOutput.h>

#include <Kestrel/Channel/BinProtocol.h>
#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/Platform/ForwardingFileCalls.h>
#include <Kestrel/Root/Log/BugReport.h>
#include <Kestrel/Root/Threads/Process.h>
#include <Kestrel/Root/Threads/Thread.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/FileSystem/ScriptedFileCalls.h"
#include "Tests/Support/HandClock.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/TempFolder.h"
#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <memory>
#include <random>
#include <regex>

namespace {

namespace fs = std::filesystem;

constexpr unsigned int Megabyte = 1u << 20;

/// A log in a folder of the test's own, and what the folder holds.
class LogFolder {
public:
    LogFolder() : location(folder.GetPortable("logs").c_str()) {}

    std::unique_ptr<IO::FileLogOutput> MakeLog(unsigned int folderMB = 100,
                                               unsigned int fileMB = 100,
                                               unsigned int fileCount = 100) const {
        return std::make_unique<IO::FileLogOutput>(location, folderMB, fileMB, fileCount);
    }

    fs::path GetPath() const { return folder / "logs"; }
    IO::Location const & GetLocation() const { return location; }

    /// Sorted by name.
    std::vector<std::string> GetNames() const {
        std::vector<std::string> names;
        for (auto const & entry : fs::directory_iterator(GetPath()))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

    /// A file of this size, last written so many hours ago; in the future when negative.
    void AddFile(std::string const & name, std::uintmax_t size, int hours) const {
        fs::create_directory(GetPath());
        std::ofstream(GetPath() / name).close();
        fs::resize_file(GetPath() / name, size);
        fs::last_write_time(GetPath() / name,
                            fs::file_time_type::clock::now() - std::chrono::hours(hours));
    }

private:
    Tests::TempFolder folder;
    IO::Location location;
};

using Names = std::vector<std::string>;

Mu::FastLogger::Control & AsControl(IO::FileLogOutput & log) {
    return log;
}

void LogTo(IO::FileLogOutput & log) {
    Mu::logger.SetOutput(&log, &log);
}

template <typename Line>
void Log(std::string const & text) {
    static Line line("%", "test", nullptr);
    Mu::LogComposer composer;
    composer.Append(text.c_str());
    Mu::logger.Append(line, &composer);
}
constexpr auto LogInfo = Log<Mu::InfoLogLine>;
constexpr auto LogError = Log<Mu::ErrorLogLine>;

// The texts of the lines that tests wrote, without those that the files themselves log, of a series
// of below ten files.
Names GetOwnTexts(LogFolder const & folder) {
    static std::regex const own(
        "\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}[+-]\\d\\d:\\d\\d"
        " (?:INFO|ERROR) (test|IO) \\d+ (.*)");
    Names texts;
    for (std::string const & name : folder.GetNames()) {
        std::ifstream content(folder.GetPath() / name);
        for (std::string line; std::getline(content, line);) {
            std::smatch part;
            EXPECT_TRUE(std::regex_match(line, part, own)) << line;
            if (part[1] == "test")
                texts.push_back(part[2]);
        }
    }
    return texts;
}

void Write(IO::FileLogOutput & log, std::size_t size) {
    std::string const bytes(size, 'x');
    EXPECT_EQ(log.WriteBin(bytes.data(), static_cast<unsigned int>(size), nullptr), IO::NoError);
    EXPECT_EQ(log.Flush(), IO::NoError);
}

std::string GetReported(bool (*get)(char *, unsigned int)) {
    char path[1024];
    return get(path, sizeof path) ? path : "none";
}

} // namespace

TEST(FileLogOutput, NamesTheFilesOfASeries) {
    Tests::HandClock clock(1772355600123ull);
    LogFolder const folder;
    auto const log = folder.MakeLog(100, 0);
    std::string const process = std::to_string(Mu::Process::GetCurrentProcessId());
    Names names = folder.GetNames();
    ASSERT_EQ(names.size(), 1u);
    EXPECT_TRUE(std::regex_match(names[0], std::regex("Log-1772355600\\d+" + process + "-1\\.log")))
        << names[0];
    EXPECT_TRUE(GetReported(BugRep_GetCurrentLogFile).ends_with("\\logs\\" + names[0]));
    EXPECT_EQ(GetReported(BugRep_GetPreviousLogFile), "none");

    log->SetOutputProtocol(Mu::textOProtocol);
    log->SetDefaultOutputProtocol();
    EXPECT_EQ(&log->GetOutputProtocol(), &IO::binOProtocol);
    Write(*log, 1);
    clock.Advance(5000); // the series keeps its name
    EXPECT_TRUE(AsControl(*log).StartNewBlock());
    std::string const base = names[0].substr(0, names[0].size() - 5);
    EXPECT_EQ(folder.GetNames(), (Names{base + "1.log", base + "2.log"}));
    EXPECT_TRUE(GetReported(BugRep_GetCurrentLogFile).ends_with("\\logs\\" + base + "2.log"));
    EXPECT_TRUE(GetReported(BugRep_GetPreviousLogFile).ends_with("\\logs\\" + base + "1.log"));
}

TEST(FileLogOutput, GivesEachSeriesFilesOfItsOwn) {
    Tests::HandClock clock;
    LogFolder const folder;
    auto first = folder.MakeLog();
    fs::path const path = folder.GetPath() / folder.GetNames().at(0);
    auto const second = folder.MakeLog();
    ASSERT_EQ(folder.GetNames().size(), 2u);
    EXPECT_EQ(first->WriteBin("x", 1, nullptr), IO::NoError);
    first.reset();
    EXPECT_EQ(fs::file_size(path), 1u) << "what was buffered";
    // The series that comes next has its name taken already, as after the library was loaded anew.
    std::smatch part;
    std::string const last = folder.GetNames()[1];
    std::string const process = std::to_string(Mu::Process::GetCurrentProcessId());
    std::regex const form("(Log-\\d{10})(\\d+?)(" + process + "-1\\.log)");
    ASSERT_TRUE(std::regex_match(last, part, form)) << last;
    std::string const taken =
        part[1].str() + std::to_string(std::stoi(part[2]) + 1) + part[3].str();
    folder.AddFile(taken, 10, 0);
    auto const third = folder.MakeLog();
    EXPECT_EQ(folder.GetNames().size(), 4u);
    EXPECT_EQ(fs::file_size(folder.GetPath() / taken), 10u);
}

TEST(FileLogOutput, BeginsANewFileBehindTheLimit) {
    LogFolder const folder;
    auto const log = folder.MakeLog(100, 1);
    Write(*log, Megabyte);
    EXPECT_FALSE(AsControl(*log).StartNewBlock()) << "exactly the limit";
    Write(*log, 1);
    Tests::ScriptedFileCalls const calls;
    EXPECT_TRUE(AsControl(*log).StartNewBlock());
    EXPECT_EQ(calls.Count(Tests::FileCall::FlushFileBuffers), 1u) << "the full one is safe";
    EXPECT_FALSE(AsControl(*log).StartNewBlock()) << "an empty file";
    EXPECT_EQ(log->WriteBin("x", 1, nullptr), IO::NoError);
    EXPECT_FALSE(AsControl(*log).StartNewBlock()) << "what is buffered does not count";

    for (auto const call : {Tests::FileCall::WriteFile, Tests::FileCall::CloseHandle}) {
        auto const tiny = folder.MakeLog(100, 4096); // 2 to the power 32
        EXPECT_FALSE(AsControl(*tiny).StartNewBlock());
        Write(*tiny, 1);
        EXPECT_EQ(tiny->WriteBin("x", 1, nullptr), IO::NoError);
        Tests::ScriptedFileCalls failing;
        failing.Fail(call, 1, IO::FileError::DiskFull);
        EXPECT_TRUE(AsControl(*tiny).StartNewBlock());
        EXPECT_EQ(tiny->GetFlushStatus(), IO::EOO) << "known at the end of a file";
    }
}

TEST(FileLogOutput, CleansUpTheOldestFilesOfALargeFolder) {
    std::mt19937 random(1);
    for (int round = 0; round < 60; ++round) {
        SCOPED_TRACE(round);
        LogFolder const folder;
        folder.AddFile("other.txt", 50 * Megabyte, 100);
        folder.AddFile("LOUD.LOG", 50 * Megabyte, 100); // not the extension
        folder.AddFile("far.log", 50 * Megabyte,
                       -24 * 365 * 100); // a time that 32 bits do not hold
        fs::create_directory(folder.GetPath() / "folder.log");
        std::vector<std::pair<std::string, unsigned int>> logs; // the oldest first, in megabytes
        unsigned int total = 0;
        for (int hours : {24 * 365 * 60, 24 * 365, 3, 2, 1, -24 * 365}) {
            logs.emplace_back(std::to_string(random()) + ".log", random() % 4);
            folder.AddFile(logs.back().first, logs.back().second * Megabyte, hours);
            total += logs.back().second;
        }
        unsigned int const most = random() % 12, count = random() % 7;
        if (total > most) // else the count is no limit
            while (!logs.empty() && (total > most || logs.size() > count)) {
                total -= logs.front().second;
                logs.erase(logs.begin());
            }
        Names expected = {"LOUD.LOG", "far.log", "folder.log", "other.txt"};
        for (auto const & [name, size] : logs)
            expected.push_back(name);
        std::sort(expected.begin(), expected.end());
        static_cast<void>(folder.MakeLog(most + (round % 2 << 12), 100, count)); // of 12 bits
        Names names = folder.GetNames();
        std::erase_if(names, [](std::string const & name) { return name.starts_with("Log-"); });
        ASSERT_EQ(names, expected);
    }
}

TEST(FileLogOutput, LeavesFilesThatAreInUse) {
    LogFolder const folder;
    auto const first = folder.MakeLog(100, 1);
    Write(*first, 2 * Megabyte);
    ASSERT_TRUE(AsControl(*first).StartNewBlock());
    Write(*first, 1);
    Names const before = folder.GetNames();
    ASSERT_EQ(before.size(), 2u);
    auto const second = folder.MakeLog(0, 1, 0);
    Names const after = folder.GetNames();
    EXPECT_EQ(std::count(after.begin(), after.end(), before[0]), 0) << "closed";
    EXPECT_EQ(std::count(after.begin(), after.end(), before[1]), 1) << "open";
    EXPECT_TRUE(second->HasFile());
}

TEST(FileLogOutput, WritesWhatIsSeriousAtOnceAndTheRestInBlocks) {
    LogFolder const folder;
    auto const log = folder.MakeLog();
    LogTo(*log);
    Tests::ScriptedFileCalls calls;
    for (int i = 0; i < 500; ++i)
        LogInfo("a line that costs a copy");
    EXPECT_EQ(calls.Count(Tests::FileCall::Any), 0u);
    LogError("the end is near");
    EXPECT_EQ(calls.Count(Tests::FileCall::WriteFile), 1u);
    EXPECT_EQ(calls.Count(Tests::FileCall::FlushFileBuffers), 1u) << "on the disk";
    IO::File reader(IO::Location(folder.GetLocation(), U(folder.GetNames().at(0))));
    EXPECT_TRUE(reader.IsOpenable(IO::File::OpenMode::ReadOnlySharedToReadWrite));
    EXPECT_FALSE(reader.IsOpenable(IO::File::OpenMode::WriteOnlySharedToRead));
    EXPECT_EQ(GetOwnTexts(folder).size(), 501u);
    calls.ResetCounts();
    for (int i = 0; i < 3000; ++i)
        LogInfo("a line that costs a copy");
    EXPECT_LE(calls.Count(Tests::FileCall::WriteFile), 5u);
    EXPECT_EQ(calls.Count(Tests::FileCall::FlushFileBuffers), 0u);
}

// The wait for a file that is denied can be interrupted; the log ends it, and the thread still
// learns that it was interrupted.
TEST(FileLogOutput, LetsNoInterruptionOutAndLosesNone) {
    LogFolder const folder;
    IO::fileSystem.AddPrivateLocation(folder.GetLocation());
    Mu::Thread & thread = Mu::Thread::GetCurrent();
    {
        auto log = folder.MakeLog(100, 0);
        Tests::ScriptedFileCalls calls;
        calls.Fail(Tests::FileCall::CreateFile, 1, IO::FileError::AccessDenied, true);
        thread.Interrupt();
        EXPECT_FALSE(folder.MakeLog()->HasFile());
        EXPECT_TRUE(Mu::Thread::Interrupted());
        ASSERT_TRUE(log->HasFile());
        EXPECT_EQ(log->WriteBin("x", 1, nullptr), IO::NoError);
        log->FlushLog();
        thread.Interrupt();
        EXPECT_TRUE(AsControl(*log).StartNewBlock());
        EXPECT_FALSE(log->HasFile());
        EXPECT_TRUE(Mu::Thread::Interrupted());
    }
    IO::fileSystem.DeletePrivateLocation(folder.GetLocation());
}

TEST(FileLogOutput, TakesItselfAwayFromTheLogger) {
    LogFolder const folder;
    {
        auto const log = folder.MakeLog();
        LogTo(*log);
        LogInfo("the last one");
        EXPECT_TRUE(Mu::logger.IsWanted(Mu::LogSeverity::Info));
    }
    EXPECT_FALSE(Mu::logger.IsWanted(Mu::LogSeverity::Error));
    LogError("to nobody");
    EXPECT_EQ(GetOwnTexts(folder), Names{"the last one"});

    auto const closed = folder.MakeLog();
    LogTo(*closed);
    LogInfo("before the end");
    Mu::logger.Terminate();
    EXPECT_FALSE(closed->HasFile()) << "for good";
    EXPECT_FALSE(AsControl(*closed).StartNewBlock());
    closed->FlushLog();
    EXPECT_EQ(GetOwnTexts(folder).size(), 2u);
}

TEST(FileLogOutput, DoesWithoutAFolder) {
    Tests::TempFolder folder;
    folder.Write("file", "in the way");
    IO::Location broken(U("lan://host:99999/"));
    ASSERT_NE(broken.GetStatus(), IO::NoError);
    for (IO::Location const & place :
         {IO::Location(folder.GetPortable("missing\\logs").c_str()),
          IO::Location(folder.GetPortable("file").c_str()), IO::Location(), broken}) {
        unsigned long long const lost = Mu::logger.GetLostCount();
        IO::FileLogOutput log(place, 1, 1, 1);
        EXPECT_FALSE(log.HasFile()) << place;
        LogTo(log);
        LogInfo("into the void");
        LogError("into the void");
        EXPECT_EQ(Mu::logger.GetLostCount(), lost + 2) << place;
        EXPECT_FALSE(AsControl(log).StartNewBlock());
        log.FlushLog();
    }
    EXPECT_EQ(folder.Read("file"), "in the way");
}

TEST(FileLogOutput, GivesUpOnAFullDisk) {
    LogFolder const folder;
    unsigned long long const lost = Mu::logger.GetLostCount();
    {
        auto const log = folder.MakeLog();
        LogTo(*log);
        LogError("before");
        EXPECT_EQ(log->GetFlushStatus(), IO::NoError);
        Tests::ScriptedFileCalls calls;
        calls.Fail(Tests::FileCall::FlushFileBuffers, 1, IO::FileError::DiskFull);
        LogError("reaches the file, and nobody knows how far");
        EXPECT_TRUE(calls.Clear());
        LogError("before the end");
        EXPECT_EQ(log->GetFlushStatus(), IO::EOO) << "the first failure stays";
        calls.Fail(Tests::FileCall::WriteFile, 1, IO::FileError::DiskFull);
        calls.ResetCounts();
        LogError("on the full disk");
        EXPECT_TRUE(calls.Clear());
        LogError("afterwards");
        LogInfo("and later");
        Mu::logger.Flush();
        EXPECT_EQ(log->GetOutputStatus(), IO::EOO);
        EXPECT_EQ(calls.Count(Tests::FileCall::WriteFile), 1u) << "the status sticks";
    }
    EXPECT_EQ(GetOwnTexts(folder).size(), 3u);
    EXPECT_GE(Mu::logger.GetLostCount(), lost + 2);
}

namespace {

// The disk itself would make a sweep last for minutes.
class UnsyncedFileCalls final : public IO::ForwardingFileCalls {
public:
    UnsyncedFileCalls() : ForwardingFileCalls(IO::SetFileCalls(this)) {}
    ~UnsyncedFileCalls() override { IO::SetFileCalls(&GetBelow()); }
    unsigned int FlushFileBuffers(IO::FileHandle) override { return IO::FileError::None; }
};

// A short life: a clean-up, some lines, an error, an end; with a limit of 0 also new files.
void LiveShortly(bool failed, unsigned int fileMB) {
    LogFolder const folder;
    fs::create_directory(folder.GetPath());
    folder.AddFile("old.log", 2 * Megabyte, 1);
    unsigned long long const lost = Mu::logger.GetLostCount();
    bool isSafe;
    {
        IO::FileLogOutput log(folder.GetLocation(), 1, fileMB, 1);
        LogTo(log);
        LogInfo("info");
        LogError("error");
        LogInfo("the end");
        Mu::logger.RemoveOutput(&log);
        isSafe = Mu::logger.GetLostCount() == lost && log.GetFlushStatus() == IO::NoError;
    }
    bool const isClean = !fs::remove(folder.GetPath() / "old.log");
    EXPECT_TRUE(failed || (isSafe && isClean));
    EXPECT_TRUE(!isSafe || GetOwnTexts(folder) == (Names{"info", "error", "the end"}));
}

} // namespace

TEST(FileLogOutput, DisturbsNobodyWithoutMemory) {
    UnsyncedFileCalls const calls;
    SweepAllocations([](bool failed) { LiveShortly(failed, 0); });
}

TEST(FileLogOutput, DisturbsNobodyWhenFilesFail) {
    UnsyncedFileCalls const calls;
    SweepFileCalls([](bool failed) { LiveShortly(failed, 1); });
}
