// Real processes that come, go and are ended at any moment.

#include <Kestrel/IPC/ProcessInfoProvider.h>
#include <Kestrel/IPC/Server.h>
#include <Kestrel/IPC/Service.h>
#include <Kestrel/IPC/Setup.h>

#include <Kestrel/FileSystem/NativePath.h>
#include <Kestrel/Process/Process.h>

#include "Tests/Support/IPC/Network.h"
#include "Tests/Support/OwnProcess.h"
#include "Tests/Support/TempFolder.h"
#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <string>
#include <thread>

namespace {

using namespace IO::IPC;
using Clock = std::chrono::steady_clock;

constexpr int Killed = 77;
constexpr char const * FolderVariable = "KESTREL_TEST_IPC_FOLDER";

unsigned int GetSeed() {
    for (std::string const & argument : ::testing::internal::GetArgvs())
        if (argument.rfind("--kestrel_seed=", 0) == 0)
            return static_cast<unsigned int>(std::stoul(argument.substr(15)));
    return 0;
}

// Starting a program takes seconds under Wine.
#if defined(_WIN32)
constexpr unsigned int ProcessCount = 3;
constexpr std::chrono::milliseconds LifeTime(10000);
#else
constexpr unsigned int ProcessCount = 10;
constexpr std::chrono::milliseconds LifeTime(500);
#endif

void UseFolder() {
    Setup::Instance().SetDataFolderLocation(
        IO::Location(IO::FromNativePath(std::filesystem::path(std::getenv(FolderVariable)))));
}

/// Ends this process at any moment in the next second or so, as from outside; or does not.
class Killer {
public:
    explicit Killer(std::mt19937 & random) {
        if (random() % 3 == 0)
            return;
        auto const end = std::chrono::microseconds(random() % (LifeTime.count() * 1500));
        std::thread([end] {
            std::this_thread::sleep_for(end);
            Tests::EndProcess(Killed);
        }).detach();
    }
};

/// What a process publishes, after each of its steps. All of it follows from a seed.
class Publication {
public:
    static constexpr unsigned int Servers = 2;
    static constexpr unsigned int Names = 4;
    using State = std::map<unsigned int, std::set<std::string>>;

    explicit Publication(unsigned int seed) : random(seed) {}

    /// Takes the next step, on the servers too if there are any.
    void Step(Server * servers) {
        unsigned int const index = random() % Servers;
        unsigned int const what = random() % 5;
        std::string const name = "n" + std::to_string(random() % Names);
        Server * const server = servers != nullptr ? servers + index : nullptr;
        if (what == 0) {
            isRunning[index] = !isRunning[index];
            if (server != nullptr && isRunning[index])
                server->Start(index + 1, index + 1);
            else if (server != nullptr)
                server->Stop();
        } else if (what < 3) {
            names[index].insert(name);
            if (server != nullptr)
                server->RegisterService(IO::Location(name.c_str()), nullptr);
        } else {
            names[index].erase(name);
            if (server != nullptr)
                server->UnregisterService(IO::Location(name.c_str()));
        }
    }
    State GetState() const {
        State state;
        for (unsigned int i = 0; i < Servers; ++i)
            if (isRunning[i])
                state[i + 1] = names[i];
        return state;
    }

private:
    std::mt19937 random;
    bool isRunning[Servers] = {};
    std::set<std::string> names[Servers];
};

/// How far a process has come, kept in a file where others see it: a step is under way while it has
/// begun more than it has done.
struct Progress {
    unsigned int seed = 0;
    unsigned int done = 0;
    unsigned int begun = 0;
    unsigned int check = 1;

    static std::string GetPath(int process) {
        return std::string(std::getenv(FolderVariable)) + "/progress" + std::to_string(process);
    }
    unsigned int GetCheck() const { return seed * 31 + done * 7 + begun + 5; }
    void Write(std::fstream & file) {
        check = GetCheck();
        file.seekp(0);
        file.write(reinterpret_cast<char const *>(this), sizeof(*this));
        file.flush();
    }
    /// False: there is none yet, or no more, or it is just being written.
    static bool Read(int process, Progress * progress) {
        std::ifstream file(GetPath(process), std::ios::binary);
        file.read(reinterpret_cast<char *>(progress), sizeof(*progress));
        return file.good() && progress->check == progress->GetCheck() && progress->seed != 0;
    }
};

std::string Print(Publication::State const & state) {
    std::string text;
    for (auto const & [port, names] : state) {
        text += std::to_string(port) + ":";
        for (std::string const & name : names)
            text += name + ",";
    }
    return text;
}

/// Reads what a process publishes and compares it with what it did publish meanwhile. A process that
/// ends meanwhile proves nothing. True: it was compared.
bool Compare(IO::Process::Descriptor const & descriptor) {
    Progress before;
    Progress after;
    if (!Progress::Read(descriptor.processId, &before))
        return false;
    ProcessInfo process(descriptor);
    MuErrCode const status = process.RefreshServerSet();
    if (!Progress::Read(descriptor.processId, &after) || after.seed != before.seed)
        return false;
    Publication::State found;
    for (ServerInfo const & server : process.GetServerSet())
        for (auto & names = found[server.GetPort()];
             Mu::UniString const & name : server.GetServiceSet())
            names.insert(ToUtf8(name));
    Publication publication(before.seed);
    std::string possible;
    bool isPossible = false;
    for (unsigned int step = 0; step <= after.begun; ++step) {
        if (step > 0)
            publication.Step(nullptr);
        if (step < before.done)
            continue;
        isPossible = isPossible || publication.GetState() == found;
        possible += Print(publication.GetState()) + "; ";
    }
    if (status == IO::NoError && isPossible)
        return true;
    ProcessInfoProvider::Instance().Refresh();
    bool isAlive = false;
    for (auto const & [name, processes] : ProcessInfoProvider::Instance().GetList())
        for (ProcessInfo const & one : processes)
            isAlive = isAlive || one.GetDescriptor().processId == descriptor.processId;
    EXPECT_FALSE(isAlive) << "status " << status << ", found " << Print(found) << ", possible "
                          << possible;
    return false;
}

unsigned int CompareAll() {
    ProcessInfoProvider::Instance().Refresh();
    std::vector<IO::Process::Descriptor> all;
    for (auto const & [name, processes] : ProcessInfoProvider::Instance().GetList())
        for (ProcessInfo const & process : processes)
            all.push_back(process.GetDescriptor());
    unsigned int compared = 0;
    for (IO::Process::Descriptor const & process : all)
        compared += Compare(process);
    return compared;
}

} // namespace

// Not a test: one of the processes of the next one.
TEST(Processes, DISABLED_Publishes) {
    unsigned int const seed = GetSeed();
    std::mt19937 random(seed * 7919);
    Tests::Network network;
    UseFolder();
    std::fstream file(Progress::GetPath(IO::Process::GetPid()),
                      std::ios::binary | std::ios::in | std::ios::out | std::ios::trunc);
    Progress progress{seed};
    progress.Write(file);
    Killer const killer(random);
    {
        Server servers[Publication::Servers];
        Publication publication(seed);
        auto const end = Clock::now() + LifeTime;
        while (Clock::now() < end) {
            ++progress.begun;
            progress.Write(file);
            publication.Step(servers);
            ++progress.done;
            progress.Write(file);
            if (random() % 8 == 0)
                CompareAll();
        }
        progress.seed = 0; // the servers stop one by one
        progress.Write(file);
    }
    Tests::EndProcess(::testing::Test::HasFailure() ? 1 : 0);
}

TEST(Processes, PublishNothingWrongAndNothingStale) {
    Tests::TempFolder folder;
    Tests::SetVariable(FolderVariable, folder.GetPath().string());
    UseFolder();
    std::atomic<bool> isOver = false;
    std::vector<std::thread> runners;
    for (unsigned int i = 1; i <= ProcessCount; ++i)
        runners.emplace_back([i, &isOver] {
            for (unsigned int seed = i * 100000; !isOver; ++seed) {
                int const exitCode =
                    Tests::RunAgain({"--gtest_also_run_disabled_tests", "--gtest_brief=1",
                                     "--gtest_filter=Processes.DISABLED_Publishes",
                                     "--kestrel_seed=" + std::to_string(seed)});
                EXPECT_TRUE(exitCode == 0 || exitCode == Killed) << exitCode;
            }
        });
    unsigned int compared = 0;
    auto const begin = Clock::now();
    for (int seconds : {3, 120}) // the longer one until something was seen
        while (Clock::now() < begin + std::chrono::seconds(seconds) &&
               (seconds == 3 || compared == 0))
            compared += CompareAll();
    isOver = true;
    for (std::thread & runner : runners)
        runner.join();
    EXPECT_GT(compared, 0u);
}
