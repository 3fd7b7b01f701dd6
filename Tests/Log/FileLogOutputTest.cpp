#include <Kestrel/Log/FileLogOutput.h>

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
#include <regex>
#include <sstream>

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

    std::string Read(std::string const & name) const { return folder.Read("logs/" + name); }

    /// The lines of a series of below ten files, in their order.
    std::vector<std::string> GetLines() const {
        std::vector<std::string> lines;
        for (std::string const & name : GetNames()) {
            std::istringstream content(Read(name));
            for (std::string line; std::getline(content, line);)
                lines.push_back(line);
        }
        return lines;
    }

    /// A file of this size, last written so many hours ago; in the future when negative.
    void AddFile(std::string const & name, std::uintmax_t size, int hours) const {
        fs::create_directory(GetPath());
        std::ofstream(GetPath() / name).close();
        fs::resize_file(GetPath() / name, size);
        fs::last_write_time(GetPath() / name,
                            fs::file_time_type::clock::now() - std::chrono::hours(hours));
    }

    /// What a clean-up with these limits leaves of what is there.
    std::vector<std::string> CleanUp(unsigned int folderMB, unsigned int fileCount) const {
        static_cast<void>(MakeLog(folderMB, 100, fileCount));
        std::vector<std::string> names = GetNames();
        for (std::string const & name : names)
            if (name.starts_with(
                    "Log-")) // the series that was begun, so that it counts for nothing
                fs::remove(GetPath() / name);
        return GetNames();
    }

private:
    Tests::TempFolder folder;
    IO::Location location;
};

using Names = std::vector<std::string>;

/// A log that the logger writes to.
class ActiveLog {
public:
    explicit ActiveLog(LogFolder const & folder, unsigned int fileMB = 100)
        : output(folder.MakeLog(100, fileMB)) {
        Mu::logger.SetOutput(output.get(), output.get());
    }
    IO::FileLogOutput * operator->() const { return output.get(); }

private:
    std::unique_ptr<IO::FileLogOutput> output;
};

Mu::FastLogger::Control & AsControl(IO::FileLogOutput & log) {
    return log;
}

void LogInfo(std::string const & text) {
    static Mu::InfoLogLine line("%", "test", nullptr);
    Mu::LogComposer composer;
    composer.Append(text.c_str());
    Mu::logger.Append(line, &composer);
}

void LogError(std::string const & text) {
    static Mu::ErrorLogLine line("%", "test", nullptr);
    Mu::LogComposer composer;
    composer.Append(text.c_str());
    Mu::logger.Append(line, &composer);
}

// The texts of the lines that tests wrote, without those that the files themselves log.
std::vector<std::string> GetOwnTexts(std::vector<std::string> const & lines) {
    static std::regex const own(
        "\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}[+-]\\d\\d:\\d\\d"
        " (?:INFO|ERROR) (test|IO) \\d+ (.*)");
    std::vector<std::string> texts;
    for (std::string const & line : lines) {
        std::smatch part;
        EXPECT_TRUE(std::regex_match(line, part, own)) << line;
        if (part[1] == "test")
            texts.push_back(part[2]);
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
    auto const first = folder.MakeLog();
    auto const second = folder.MakeLog();
    ASSERT_EQ(folder.GetNames().size(), 2u);
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
    EXPECT_TRUE(AsControl(*log).StartNewBlock());
    EXPECT_FALSE(AsControl(*log).StartNewBlock()) << "an empty file";
    std::string const small(100, 'x');
    static_cast<void>(log->WriteBin(small.data(), 100, nullptr));
    EXPECT_FALSE(AsControl(*log).StartNewBlock()) << "what is buffered does not count";

    LogFolder const wrapped;
    auto const tiny = wrapped.MakeLog(100, 4096); // 2 to the power 32
    EXPECT_FALSE(AsControl(*tiny).StartNewBlock());
    Write(*tiny, 1);
    EXPECT_TRUE(AsControl(*tiny).StartNewBlock());
}

TEST(FileLogOutput, CleansUpTheOldestFilesOfALargeFolder) {
    LogFolder const folder;
    for (int i = 0; i < 10; ++i)
        folder.AddFile("old" + std::to_string(i) + ".log", Megabyte, i + 1);
    folder.AddFile("other.txt", 50 * Megabyte, 100);
    folder.AddFile("LOUD.LOG", 50 * Megabyte, 100); // not the extension
    fs::create_directory(folder.GetPath() / "folder.log");
    Names const others = {"LOUD.LOG", "folder.log"};
    auto const with = [&](Names more) {
        Names names = others;
        names.insert(names.end(), more.begin(), more.end());
        names.push_back("other.txt");
        return names;
    };
    EXPECT_EQ(folder.CleanUp(10, 3).size(), 13u) << "they fit, and then the count is no limit";
    EXPECT_EQ(folder.CleanUp(8, 100), with({"old0.log", "old1.log", "old2.log", "old3.log",
                                            "old4.log", "old5.log", "old6.log", "old7.log"}));
    EXPECT_EQ(folder.CleanUp(7, 3), with({"old0.log", "old1.log", "old2.log"}))
        << "the count, where it is the stricter one";
    EXPECT_EQ(folder.CleanUp(4096, 2), with({})) << "2 to the power 32 is 0";
}

TEST(FileLogOutput, GoesByTheTimesThatFilesClaim) {
    LogFolder const folder;
    folder.AddFile("future.log", Megabyte, -24 * 365);
    folder.AddFile("today.log", Megabyte, 1);
    folder.AddFile("1969.log", Megabyte, 24 * 365 * 60);
    EXPECT_EQ(folder.CleanUp(2, 10), (Names{"future.log", "today.log"}));
    EXPECT_EQ(folder.CleanUp(1, 10), (Names{"future.log"}));
    // A time that cannot be told in 32 bits.
    folder.AddFile("far.log", 5 * Megabyte, -24 * 365 * 100);
    EXPECT_EQ(folder.CleanUp(1, 10), (Names{"far.log", "future.log"}))
        << "it is left out of the sum, and stays";
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
    ActiveLog const log(folder);
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
    EXPECT_EQ(GetOwnTexts(folder.GetLines()).size(), 501u);
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
        EXPECT_TRUE(static_cast<Mu::FastLogger::Control &>(*log).StartNewBlock());
        EXPECT_FALSE(log->HasFile());
        EXPECT_TRUE(Mu::Thread::Interrupted());
    }
    IO::fileSystem.DeletePrivateLocation(folder.GetLocation());
}

TEST(FileLogOutput, TakesItselfAwayFromTheLogger) {
    LogFolder const folder;
    {
        ActiveLog const log(folder);
        LogInfo("the last one");
        EXPECT_TRUE(Mu::logger.IsWanted(Mu::LogSeverity::Info));
    }
    EXPECT_FALSE(Mu::logger.IsWanted(Mu::LogSeverity::Error));
    LogError("to nobody");
    EXPECT_EQ(GetOwnTexts(folder.GetLines()), Names{"the last one"});

    auto const closed = folder.MakeLog();
    Mu::logger.SetOutput(closed.get(), closed.get());
    LogInfo("before the end");
    Mu::logger.Terminate();
    EXPECT_FALSE(closed->HasFile()) << "for good";
    EXPECT_FALSE(AsControl(*closed).StartNewBlock());
    closed->FlushLog();
    EXPECT_EQ(GetOwnTexts(folder.GetLines()).size(), 2u);
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
        Mu::logger.SetOutput(&log, &log);
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
        ActiveLog const log(folder);
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
    EXPECT_EQ(GetOwnTexts(folder.GetLines()).size(), 3u);
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
    {
        IO::FileLogOutput log(folder.GetLocation(), 1, fileMB, 1);
        Mu::logger.SetOutput(&log, &log);
        LogInfo("info");
        LogError("error");
        LogInfo("the end");
    }
    if (failed)
        return;
    EXPECT_EQ(GetOwnTexts(folder.GetLines()), (Names{"info", "error", "the end"}));
    EXPECT_FALSE(fs::exists(folder.GetPath() / "old.log"));
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
