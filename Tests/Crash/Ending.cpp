#include "Tests/Crash/Ending.h"

#include "Tests/Support/OwnProcess.h"

#include <Kestrel/FileSystem/NativePath.h>

#include <gtest/gtest.h>

#include <sstream>

namespace Tests {

namespace fs = std::filesystem;

namespace {

constexpr char const * WorkMark = "--work";
constexpr int Failed = 3;
constexpr int NotEnded = 4;
constexpr unsigned int LatestCall = 60;
constexpr unsigned int MostRounds = 10000; // in which a worker must be ended

std::map<std::string, Work> & GetWorks() {
    static std::map<std::string, Work> works;
    return works;
}

} // namespace

unsigned int CountRounds() {
#if defined(_WIN32)
    return 12;
#else
    return 40;
#endif
}

WorkEntry::WorkEntry(char const * name, Work work) {
    GetWorks()[name] = work;
}

Worker::Worker(std::string const & place, EndOf ending, unsigned int seed)
    : folder(place), random(seed), witness(fs::path(place) / "witness", std::ios::app),
      calls(ending, 1 + Draw(LatestCall)) {}

IO::Location Worker::At(std::string const & name) const {
    return IO::Location(IO::FromNativePath(fs::path(folder) / name));
}

void Worker::Tell(std::string const & line) {
    witness << line << std::endl; // out of this process, however it ends
}

void Worker::Need(MuErrCode status, char const * what) {
    if (status == IO::NoError)
        return;
    Tell(std::string("failed: ") + what + " " + std::to_string(status));
    EndProcess(Failed);
}

int RunWorker(std::vector<std::string> const & arguments) {
    if (arguments.size() != 5 || arguments[0] != WorkMark)
        return -1;
    auto const work = GetWorks().find(arguments[1]);
    if (work == GetWorks().end())
        return -1;
    Worker worker(arguments[2], arguments[3] == "system" ? EndOf::System : EndOf::Process,
                  static_cast<unsigned int>(std::stoul(arguments[4])));
    for (unsigned int round = 0; round < MostRounds; ++round)
        work->second(worker);
    return NotEnded;
}

Ending::Ending(char const * work, EndOf ending, unsigned int seed, Files const & before) {
    fs::create_directory(folder / "one");
    fs::create_directory(folder / "two");
    for (auto const & [path, content] : before) {
        fs::create_directories((folder / path).parent_path());
        folder.Write(path, content);
    }
    int const exitCode =
        RunAgain({WorkMark, work, folder.GetPath().string(),
                  ending == EndOf::System ? "system" : "process", std::to_string(seed)});
    std::istringstream told(folder.Read("witness"));
    for (std::string line; std::getline(told, line);)
        lines.push_back(line);
    EXPECT_EQ(exitCode, EndingFileCalls::Ended) << (lines.empty() ? "" : lines.back());
    for (char const * device : {"one", "two"})
        for (auto const & entry : fs::recursive_directory_iterator(folder / device))
            if (entry.is_regular_file())
                files[entry.path().lexically_relative(folder.GetPath()).generic_string()] =
                    folder.Read(entry.path().string());
}

unsigned long long Ending::GetLast(std::string const & word) const {
    for (auto line = lines.rbegin(); line != lines.rend(); ++line)
        if (line->starts_with(word + " "))
            return std::stoull(line->substr(word.size() + 1));
    return 0;
}

std::string const * Ending::Find(std::string const & path) const {
    auto const found = files.find(path);
    return found == files.end() ? nullptr : &found->second;
}

} // namespace Tests
