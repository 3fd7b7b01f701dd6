#include <Kestrel/Reflection/ReflectionService.h>

#include "Tests/Support/LogCapture.h"
#include "Tests/Support/Reflection/Dialogues.h"
#include "Tests/Support/Reflection/Level.h"
#include "Tests/Support/Text.h"

#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/Folder.h>
#include <Kestrel/Location/RelativeLocation.h>
#include <Kestrel/Reflection/Internal/Start.h>
#include <Kestrel/Reflection/MemoryVFS.h>
#include <Kestrel/Reflection/Reflectable.h>
#include <Kestrel/Reflection/ReflectionClient.h>
#include <Kestrel/Reflection/ReflectionManager.h>
#include <Kestrel/Reflection/ReflectionStreams.h>
#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Memory/AllocationTree.h>
#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Root/Threads/Thread.h>
#include <Kestrel/Socket/ServerSocket.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <random>
#include <thread>
#include <vector>

namespace {

using IO::Name;
using IO::Reflectable;
using IO::ReflectionClient;
using IO::ReflectionManager;
using IO::ReflectionService;
using IO::RelativeLocation;
using IO::Socket::InternetAddress;
using Tests::Level;

// Each start of a thread, and each byte over a socket, takes long under Wine.
#if defined(_WIN32)
constexpr int WalksOfAClient = 1;
constexpr unsigned int Ends = 8;
#else
constexpr int WalksOfAClient = 3;
constexpr unsigned int Ends = 40;
#endif

// A service of this machine alone, for the time of a test.
struct Running {
    Running() {
        ReflectionService::SetLoopbackOnly(true);
        while (!ReflectionService::Initialize("the test's own")) // another one has all ports
            std::this_thread::yield();
    }
    ~Running() {
        ReflectionService::Terminate();
        ReflectionService::SetRequestLimit(16 << 20);
        ReflectionService::SetAnswerLimit(256 << 20);
        ReflectionService::SetClientLimit(64);
    }
};

// Many names, so that an answer does not fit into what the system buffers. No class of its own: Level
// registers itself, and is in use from then on.
Level MakeMany(char const * place, unsigned int count, unsigned int width = 0) {
    return Level(
        place, {{"square", Reflectable::Attribute::UnsignedInteger}},
        [=](Level::Names const &, Level::Names & folders, Level::Names & files) {
            for (unsigned int i = 0; i < count; ++i) {
                Mu::UniString text = Reflectable::ToName(i).ToString();
                text.Pad(width, '.');
                (i % 2 == 0 ? folders : files).Push(text);
            }
        },
        [](Name const & name, Level::Values & values) {
            values.Push(Reflectable::ToULong(name) * Reflectable::ToULong(name));
        });
}

TEST(ReflectionService, IsFoundOnTheFirstFreePort) {
    ReflectionService::SetLoopbackOnly(true);
    std::vector<std::unique_ptr<IO::Socket::ServerSocket>> taken;
    unsigned short last = 0;
    for (bool isFree = true; isFree || taken.size() < 2;) { // others may have them for a while
        isFree = ReflectionService::Initialize("the test's own");
        if (!isFree)
            continue;
        unsigned short const port = ReflectionService::GetPort();
        EXPECT_FALSE(ReflectionService::Initialize("a second one"));
        ReflectionService::Terminate();
        EXPECT_EQ(ReflectionService::GetPort(), 0);
        try {
            taken.push_back(
                std::make_unique<IO::Socket::ServerSocket>(port, 1, InternetAddress::Loopback));
            last = std::max(last, port);
        } catch (Mu::MuException const &) { // another program was faster
        }
    }
    EXPECT_TRUE(last > ReflectionService::FirstPort && last <= ReflectionService::LastPort);
}

// Goes down from the top to wherever it is led, and looks at everything on the way.
void Browse(ReflectionClient & client, std::mt19937 & random) {
    RelativeLocation at;
    for (int depth = 0; depth < 8; ++depth) {
        Mu::Array<Name> folders;
        Mu::Array<Name> files;
        Mu::Array<Reflectable::Attribute> attributes;
        Mu::Array<Mu::Array<Reflectable::AttributeValue>> values;
        ASSERT_EQ(client.GetChildren(at, &folders, &files), IO::NoError);
        ASSERT_EQ(client.GetAttributes(at, &attributes), IO::NoError);
        while (files.GetSize() > 20)
            files.DeleteLast();
        ASSERT_EQ(client.GetAttributeValues(at, files, &values), IO::NoError);
        for (Name const & file : files) {
            Mu::UniString content;
            ASSERT_EQ(client.GetContent(RelativeLocation(at, file), &content), IO::NoError);
        }
        if (at == RelativeLocation("many")) {
            EXPECT_EQ(values[7][0].ToString(), "225");
            return;
        }
        if (folders.IsEmpty())
            return;
        ASSERT_EQ(at.Append(folders[static_cast<unsigned int>(random() % folders.GetSize())]),
                  IO::NoError);
    }
}

TEST(ReflectionService, ServesManyWhileTheProcessGoesOn) {
    Tests::LogCapture log;
    IO::StartReflection();
    EXPECT_TRUE(AllocationTree::Start());
    {
        Running const running;
        Level const many = MakeMany("many", 300);
        std::atomic<bool> done = false;
        std::vector<std::thread> threads;
        for (char const * name : {"mortal", "other mortal"})
            threads.emplace_back([&, name] {
                while (!done) {
                    Level const mortal = MakeMany(name, 20);
                    Mu::Thread::Sleep(1, false);
                }
            });
        threads.emplace_back([&] {
            IO::Location const place("C:\\Kestrel inspected");
            while (!done) {
                IO::MemoryVFS system;
                EXPECT_EQ(IO::fileSystem.Mount(system, place), IO::NoError);
                IO::Folder folder(place);
                for (int i = 0; i < 20; ++i)
                    EXPECT_EQ(folder.CreateFolder(Reflectable::ToName(i)), IO::NoError);
                for (int i = 0; i < 10; ++i)
                    EXPECT_EQ(folder.Delete(Reflectable::ToName(i), IO::DataSafety::KeepProtected),
                              IO::NoError);
                EXPECT_EQ(IO::fileSystem.Unmount(system), IO::NoError);
                log.Clear();
                Mu::Thread::Sleep(1, false);
            }
        });
        threads.emplace_back([&] {
            for (unsigned int i = 0; !done; ++i) {
                char * block = BMAllocatePtr(16u << i % 16, 0, 0);
                RelativeLocation const name(Reflectable::ToName(i));
                BMKillPtr(&block);
                if (i % 20 == 0)
                    Mu::Thread::Sleep(1, false);
            }
        });
        std::vector<std::thread> clients;
        for (unsigned int i = 0; i < 20; ++i)
            clients.emplace_back([i] {
                std::mt19937 random(i);
                ReflectionClient client;
                ASSERT_EQ(client.Connect("localhost", ReflectionService::GetPort(), 0),
                          IO::NoError);
                for (int round = 0; round < WalksOfAClient; ++round)
                    Browse(client, random);
            });
        for (std::thread & client : clients)
            client.join();
        done = true;
        for (std::thread & thread : threads)
            thread.join();
    }
    EXPECT_TRUE(AllocationTree::Stop());
    IO::EndReflection();
}

TEST(ReflectionService, LetsFurtherClientsWaitForAPlace) {
    for (unsigned int const limit : {0u, 2u}) { // there is always one
        ReflectionService::SetClientLimit(limit);
        Running const running;
        unsigned short const port = ReflectionService::GetPort();
        Mu::UniString ident;
        ReflectionClient clients[2];
        for (unsigned int i = 0; i < std::max(limit, 1u); ++i) {
            ASSERT_EQ(clients[i].Connect("localhost", port, 0), IO::NoError);
            EXPECT_EQ(clients[i].GetIdent(&ident), IO::NoError);
        }
        ReflectionClient last;
        ASSERT_EQ(last.Connect("localhost", port, 200), IO::NoError);
        EXPECT_EQ(last.GetIdent(&ident), IO::InputFailure) << "it waits in the backlog";
        ASSERT_EQ(last.Connect("localhost", port, 0), IO::NoError);
        clients[0].Disconnect();
        EXPECT_EQ(last.GetIdent(&ident), IO::NoError);
        EXPECT_EQ(ident, "the test's own");
    }
}

TEST(ReflectionService, EndsTheConnectionOfAGreedyClient) {
    ReflectionService::SetRequestLimit(1000);
    Running const running;
    Level const many = MakeMany("many", 1000);
    ReflectionClient client;
    Mu::Array<Name> names;
    for (unsigned int const limit : {3000u, 1u << 20}) {
        ReflectionService::SetAnswerLimit(limit); // of the connections from now on
        ASSERT_EQ(client.Connect("localhost", ReflectionService::GetPort(), 0), IO::NoError);
        EXPECT_EQ(client.GetChildren(RelativeLocation("many"), &names, &names) == IO::NoError,
                  limit > 3000);
    }
    IO::Socket::Socket greedy(InternetAddress::Loopback, ReflectionService::GetPort());
    greedy.SetTimeout(5000);
    IO::Write(greedy.GetOutputChannel(), Mu::UniString("Get children"));
    IO::Write(greedy.GetOutputChannel(), 1001u);
    char byte;
    EXPECT_EQ(IO::Read(greedy.GetInputChannel(), &byte, 1), 0u);
}

// Clients that say nothing, stop in the middle of a request, or do not read their answer.
void EndAmongClients(unsigned int seed) {
    std::mt19937 random(seed);
    std::vector<std::unique_ptr<IO::Socket::Socket>> clients;
    std::thread browsing;
    {
        Running const running;
        unsigned short const port = ReflectionService::GetPort();
        for (unsigned int i = random() % 4; i > 0; --i)
            clients.push_back(
                std::make_unique<IO::Socket::Socket>(InternetAddress::Loopback, port));
        for (auto const & client : clients) {
            char const * const requests[] = {"Get children", "Get attributes",
                                             "Get attribute values", "Get content", "GetPid"};
            Tests::TextOutput request;
            IO::Write(request, Mu::UniString(requests[random() % std::size(requests)]));
            IO::Write(request, 12u);
            IO::Write(request, Mu::UniString("many/2"));
            IO::Write(request, 0u);
            std::string bytes = request.bytes;
            if (random() % 2 == 0)
                bytes.resize(random() % bytes.size());
            else if (random() % 8 == 0)
                for (int i = 0; i < 20; ++i) // more than the system buffers
                    bytes += std::string("\x0cGet children\x05\0\0\0\x04many", 22);
            client->GetOutputChannel().Write(bytes.data(), static_cast<unsigned int>(bytes.size()));
        }
        if (random() % 2 == 0)
            browsing = std::thread([port] {
                ReflectionClient browser;
                Mu::Array<Name> names;
                Mu::Array<Name> files;
                MuErrCode status = browser.Connect("localhost", port, 0);
                while (status == IO::NoError)
                    status = browser.GetChildren(RelativeLocation("many"), &names, &files);
            });
        for (unsigned int i = random() % 50; i > 0; --i)
            std::this_thread::yield();
    }
    if (browsing.joinable())
        browsing.join();
}

TEST(ReflectionService, EndsAtAnyMoment) {
    Tests::LogCapture const log;
    Level const many = MakeMany("many", 8, 30000);
    for (unsigned int seed = 1; seed <= Ends && !HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        EndAmongClients(seed);
    }
}

} // namespace
