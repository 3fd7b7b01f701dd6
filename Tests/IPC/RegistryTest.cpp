// How programs find one another: the files, the forms in which lists are kept and sent, and the two
// services that hand them out.

#include <Kestrel/IPC/ApplicationLauncher.h>
#include <Kestrel/IPC/Client.h>
#include <Kestrel/IPC/CommunicatorPool.h>
#include <Kestrel/IPC/ProcessInfoProvider.h>
#include <Kestrel/IPC/Server.h>
#include <Kestrel/IPC/Setup.h>

#include <Kestrel/Channel/MemoryOChannel.h>
#include <Kestrel/FileSystem/File.h>
#include <Kestrel/Process/Process.h>

#include "Tests/Support/FileSystem/ScriptedFileCalls.h"
#include "Tests/Support/HandClock.h"
#include "Tests/Support/Hex.h"
#include "Tests/Support/IPC/Network.h"
#include "Tests/Support/Process/ScriptedProcessCalls.h"
#include "Tests/Support/Root/Persisted.h"
#include "Tests/Support/TempFolder.h"
#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace IO::IPC;
using Tests::ToBytes;
using Tests::ToHex;

/// A data folder of its own, a network in memory, and this process.
class Registry : public ::testing::Test {
protected:
    Registry() {
        Setup::Instance().SetDataFolderLocation(IO::Location(folder.GetPortable().c_str()));
    }

    static std::string GetOwnNumber() { return std::to_string(IO::Process::GetPid()); }
    std::string ReadOwn(std::string const & ending = "") const {
        return ToHex(folder.Read(GetOwnNumber() + ending));
    }
    std::size_t CountFiles() const {
        auto const files = std::filesystem::directory_iterator(folder.GetPath());
        return static_cast<std::size_t>(std::distance(begin(files), end(files)));
    }
    static std::string ListServers(ProcessInfo const & process) {
        std::string text;
        for (ServerInfo const & server : process.GetServerSet()) {
            text += std::to_string(server.GetPort()) + ":";
            for (Mu::UniString const & name : server.GetServiceSet())
                text += ToUtf8(name) + ",";
        }
        return text;
    }
    ProcessInfo GetThis() const { return ProcessInfo(provider.This().GetDescriptor()); }

    ProcessInfoProvider & provider = ProcessInfoProvider::Instance();
    CommunicatorPool & pool = CommunicatorPool::Instance();
    Tests::HandClock clock;
    Tests::Network network;
    Tests::TempFolder folder;
};

template <typename Value>
void ExpectForm(Value const & value, std::string const & hex) {
    EXPECT_EQ(ToHex(ToBytes(value)), hex);
    Tests::ExpectSafeReading(value);
}

} // namespace

TEST_F(Registry, PublishesTheRunningServers) {
    Server one;
    Server two;
    one.RegisterService(IO::Location("early"), nullptr);
    EXPECT_EQ(CountFiles(), 0u) << "it does not run";
    one.UnregisterService(IO::Location("early"));
    ASSERT_EQ(one.Start(65000, 65100), IO::NoError);
    EXPECT_EQ(ReadOwn(), "01000000"
                         "E8FD0000"
                         "00000000");
    ASSERT_EQ(two.Start(65000, 65100), IO::NoError);
    one.RegisterService(IO::Location("a\\b"), nullptr);
    EXPECT_EQ(ReadOwn(), "02000000"
                         "E8FD0000"
                         "01000000"
                         "03000000"
                         "61002F006200"
                         "E9FD0000"
                         "00000000");
    EXPECT_EQ(ListServers(GetThis()), "65000:a/b,65001:");
    one.UnregisterService(IO::Location("a\\b"));
    two.Stop();
    EXPECT_EQ(ReadOwn().substr(0, 24), "01000000E8FD000000000000") << "the rest is not read";
    EXPECT_EQ(ListServers(GetThis()), "65000:");
    one.Stop();
    EXPECT_EQ(CountFiles(), 0u);
    EXPECT_EQ(GetThis().RefreshServerSet(), IO::NoError);
    EXPECT_EQ(CountFiles(), 0u) << "the lock is gone";
}

TEST_F(Registry, TellsNoFileFromOneThatCannotBeRead) {
    ProcessInfo process = GetThis();
    EXPECT_EQ(process.RefreshServerSet(), IO::NoError);
    std::filesystem::path const place = folder.GetPath() / GetOwnNumber();
    std::filesystem::create_directory(place);
    EXPECT_EQ(process.RefreshServerSet(), IO::Error) << "not the status of the call that failed";
    std::filesystem::remove(place);
    // One whole server, and a second one of which only a part is there.
    std::string const file("\2\0\0\0\1\0\0\0\1\0\0\0\1\0\0\0x\0\2\0\0\0", 22);
    folder.Write(GetOwnNumber(), file);
    EXPECT_EQ(process.RefreshServerSet(), IO::Error);
    EXPECT_EQ(ListServers(process), "1:x,");
    Server server;
    server.Start(7, 7);
    EXPECT_EQ(ListServers(GetThis()), "7:");
    IO::Name name;
    provider.This().GetDescriptor().path.GetLastLocalName(&name);
    EXPECT_EQ(ReadOwn(".name"), ToHex(ToBytes(name.ToString())));
}

TEST_F(Registry, WaitsForTheLockButNotForEver) {
    std::string const name = GetOwnNumber() + ".lock";
    folder.Write(name, "left by one that died");
    EXPECT_EQ(GetThis().RefreshServerSet(), IO::NoError);
    EXPECT_EQ(CountFiles(), 0u);
    IO::File lock(IO::Location(folder.GetPortable(name).c_str()), IO::File::OnNotFound::Create);
    ASSERT_EQ(lock.Open(IO::File::OpenMode::WriteOnly), IO::NoError);
    unsigned long long const start = clock.GetMonotonicMicroseconds();
    EXPECT_EQ(GetThis().RefreshServerSet(), IO::Error);
    EXPECT_NEAR(static_cast<double>(clock.GetMonotonicMicroseconds() - start), 5e6, 1e5);
    std::vector<unsigned long long> pauses = clock.GetSleeps();
    pauses.resize(8);
    EXPECT_EQ(pauses, (std::vector<unsigned long long>{1, 2, 4, 8, 16, 32, 64, 64}));
    EXPECT_EQ(GetThis().WriteServicesFile(), IO::Error);
    Setup::Instance().SetDataFolderLocation(IO::Location());
    EXPECT_EQ(GetThis().WriteServicesFile(), IO::Error) << "no folder";
}

// Whichever call of the system fails, success means that the file, or the list, is right.
TEST_F(Registry, ReportsEachCallThatFails) {
    Server server;
    server.RegisterService(IO::Location("name"), nullptr);
    ASSERT_EQ(server.Start(7, 7), IO::NoError);
    std::string const whole = folder.Read(GetOwnNumber());
    std::string const stale("\1\0\0\0\1\0\0\0\0\0\0\0", 12);
    ProcessInfo process = GetThis();
    Tests::ScriptedFileCalls calls;
    for (std::string const what : {"write", "read", "read another's", "delete"}) {
        if (what == "delete")
            server.Stop();
        bool isMet = true;
        for (unsigned int n = 1; isMet; ++n) {
            folder.Write(GetOwnNumber(), what == "read" ? whole : stale);
            if (what != "read")
                folder.Write(GetOwnNumber() + ".name", std::string("\3\0\0\0o\0l\0d\0", 10));
            calls.Fail(Tests::FileCall::Any, n, IO::FileError::DiskFull);
            MuErrCode const status =
                what[0] == 'r' ? process.RefreshServerSet() : process.WriteServicesFile();
            isMet = calls.Clear();
            EXPECT_TRUE(status == IO::NoError || (isMet && status == IO::Error)) << status;
            bool const isKnown = what[0] == 'r' || process.RefreshServerSet() == IO::NoError;
            std::string const found = ListServers(process);
            EXPECT_TRUE(!isKnown || found != "1:") << what << n;
            bool const isThere = what == "write" || what == "read";
            EXPECT_TRUE(status != IO::NoError || found == (isThere ? "7:name," : "")) << what << n;
        }
    }
    EXPECT_EQ(CountFiles(), 0u);
}

TEST_F(Registry, ListsAreTheseBytes) {
    IO::Process::Descriptor process;
    process.processId = 7;
    process.parentProcessId = 6;
    process.name = "p";
    process.path = IO::Location("C:\\Bin\\p");
    std::string const path = ToHex(ToBytes(process.path));
    std::string const written = "0700000006000000"
                                "010000007000" +
                                path;
    ExpectForm(ProcessInfo(process), written + "00");

    folder.Write("7", std::string("\1\0\0\0\1\2\0\0\1\0\0\0\1\0\0\0s\0", 18));
    ProcessInfo known(process);
    EXPECT_EQ(known.RefreshServerSet(), IO::NoError);
    ExpectForm(known, written + "01"
                                "4B46726DBD1530160100009A12000000"
                                "01000000"
                                "010200000100000001000000"
                                "7300");

    ProcessList processes;
    processes["p"].Push(ProcessInfo(process));
    ExpectForm(processes, "4B46726DD9E3176901000041CD000000"
                          "01000000"
                          "010000007000"
                          "4B46726D34CAE98701000023B3000000"
                          "01000000" +
                              written + "00");

    ApplicationInfo application;
    application.Set("app", 2, process.path);
    ApplicationList applications;
    applications["app"].Push(application);
    std::string const list = "4B46726DD9E3176901000024CA000000"
                             "01000000"
                             "03000000617070"
                             "4B46726D34CAE987010000A7AF000000"
                             "01000000"
                             "0300000061707002000000" +
                             path;
    ExpectForm(applications, list);
    EXPECT_EQ(applications.Write(), IO::NoError);
    EXPECT_EQ(ToHex(folder.Read("IPC.11.dat")), list);
    ApplicationList again;
    EXPECT_EQ(again.Read(), IO::NoError);
    EXPECT_EQ(ToBytes(again), ToBytes(applications));
}

TEST_F(Registry, ProvidesTheProcessesOfTheNamesThatWereAdded) {
    Tests::ScriptedProcessCalls calls({{1, u"Other", {u"Other"}},
                                       {2, u"tool.exe", {u"tool.exe"}},
                                       {3, u"other", {u"other"}},
                                       {4, u"tool.dat", {u"tool.dat"}},
                                       {5, u"hidden", {}}});
    for (char const * const name : {"OTHER", "tool", "tool.DAT", "hidden"})
        provider.AddProcessName(name);
    EXPECT_EQ(provider.GetList().GetSize(), 1u) << "those of this program, until a Refresh";
    provider.Refresh();
    std::string found;
    for (auto const & [name, processes] : provider.GetList()) {
        found += ToUtf8(name) + ":";
        for (ProcessInfo const & process : processes)
            found += std::to_string(process.GetDescriptor().processId) + ",";
    }
    EXPECT_EQ(found, "other:1,3,tool.exe:2,tool.dat:4,");
    EXPECT_EQ(provider.This().GetDescriptor().processId, IO::Process::GetPid());
    EXPECT_EQ(provider.This().GetDescriptor().parentProcessId, 0) << "the walk did not show it";
    calls.running.insert(calls.running.end() - 2, {IO::Process::GetPid(), u"other", {u"other"}});
    provider.Refresh();
    EXPECT_EQ(provider.This().GetDescriptor().processId, IO::Process::GetPid());
    EXPECT_EQ(ToUtf8(provider.This().GetDescriptor().name), "other") << "as the walk shows it";
    calls.isRefused = true;
    provider.Refresh();
    EXPECT_TRUE(provider.GetList().IsEmpty());
    for (char const * const name : {"OTHER", "tool", "tool.DAT", "hidden"})
        provider.RemoveProcessName(name);
    EXPECT_EQ(provider.GetProcessNames().GetSize(), 1u);
}

TEST_F(Registry, IsServed) {
    Tests::ScriptedProcessCalls calls({}); // of this program, there may be others
    ApplicationLauncher::SetThisApp("tested", 7);
    ApplicationLauncher & launcher = ApplicationLauncher::Instance();
    ApplicationLauncher::SetThisApp("late", 8);
    Server server;
    server.RegisterService(IO::Location("Processes"), provider.GetService());
    server.RegisterService(IO::Location("Applications"), launcher.GetService());
    ASSERT_EQ(server.Start(65000, 65100), IO::NoError);
    Client client;
    ASSERT_EQ(client.Connect(IO::Location("ipc://localhost:65000/Processes")), IO::NoError);
    clock.Advance(1);
    // Whatever the request is, one message comes.
    auto const ask = [&](char const * command, std::string const & rest = "") {
        pool.Process();
        client.GetOChannel().Write(Mu::String(command));
        client.GetOChannel().WriteBin(rest.data(), static_cast<unsigned int>(rest.size()), nullptr);
        client.GetOChannel().WriteSeparator();
        EXPECT_EQ(client.WaitNextSeparator(1), IO::NoError);
        EndPoint::InputSeparatorGuard const guard(client);
        SocketIChannel & input = client.GetIChannel();
        std::string answer(static_cast<std::size_t>(input.GetNearestSeparator()), 0);
        EXPECT_EQ(input.ReadBin(answer.data(), static_cast<unsigned int>(answer.size()), nullptr),
                  IO::NoError);
        return answer;
    };
    EXPECT_EQ(ask("This"), ToBytes(provider.This()));
    provider.Refresh();
    std::string const list = ToBytes(provider.GetList());
    EXPECT_EQ(ask("GetList"), list);
    EXPECT_EQ(ask("Communicators").substr(0, 4), std::string("\3\0\0\0", 4));
    Communicator & connection = *pool.GetCommunicator(5);
    std::string const number("\5\0\0\0", 4);
    IO::MemoryOChannel details;
    EXPECT_EQ(dynamic_cast<EndPoint &>(connection).GetOChannel().WriteDetails(details),
              IO::NoError);
    std::string const output = ask("Inspect", number + "o");
    std::string const input = ask("Inspect", number + "i");
    EXPECT_EQ(output.size(), details.GetDataSize());
    EXPECT_EQ(input.substr(8, 5), std::string("\1\xC5\xC0\7\0", 5)) << "508101 bytes of buffer";
    EXPECT_EQ(ask("Inspect", number + "b").size(), input.size() + output.size());
    for (std::string const & none :
         {number + "x", number, std::string("\7\0\0\0i", 5), std::string()})
        EXPECT_EQ(ask("Inspect", none), "");
    EXPECT_EQ(ask("Nothing"), "");

    ASSERT_EQ(client.SelectService(IO::Location("Applications")), IO::NoError);
    EXPECT_EQ(ask("GetList"), ToBytes(launcher.GetList()));
    EXPECT_EQ(ask("This"), ToBytes(launcher.This()));
    EXPECT_EQ(ToHex(ask("This")).substr(0, 28), "06000000"
                                                "746573746564"
                                                "07000000");
    Mu::Array<Mu::UniString> parameters{"a b", "c"};
    std::string const program = ToBytes(IO::Location(folder.GetPortable("run").c_str()));
    EXPECT_EQ(ToHex(ask("Launch", program + ToBytes(parameters))), "00000000");
    EXPECT_EQ(ToHex(ask("Launch", program + ToBytes(Mu::Array<Mu::UniString>()))), "00000000");
    calls.launchError = IO::FileError::FileNotFound;
    EXPECT_EQ(ToHex(ask("Launch", program + ToBytes(parameters))), "A5E4FFFF") << "Error";
    EXPECT_EQ(calls.launched, "run(a b c)run()run(a b c)");
    EXPECT_EQ(ToHex(ask("Launch", program.substr(0, 9))), "A5E4FFFF");
    EXPECT_EQ(ToHex(ask("Launch", program)), "00010081") << "EOI";
    EXPECT_EQ(calls.launched, "run(a b c)run()run(a b c)") << "nothing was started";
    EXPECT_EQ(ask("Nothing"), "");
}
