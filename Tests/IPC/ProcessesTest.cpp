// Real processes that come, go and are ended at any moment. KESTREL_IPC_SECONDS says for how long.

#include <Kestrel/IPC/Client.h>
#include <Kestrel/IPC/CommunicatorPool.h>
#include <Kestrel/IPC/Connection.h>
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

int RunPart(std::string const & name, unsigned int seed) {
    return Tests::RunAgain({"--gtest_also_run_disabled_tests", "--gtest_brief=1",
                            "--gtest_filter=Processes.DISABLED_" + name,
                            "--kestrel_seed=" + std::to_string(seed)});
}

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

/// How long a test goes on: for so many seconds, and until it has seen something.
class Duration {
public:
    Duration() {
        char const * const text = std::getenv("KESTREL_IPC_SECONDS");
        end = start + std::chrono::seconds(text != nullptr ? std::atoi(text) : 3);
    }
    bool IsOver(bool hasSeen) {
        isOver = Clock::now() >= (hasSeen ? end : start + std::chrono::seconds(120));
        return isOver;
    }
    bool IsOver() const { return isOver; }

private:
    Clock::time_point const start = Clock::now();
    Clock::time_point end;
    std::atomic<bool> isOver{false};
};

void UseFolder() {
    std::filesystem::path const home(std::getenv(FolderVariable));
    std::filesystem::create_directories(home / "Brightmoor/IPC Data");
    Setup::Instance().SetDataFolderLocation(
        IO::Location(IO::FromNativePath(home / "Brightmoor/IPC Data")));
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
    bool isPossible = false;
    for (unsigned int step = 0; step <= after.begun; ++step) {
        if (step > 0)
            publication.Step(nullptr);
        if (step < before.done)
            continue;
        isPossible = isPossible || publication.GetState() == found;
    }
    if (status == IO::NoError && isPossible)
        return true;
    ProcessInfoProvider::Instance().Refresh();
    bool isAlive = false;
    for (auto const & [name, processes] : ProcessInfoProvider::Instance().GetList())
        for (ProcessInfo const & one : processes)
            isAlive = isAlive || one.GetDescriptor().processId == descriptor.processId;
    EXPECT_FALSE(isAlive) << "status " << status << ", found " << ::testing::PrintToString(found);
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
    Duration duration;
    std::vector<std::thread> runners;
    for (unsigned int i = 1; i <= ProcessCount; ++i)
        runners.emplace_back([i, &duration] {
            for (unsigned int seed = i * 100000; !duration.IsOver(); ++seed) {
                int const exitCode = RunPart("Publishes", seed);
                EXPECT_TRUE(exitCode == 0 || exitCode == Killed) << exitCode;
            }
        });
    unsigned int compared = 0;
    while (!duration.IsOver(compared > 0))
        compared += CompareAll();
    for (std::thread & runner : runners)
        runner.join();
    EXPECT_GT(compared, 0u);
}

namespace {

class Echo final : public Service {
public:
    void SeparatorArrived(Connection & connection) override {
        EndPoint::InputSeparatorGuard const guard(connection);
        int value;
        if (connection.GetIChannel().Read(value) == IO::NoError)
            connection.GetOChannel().Write(value + 1);
        connection.GetOChannel().WriteSeparator();
    }
};

/// Connects to who offers the service, if anybody does.
bool ConnectByName(Client & client, char const * service) {
    ProcessInfoProvider & provider = ProcessInfoProvider::Instance();
    provider.Refresh();
    for (auto const & [program, processes] : provider.GetList())
        for (ProcessInfo const & process : processes)
            for (ServerInfo const & server : process.GetServerSet())
                if (server.GetServiceSet().Contains(service)) {
                    std::string const url =
                        "ipc://localhost:" + std::to_string(server.GetPort()) + "/" + service;
                    if (client.Connect(IO::Location(url.c_str())) != IO::NoError)
                        return false;
                    auto const end = Clock::now() + std::chrono::seconds(5);
                    while (client.GetConnectState() == Client::Connecting && Clock::now() < end) {
                        CommunicatorPool::Instance().Process();
                        CommunicatorPool::Instance().Wait(0.01);
                    }
                    return client.GetConnectState() == Client::Connected;
                }
    return false;
}

} // namespace

// Not a test: the server of the next one, under whatever port is free.
TEST(Processes, DISABLED_Serves) {
    std::mt19937 random(GetSeed());
#if defined(_WIN32)
    UseFolder(); // no variable leads to the user's home
#endif
    Killer const killer(random);
    Echo echo;
    Server server;
    server.SetLoopbackOnly(true);
    server.RegisterService(IO::Location("echo"), &echo);
    EXPECT_EQ(server.Start(Setup::Instance().GetPortBegin(), Setup::Instance().GetPortEnd()),
              IO::NoError);
    auto const end = Clock::now() + LifeTime;
    while (Clock::now() < end) {
        CommunicatorPool::Instance().Process();
        CommunicatorPool::Instance().Wait(0.05);
    }
    Tests::EndProcess(0); // without a word to its clients
}

TEST(Processes, SeeThatTheOtherSideHasEnded) {
    Tests::TempFolder folder;
    Tests::SetVariable(FolderVariable, folder.GetPath().string());
    Tests::SetVariable("HOME", folder.GetPath().string());
    UseFolder();
    Duration duration;
    std::thread runner([&] {
        for (unsigned int seed = 0; !duration.IsOver(); ++seed) {
            int const exitCode = RunPart("Serves", seed);
            EXPECT_TRUE(exitCode == 0 || exitCode == Killed) << exitCode;
        }
    });
    int answers = 0;
    unsigned int losses = 0;
    Client client;
    while (!duration.IsOver(losses > 0 && answers > 0)) {
        if (ConnectByName(client, "echo")) {
            for (;; ++answers) {
                client.GetOChannel().Write(answers);
                client.GetOChannel().WriteSeparator();
                if (client.WaitNextSeparator(5) != IO::NoError)
                    break;
                EndPoint::InputSeparatorGuard const guard(client);
                int answer = 0;
                EXPECT_EQ(client.GetIChannel().Read(answer), IO::NoError);
                EXPECT_EQ(answer, answers + 1);
            }
            EXPECT_FALSE(client.IsOk()) << "no answer, and no end";
            CommunicatorPool::Instance().Process();
            EXPECT_EQ(client.GetConnectState(), Client::NotConnected);
            char byte;
            EXPECT_EQ(client.GetIChannel().ReadBin(&byte, 1, nullptr), IO::EOI);
            ++losses;
        }
        client.Disconnect();
    }
    runner.join();
    EXPECT_GT(losses, 0u);
}
