// One server and its clients in one process, over a network in memory.

#include <Kestrel/IPC/Client.h>
#include <Kestrel/IPC/CommunicatorPool.h>
#include <Kestrel/IPC/Connection.h>
#include <Kestrel/IPC/Server.h>
#include <Kestrel/IPC/Service.h>
#include <Kestrel/Socket/SocketFunctions.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/HandClock.h"
#include "Tests/Support/Hex.h"
#include "Tests/Support/IPC/Network.h"
#include "Tests/Support/Root/ByteChannels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#if !defined(_WIN32)
#include <sys/resource.h>
#endif

namespace {

using namespace IO::IPC;
using Tests::ToHex;

CommunicatorPool & pool = CommunicatorPool::Instance();

void Pass(int count = 6) {
    while (count-- > 0)
        pool.Process();
}

/// Does what the test says with each message.
class TestService final : public Service {
public:
    explicit TestService(std::function<void(Connection &)> handle) : handle(std::move(handle)) {}
    void SeparatorArrived(Connection & connection) override { handle(connection); }

private:
    std::function<void(Connection &)> handle;
};

std::string ReadMessage(EndPoint & endPoint) {
    EndPoint::InputSeparatorGuard const guard(endPoint);
    long long const size = endPoint.GetIChannel().GetNearestSeparator();
    std::string text(size > 0 ? static_cast<std::size_t>(size) : 0, 0);
    if (!text.empty())
        endPoint.GetIChannel().ReadBin(text.data(), static_cast<unsigned int>(text.size()),
                                       nullptr);
    return text;
}

void WriteMessage(EndPoint & endPoint, std::string const & text) {
    endPoint.GetOChannel().WriteBin(text.data(), static_cast<unsigned int>(text.size()), nullptr);
    endPoint.GetOChannel().WriteSeparator();
}

void Answer(Connection & connection) {
    WriteMessage(connection, ReadMessage(connection) + "!");
}

/// A server with the service "Proc", and a client that is connected to it.
class Dialogue : public ::testing::Test {
protected:
    void Start(std::function<void(Connection &)> handle) {
        service = std::make_unique<TestService>(std::move(handle));
        server = std::make_unique<Server>();
        server->RegisterService(IO::Location("Proc"), service.get());
        ASSERT_EQ(server->Start(65000, 65100), IO::NoError);
        client = std::make_unique<Client>();
        Connect(*client);
    }
    void Connect(Client & one) {
        ASSERT_EQ(one.Connect(IO::Location("ipc://localhost:65000/Proc")), IO::NoError);
        clock.Advance(1);
        Pass();
        ASSERT_EQ(one.GetConnectState(), Client::Connected);
    }

    Tests::HandClock clock;
    Tests::Network network;
    std::unique_ptr<TestService> service;
    std::unique_ptr<Server> server;
    std::unique_ptr<Client> client;
};

struct Observer final : ClientObserver {
    void ClientConnected(Client &, IO::Location const &) override { told += "connected "; }
    void ClientDisconnected(Client & client, bool whileConnecting) override {
        told += whileConnecting ? "failed " : "lost ";
        client.Detach(*this);
        if (act)
            act();
    }
    std::string told;
    std::function<void()> act;
};

} // namespace

TEST_F(Dialogue, IsTheseBytes) {
    Start(Answer);
    std::string const greeting = "4402000000575753"
                                 "4C440900000005000000"
                                 "50726F6300";
    EXPECT_EQ(ToHex(network.toServers), greeting);
    WriteMessage(*client, "abc");
    Pass();
    EXPECT_EQ(ToHex(network.toServers), greeting + "440300000061626353");
    EXPECT_EQ(ToHex(network.toClients), "44040000006162632153");
    unsigned int available = 0;
    unsigned long long position = 1;
    EXPECT_EQ(client->GetIChannel().GetAvailable(&available), IO::NoError);
    EXPECT_EQ(client->GetIChannel().GetInputPosition(&position), IO::NoError);
    EXPECT_EQ(available + position, ~0u) << "no end of a stream is known";
    EXPECT_FALSE(client->GetIChannel().IsEOI());
    EXPECT_EQ(ReadMessage(*client), "abc!");

    Tests::ByteOChannel list;
    ASSERT_EQ(pool.WriteCommunicators(list), IO::NoError);
    std::string const host = "09000000" + ToHex("127.0.0.1");
    EXPECT_EQ(ToHex(list.GetBytes()), "03000000"
                                      "0300000053E8FD0000"
                                      "040000004C" +
                                          host +
                                          "E8FD0000"
                                          "0500000043" +
                                          host);
}

TEST_F(Dialogue, CutsFramesAtBlocksAndOrdersTags) {
    Start(Answer);
    network.toServers.clear();
    SocketOChannel & out = client->GetOChannel();
    std::string const large(600000, 'x');
    out.WriteBin(large.data(), 600000, nullptr);
    out.WriteServiceSign();
    out.WriteSeparator(); // goes before the sign
    out.OpenBlock();
    out.Write('y');
    Tests::ByteOChannel details;
    EXPECT_EQ(out.WriteDetails(details), IO::NoError);
    EXPECT_TRUE(ToHex(details.GetBytes()).ends_with("020000000500000053050000004C"))
        << "both tags, before the head of what is not framed yet";
    for (int i = 0; i < 40; ++i)
        Pass(1);
    // What was sent before takes its part of the first block.
    unsigned int const first = 508096 - 2 - 9;
    ASSERT_EQ(network.toServers.size(), 600000u + 5 + 5 + 2);
    EXPECT_EQ(ToHex(network.toServers.substr(0, 5)), "44B5C00700");
    EXPECT_EQ(0x7C0B5u, first);
    EXPECT_EQ(ToHex(network.toServers.substr(first + 5, 5)), "440B670100");
    EXPECT_EQ(network.toServers.substr(600010), "SL") << "nothing of the open block";
    network.toServers.clear();
    out.CloseBlock();
    Pass();
    EXPECT_EQ(ToHex(network.toServers), "44050000000100000079");
}

// Whatever is marked, taken back and written over while parts of it leave, what arrives is the text
// that a plain string would be.
TEST_F(Dialogue, WritesOverWhatMarksTakeBack) {
    Start([](Connection &) {});
    network.toServers.clear();
    SocketOChannel & out = client->GetOChannel();
    std::mt19937 random(1);
    std::string text;
    std::vector<std::size_t> marks;
    std::size_t at = 0;
    unsigned long long accepted = 0;
    out.GetOutputPosition(&accepted); // of the greeting
    auto const pop = [&] {
        EXPECT_EQ(out.PopMark(), marks.empty() ? IO::Error : IO::NoError);
        if (!marks.empty()) {
            at = marks.back();
            marks.pop_back();
        }
    };
    auto const write = [&] {
        std::string const piece(1 + random() % (random() % 8 == 0 ? 60000 : 50),
                                static_cast<char>('a' + random() % 26));
        ASSERT_EQ(out.WriteBin(piece.data(), static_cast<unsigned int>(piece.size()), nullptr),
                  IO::NoError);
        text.replace(at, piece.size(), piece);
        at += piece.size();
        accepted += piece.size();
    };
    for (int step = 0; step < 500 && text.size() < 600000; ++step) { // the server holds no more
        switch (random() % 8) {
        case 0:
            marks.push_back(at);
            EXPECT_EQ(out.PushMark(), IO::NoError);
            break;
        case 1: pop(); break;
        case 2:
            at = text.size();
            out.ResetOffset();
            break;
        case 3: Pass(1); break;
        default: write();
        }
        ASSERT_EQ(out.GetOffset(), text.size() - at);
        std::string back(text.size() - at + 1, '?');
        unsigned int copied = 0;
        EXPECT_EQ(out.CopyBinOutput(back.data(), static_cast<unsigned int>(back.size()), &copied),
                  IO::NoError);
        ASSERT_EQ(back.substr(0, copied), text.substr(at));
        unsigned long long position = 0;
        EXPECT_EQ(out.GetOutputPosition(&position), IO::NoError);
        ASSERT_EQ(position, accepted);
    }
    while (!marks.empty())
        pop();
    out.ResetOffset();
    out.WriteSeparator();
    for (int i = 0; i < 200; ++i)
        Pass(1);
    std::string arrived;
    std::string_view frames = network.toServers;
    while (frames.size() > 5 && frames[0] == 'D') {
        unsigned int size = 0;
        std::memcpy(&size, frames.data() + 1, sizeof(size));
        arrived += frames.substr(5, size);
        frames.remove_prefix(std::min<std::size_t>(5 + size, frames.size()));
    }
    EXPECT_EQ(frames, "S");
    EXPECT_TRUE(arrived == text) << arrived.size() << " bytes of " << text.size();
}

TEST_F(Dialogue, LooksBeyondTheSelectionOfAService) {
    std::string seen;
    Start([&](Connection & connection) {
        SocketIChannel & in = connection.GetIChannel();
        char text[4] = "";
        unsigned int count = 0;
        if (seen.empty()) {
            char * place = nullptr;
            in.SetSeparatorIsEOI(true);
            EXPECT_EQ(in.DirectInputAccess(3, &place, &count), IO::EOI) << "the message ends";
            EXPECT_EQ(in.DirectInputAccess(2, &place, &count), IO::NoError);
            EXPECT_EQ(std::string(place, count), "ab");
            in.SetSeparatorIsEOI(false);
            EXPECT_EQ(in.CopyBin(text, 4, &count), IO::NoError);
            seen.assign(text, count);
        }
        seen += ReadMessage(connection);
    });
    server->RegisterService(IO::Location("Other"), service.get());
    WriteMessage(*client, "ab");
    EXPECT_EQ(client->SelectService(IO::Location("ipc://localhost:65000/Other")), IO::NoError);
    WriteMessage(*client, "cd");
    Pass();
    EXPECT_EQ(seen, "abcdabcd");
}

TEST_F(Dialogue, EndsAtATagThatIsNone) {
    Start([](Connection &) {});
    IO::Socket::SocketHandle socket;
    network.Socket(1, &socket);
    network.Connect(socket, {2, 65000, {}});
    Pass();
    unsigned int sent;
    network.Send(socket, "D\0\0\0\0SX", 7, &sent);
    Pass();
    EXPECT_EQ(network.Send(socket, "S", 1, &sent), IO::Socket::WSAError::ConnectionReset);
}

TEST_F(Dialogue, WaitsInStepsAndKnowsTheEndOfItsTime) {
    Start([](Connection & connection) { ReadMessage(connection); });
    WriteMessage(*client, "no answer");
    EXPECT_EQ(client->WaitNextSeparator(2.0), IO::Error);
    EXPECT_EQ(clock.GetSleeps(), std::vector<unsigned long long>(40, 50));
    EXPECT_EQ(client->WaitNextSeparator(0), IO::Error);
    EXPECT_TRUE(client->IsOk());
}

TEST_F(Dialogue, AllocatesNothingInASteadyRoundTrip) {
    Start([](Connection & connection) {
        int value = 0;
        EndPoint::InputSeparatorGuard const guard(connection);
        connection.GetIChannel().Read(value);
        connection.GetOChannel().Write(value + 1);
        connection.GetOChannel().WriteSeparator();
    });
    unsigned long long before = 0;
    unsigned int polls = 0;
    for (int i = 0; i < 300; ++i) {
        if (i == 100) {
            before = Tests::CountAllocations();
            polls = network.sends;
        }
        client->GetOChannel().Write(i);
        client->GetOChannel().WriteSeparator();
        ASSERT_EQ(client->WaitNextSeparator(1), IO::NoError);
        EndPoint::InputSeparatorGuard const guard(*client);
        int answer = 0;
        client->GetIChannel().Read(answer);
        ASSERT_EQ(answer, i + 1);
    }
    EXPECT_EQ(Tests::CountAllocations(), before);
    EXPECT_EQ(network.sends - polls, 400u) << "a message and its separator leave in one call";
}

TEST_F(Dialogue, HoldsBackWhoSendsMoreThanIsTaken) {
    unsigned int taken = 0;
    bool takes = false;
    Start([&](Connection & connection) {
        if (!takes)
            return;
        taken += static_cast<unsigned int>(ReadMessage(connection).size());
    });
    pool.SetUnreadLimit(100000);
    network.weather.window = 10000;
    std::string const text(1000, 'z');
    for (int i = 0; i < 500; ++i)
        WriteMessage(*client, text);
    Pass(300);
    std::size_t const held = network.toServers.size();
    EXPECT_GT(held, 100000u);
    EXPECT_LT(held, 700000u) << "all was read, though nobody takes it";
    EXPECT_LT(held, 500 * 1006u);
    takes = true;
    Pass(2000);
    EXPECT_EQ(taken, 500000u);
    pool.SetUnreadLimit(16u << 20);
}

TEST_F(Dialogue, HoldsBackWhoReadsNoAnswers) {
    unsigned int calls = 0;
    Start([&](Connection & connection) {
        ++calls;
        ReadMessage(connection);
        WriteMessage(connection, std::string(10000, 'a'));
    });
    pool.SetUnreadLimit(20000);
    network.weather.window = 10000;
    for (int i = 0; i < 100; ++i)
        WriteMessage(*client, "more");
    Pass(300);
    EXPECT_LT(calls, 10u);
    unsigned int answers = 0;
    while (client->WaitNextSeparator(1) == IO::NoError && ++answers)
        EXPECT_EQ(ReadMessage(*client).size(), 10000u);
    EXPECT_EQ(answers, 100u);
    pool.SetUnreadLimit(16u << 20);
}

TEST_F(Dialogue, SurvivesWhoeverGoesInACall) {
    // The peer goes while its message is handled: the connection lives on until the call is over.
    Start([&](Connection & connection) {
        EXPECT_EQ(ReadMessage(connection), "bye");
        client.reset();
        Pass();
        EXPECT_FALSE(connection.IsOk());
        WriteMessage(connection, "too late");
    });
    WriteMessage(*client, "bye");
    Pass(4);
    EXPECT_EQ(network.CountSockets(), 1u);

    // The service ends the server, and with it the connection that it serves.
    Start([&](Connection & connection) {
        EndPoint::InputSeparatorGuard const guard(connection);
        server.reset();
    });
    Observer observer;
    client->Attach(observer);
    observer.act = [&] { client.reset(); }; // and the observer the client that tells it
    WriteMessage(*client, "end");
    Pass(8);
    EXPECT_EQ(observer.told, "lost ");
    EXPECT_FALSE(client);
    EXPECT_EQ(network.CountSockets(), 0u);

    // A read that waits is over when its client goes.
    Start([&](Connection &) { client.reset(); });
    WriteMessage(*client, "x");
    char c;
    unsigned int read = 1;
    EXPECT_EQ(client->GetIChannel().ReadBin(&c, 1, &read), IO::EOI);
    EXPECT_EQ(read, 0u);
    Pass();
}

TEST_F(Dialogue, TellsOfConnectionsThatFail) {
    Client refused;
    Observer observer;
    refused.Attach(observer);
    EXPECT_EQ(refused.Connect(IO::Location("ipc://localhost:1/x")), IO::Error);
    EXPECT_EQ(observer.told, "failed ");
    EXPECT_EQ(refused.GetConnectState(), Client::NotConnected);
    EXPECT_EQ(refused.Connect(IO::Location("ipc://localhost/x")), IO::Error) << "no port";

    Start(Answer);
    EXPECT_EQ(client->Connect(IO::Location("ipc://localhost:65000/Proc")), IO::Error);
    // Two to one place: one of them moves on in a pass.
    Client second, third;
    IO::Location const place("ipc://localhost:65000/Proc");
    EXPECT_EQ(second.Connect(place), IO::NoError);
    EXPECT_EQ(third.Connect(place), IO::NoError);
    clock.Advance(1);
    Pass(1);
    EXPECT_EQ(second.GetConnectState() + third.GetConnectState(), 3);

    server->ProcessError();
    EXPECT_FALSE(server->IsRunning());
    Pass();
    WriteMessage(*client, "still there");
    ASSERT_EQ(client->WaitNextSeparator(1), IO::NoError);
    EXPECT_EQ(ReadMessage(*client), "still there!");
}

TEST_F(Dialogue, FindsAFreePort) {
    Server first, second, third;
    EXPECT_EQ(first.Start(65000, 65000), IO::NoError);
    EXPECT_EQ(second.Start(65000, 65001), IO::NoError);
    EXPECT_EQ(second.GetPort(), 65001u);
    EXPECT_EQ(third.Start(65000, 65001), IO::Error);
    EXPECT_FALSE(third.IsRunning());
    EXPECT_EQ(network.CountSockets(), 2u);
    {
        Server again;
        EXPECT_EQ(again.Start(65002, 65002), IO::NoError);
        EXPECT_EQ(again.Start(65003, 65003), IO::NoError) << "the old socket stays open";
        EXPECT_EQ(network.CountSockets(), 4u);
        EXPECT_EQ(again.Start(65000, 65000), IO::Error);
        EXPECT_FALSE(again.IsRunning());
    }
    Pass(); // the pool knows nothing of it any more
    EXPECT_EQ(pool.GetServers().GetSize(), 2u);
}

TEST_F(Dialogue, GivesUpAConnectionThatNeverStands) {
    network.isUnreachable = true;
    Client late;
    Observer observer;
    late.Attach(observer);
    late.SetConnectTimeout(20);
    EXPECT_EQ(late.Connect(IO::Location("ipc://localhost:65000/x")), IO::NoError);
    clock.Advance(20000);
    Pass();
    EXPECT_EQ(late.GetConnectState(), Client::Connecting);
    clock.Advance(1000);
    Pass();
    EXPECT_EQ(observer.told, "failed ");
    EXPECT_EQ(network.CountSockets(), 0u);
    late.SetConnectTimeout(100000); // a day at most
    EXPECT_EQ(late.Connect(IO::Location("ipc://localhost:65000/x")), IO::NoError);
    clock.Advance(86401000);
    Pass();
    EXPECT_EQ(late.GetConnectState(), Client::NotConnected);
}

// What an earlier connection left open or unsent is in nobody's way.
TEST_F(Dialogue, BeginsAnewAfterALoss) {
    Start(Answer);
    client->GetOChannel().OpenBlock();
    client->Disconnect();
    EXPECT_NE(client->GetOChannel().CloseBlock(), IO::NoError);
    char byte;
    unsigned int copied = 9;
    EXPECT_NE(client->GetOChannel().CopyBinOutput(&byte, 1, &copied), IO::NoError);
    EXPECT_EQ(copied, 0u);
    Connect(*client);
    WriteMessage(*client, "again");
    ASSERT_EQ(client->WaitNextSeparator(1), IO::NoError);
    EXPECT_EQ(ReadMessage(*client), "again!");
}

TEST_F(Dialogue, WaitsByTheFunctionInThePlaceOfThePass) {
    Start(Answer);
    static int calls;
    calls = 0;
    EXPECT_EQ(pool.SetProcessFunc([] {
        if (++calls == 3)
            pool.ProcessCommunication();
    }),
              nullptr);
    WriteMessage(*client, "x");
    EXPECT_EQ(client->GetOChannel().Flush(), IO::NoError);
    EXPECT_EQ(calls, 3);
    EXPECT_NE(pool.SetProcessFunc(nullptr), nullptr);
}

TEST_F(Dialogue, ServesManyAtOnce) {
    Start(Answer);
    std::vector<std::unique_ptr<Client>> clients;
    for (int i = 0; i < 150; ++i) {
        clients.push_back(std::make_unique<Client>());
        clients.back()->Connect(IO::Location("ipc://localhost:65000/Proc"));
        clock.Advance(1);
        Pass(2);
    }
    Pass();
    for (std::unique_ptr<Client> const & one : clients)
        WriteMessage(*one, "me");
    network.polls = 0;
    Pass(4);
    EXPECT_EQ(network.polls, 4u) << "one call of the system for all";
    for (std::unique_ptr<Client> const & one : clients)
        ASSERT_EQ(ReadMessage(*one), "me!");
    clients.clear();
    Pass();
    EXPECT_EQ(network.CountSockets(), 3u);
}

namespace {

// The system's own sockets and clock: nothing of the test stands between.
class RealDialogue : public ::testing::Test {
protected:
    RealDialogue() {
        server.SetLoopbackOnly(true);
        server.RegisterService(IO::Location("Proc"), &service);
        EXPECT_EQ(server.Start(65000, 65100), IO::NoError);
    }
    void Begin(Client & one) {
        std::string const place = "ipc://127.0.0.1:" + std::to_string(server.GetPort()) + "/Proc";
        ASSERT_EQ(one.Connect(IO::Location(place.c_str())), IO::NoError);
    }
    void Connect(Client & one) {
        Begin(one);
        PassUntil([&] { return one.GetConnectState() == Client::Connected; });
    }
    template <typename Condition>
    void PassUntil(Condition holds) {
        for (int i = 0; i < 3000 && !holds(); ++i) {
            pool.Process();
            pool.Wait(0.05);
        }
        ASSERT_TRUE(holds());
    }
    unsigned int CountSockets() {
        Mu::Array<SocketInterest> sockets;
        pool.ListSockets(sockets);
        return sockets.GetSize();
    }

    TestService service{Answer};
    Server server;
};

} // namespace

TEST_F(RealDialogue, WorksOverTheLoopback) {
    Client client;
    Connect(client);
    for (std::size_t const size : {0u, 1u, 1000u, 1000000u}) {
        std::string const text(size, 'q');
        WriteMessage(client, text);
        EXPECT_EQ(client.GetOChannel().Flush(), IO::NoError);
        ASSERT_EQ(client.WaitNextSeparator(20), IO::NoError);
        EXPECT_EQ(ReadMessage(client), text + "!");
    }
    Mu::Array<SocketInterest> sockets;
    EXPECT_FALSE(pool.ListSockets(sockets));
    EXPECT_EQ(sockets.GetSize(), 3u);
    for (SocketInterest const & one : sockets)
        EXPECT_TRUE(one.read && !one.write);
    client.Disconnect();
    PassUntil([&] { return CountSockets() == 1; });
}

TEST_F(RealDialogue, ServesMoreThanSelectWould) {
#if defined(_WIN32)
    unsigned int const count = 100; // Wine takes a while for each
#else
    unsigned int const count = 2000;
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_cur < 2 * count + 100)
        GTEST_SKIP() << "needs more descriptors than the system allows";
#endif
    std::vector<std::unique_ptr<Client>> clients;
    for (unsigned int i = 0; i < count && !HasFailure(); ++i) {
        Begin(*clients.emplace_back(std::make_unique<Client>()));
        while (clients.back()->GetConnectState() == Client::Connecting)
            clients.back()->ProcessPendingConnect();
    }
    for (unsigned int i = 0; i < clients.size(); ++i)
        WriteMessage(*clients[i], std::to_string(i));
    unsigned int answers = 0;
    PassUntil([&] {
        for (unsigned int i = 0; i < clients.size(); ++i)
            if (clients[i]->GetISeparatorCount() == 1) {
                EXPECT_EQ(ReadMessage(*clients[i]), std::to_string(i) + "!");
                ++answers;
            }
        return answers == clients.size();
    });
}

TEST_F(RealDialogue, FindsASocketThatSomebodyClosed) {
    Observer observer;
    Client closed;
    Client other;
    Connect(closed);
    Connect(other);
    PassUntil([&] { return CountSockets() == 5; }); // or the next one accepted gets the number
    closed.Attach(observer);
    IO::Socket::Close(closed.GetSocket());
    PassUntil([&] { return closed.GetConnectState() == Client::NotConnected; });
    EXPECT_EQ(observer.told, "lost ");
    EXPECT_TRUE(other.IsOk());
    WriteMessage(other, "on");
    ASSERT_EQ(other.WaitNextSeparator(20), IO::NoError);
    EXPECT_EQ(ReadMessage(other), "on!");
}

TEST_F(RealDialogue, ListensWhereItIsToListen) {
    auto const getAddress = [](Server const & one) {
        IO::Socket::SocketAddress address{};
        IO::Socket::GetSocketCalls().GetSockName(one.GetSocket(), &address);
        return ToHex(std::string(reinterpret_cast<char *>(address.address), 4)) + ":" +
               (address.port == one.GetPort() ? "same" : "other");
    };
    EXPECT_EQ(getAddress(server), "7F000001:same");
    for (bool const isLoopback : {true, false}) {
        std::string const address = isLoopback ? "7F000001:" : "00000000:";
        Server chosen;
        chosen.SetLoopbackOnly(isLoopback);
        ASSERT_EQ(chosen.Start(0, 0), IO::NoError);
        EXPECT_EQ(getAddress(chosen), address + "same");
        Server turned;
        turned.SetLoopbackOnly(isLoopback);
        ASSERT_EQ(turned.Start(2, 1), IO::NoError);
        EXPECT_EQ(turned.GetPort(), 2u);
        EXPECT_EQ(getAddress(turned), address + "other");
    }
}
