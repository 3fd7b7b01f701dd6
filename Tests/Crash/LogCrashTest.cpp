// What stands in the files of a log whose process or system ended.

#include <Kestrel/Log/FileLogOutput.h>
#include <Kestrel/Root/Log/Logger.h>

#include "Tests/Crash/Ending.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using Tests::Ending;
using Tests::EndOf;
using Tests::Worker;

constexpr char const * Mark = "CRASH ";

std::string GetText(unsigned int number) {
    return "line " + std::to_string(number) + " " + std::string(number * 31 % 600, '.') +
           " is whole";
}

void LogOne(unsigned int number, bool isError) {
    static Mu::InfoLogLine info("%", "CRASH", nullptr);
    static Mu::ErrorLogLine error("%", "CRASH", nullptr);
    Mu::LogComposer composer;
    composer.Append(GetText(number).c_str());
    Mu::logger.Append(isError ? static_cast<Mu::EventLogLine &>(error) : info, &composer);
}

// Many lines, and now and then one that is serious, or a flush.
void LogLines(Worker & worker, unsigned int maxFileSizeMB) {
    static IO::FileLogOutput log(worker.At("one/logs"), 1000, maxFileSizeMB, 1000);
    static unsigned int number = 0;
    Mu::logger.SetOutput(&log, &log);
    for (unsigned int count = worker.Draw(300); count != 0; --count)
        LogOne(number++, false);
    worker.Tell("logged " + std::to_string(number + 1)); // and the one that comes
    bool const isError = worker.Draw(2) == 0;
    LogOne(number++, isError);
    if (!isError)
        Mu::logger.Flush();
    worker.Tell("safe " + std::to_string(number));
}
void LogIntoOneFile(Worker & worker) {
    LogLines(worker, 1000);
}
void LogIntoManyFiles(Worker & worker) {
    LogLines(worker, 0);
}
Tests::WorkEntry const logIntoOneFile("LogIntoOneFile", LogIntoOneFile);
Tests::WorkEntry const logIntoManyFiles("LogIntoManyFiles", LogIntoManyFiles);

unsigned long GetIndex(std::string const & path) {
    return std::stoul(path.substr(path.rfind('-') + 1));
}

// The files of the series in their order, one behind the other.
std::string GetLog(Ending const & ending) {
    std::vector<std::string> paths;
    for (auto const & [path, content] : ending.GetFiles())
        paths.push_back(path);
    std::sort(paths.begin(), paths.end(), [](std::string const & a, std::string const & b) {
        return GetIndex(a) < GetIndex(b);
    });
    std::string log;
    for (std::string const & path : paths)
        log += *ending.Find(path);
    return log;
}

// How many lines of the worker stand at the beginning, whole and without a gap; `*rest` is what
// does not end a line, or comes behind what is no such line.
unsigned int CountLines(std::string const & log, std::string * rest) {
    unsigned int count = 0;
    std::size_t begin = 0;
    for (std::size_t end; (end = log.find('\n', begin)) != std::string::npos; begin = end + 1) {
        std::string const line = log.substr(begin, end - begin);
        if (line.find(Mark) == std::string::npos)
            continue; // the library's own
        if (!line.ends_with(" " + GetText(count)))
            break;
        ++count;
    }
    *rest = log.substr(begin);
    return count;
}

} // namespace

TEST(LogAtTheEnd, HoldsWholeLinesWithoutAGapAndAllThatWasFlushedOrCameWithSomethingSerious) {
    for (EndOf const what : {EndOf::Process, EndOf::System})
        for (char const * work : {"LogIntoOneFile", "LogIntoManyFiles"})
            for (unsigned int seed = 1; seed <= Tests::CountRounds() / 2; ++seed) {
                SCOPED_TRACE(std::string(work) + Tests::NameEnding(what) + std::to_string(seed));
                Ending const ending(work, what, seed);
                std::string rest;
                EXPECT_GE(CountLines(GetLog(ending), &rest), ending.GetLast("safe"));
                if (what == EndOf::Process) {
                    EXPECT_EQ(rest.find('\n'), std::string::npos)
                        << "only the last line, which a write was at, may be cut";
                }
            }
}
