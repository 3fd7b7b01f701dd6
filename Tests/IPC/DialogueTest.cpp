// One server and its clients in one process, over a network in memory.

#include <Kestrel/IPC/Client.h>
#include <Kestrel/IPC/CommunicatorPool.h>
#include <Kestrel/IPC/Connection.h>
#include <Kestrel/IPC/Internal/BlockStore.h>
#include <Kestrel/IPC/Server.h>
#include <Kestrel/IPC/Service.h>
#include <Kestrel/Root/Time/Clock.h>
#include <Kestrel/Socket/Platform/ForwardingSocketCalls.h>
#include <Kestrel/Socket/SocketFunctions.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/HandClock.h"
#include "Tests/Support/Hex.h"
#include "Tests/Support/IPC/Network.h"
#include "Tests/Support/Root/ByteChannels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <deque>
#include <functional>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

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

TEST_F(Dialogue, CutsFramesAtBlocks) {
    Start(Answer);
    network.toServers.clear();
    SocketOChannel & out = client->GetOChannel();
    out.WriteBin(std::string(600000, 'x').data(), 600000, nullptr);
    out.WriteSeparator();
    out.OpenBlock();
    out.Write('y');
    Tests::ByteOChannel details;
    EXPECT_EQ(out.WriteDetails(details), IO::NoError);
    EXPECT_EQ(ToHex(details.GetBytes()), "0100000002000000C0C007000000"
                                         "00000B000000B05906000000000000000000D0270900"
                                         "020000000500000001000000010000000500000053")
        << "the last: both marks, and a tag before the head of what is not framed yet";
    Pass(40);
    // What was sent before takes its part of the first block.
    EXPECT_EQ(ToHex(network.toServers.substr(0, 5)), "44B5C00700");
    EXPECT_EQ(ToHex(network.toServers.substr(0x7C0B5 + 5, 5)), "440B670100");
    EXPECT_EQ(network.toServers.substr(600010), "S") << "nothing of the open block";
    network.toServers.clear();
    out.CloseBlock();
    Pass();
    EXPECT_EQ(ToHex(network.toServers), "44050000000100000079");
}

// Whatever is marked, taken back and written over while parts of it leave, what arrives is the text
// that a plain string would be, with the tags at their places.
TEST_F(Dialogue, WritesOverWhatMarksTakeBack) {
    Start([](Connection &) {});
    network.toServers.clear();
    SocketOChannel & out = client->GetOChannel();
    std::mt19937 random(1);
    std::string text;
    std::vector<std::size_t> marks;
    std::size_t at = 0;
    std::size_t sent = 0;
    using Tag = std::pair<std::size_t, bool>; // before which byte, and whether it selects a service
    std::multiset<Tag> waiting;
    std::vector<Tag> left;
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
    auto const send = [&] {
        Pass(20);
        sent = std::max(sent, marks.empty() ? at : std::min(at, *std::ranges::min_element(marks)));
        auto const end = waiting.upper_bound({sent, true});
        left.insert(left.end(), waiting.begin(), end);
        waiting.erase(waiting.begin(), end);
        EXPECT_FALSE(out.HasSendable());
        EXPECT_EQ(out.GetUnsent(), text.size() - sent);
    };
    for (int step = 0; step < 500 && text.size() < 600000; ++step) { // the server holds no more
        switch (unsigned int const what = random() % 10) {
        case 0:
            marks.push_back(at);
            EXPECT_EQ(out.PushMark(), IO::NoError);
            break;
        case 1: pop(); break;
        case 2:
            at = text.size();
            out.ResetOffset();
            break;
        case 3: send(); break;
        case 4:
        case 5:
            EXPECT_EQ(what == 4 ? out.WriteSeparator() : out.WriteServiceSign(), IO::NoError);
            waiting.insert({at, what == 5});
            break;
        default: write();
        }
        ASSERT_EQ(out.GetOffset(), text.size() - at);
        std::string back(text.size() - at + 1, '?');
        unsigned int copied = 0;
        EXPECT_EQ(out.CopyBinOutput(back.data(), static_cast<unsigned int>(back.size()), &copied),
                  IO::NoError);
        ASSERT_EQ(back.substr(0, copied), text.substr(at));
        std::size_t const offset = random() % back.size();
        char * place = nullptr;
        EXPECT_EQ(out.DirectOutputAccess(static_cast<unsigned int>(offset), &place, &copied),
                  at + offset < text.size() ? IO::NoError : IO::Error);
        EXPECT_EQ(copied != 0, at + offset < text.size());
        ASSERT_EQ(std::string_view(place, copied), text.substr(at + offset, copied));
        unsigned long long position = 0;
        EXPECT_EQ(out.GetOutputPosition(&position), IO::NoError);
        ASSERT_EQ(position, accepted);
        ASSERT_EQ(out.GetSeparatorCount() + std::ranges::count(waiting, true, &Tag::second),
                  static_cast<std::ptrdiff_t>(waiting.size()));
    }
    while (!marks.empty())
        pop();
    at = text.size();
    out.ResetOffset();
    send();
    std::string arrived;
    std::vector<Tag> tags;
    std::string_view frames = network.toServers;
    while (!frames.empty()) {
        unsigned int size = 0;
        if (frames[0] == 'D' && frames.size() > 5)
            std::memcpy(&size, frames.data() + 1, sizeof(size));
        else
            tags.emplace_back(arrived.size(), frames[0] == 'L');
        arrived += frames.substr(size == 0 ? 1 : 5, size);
        frames.remove_prefix(std::min<std::size_t>(size == 0 ? 1 : 5 + size, frames.size()));
    }
    EXPECT_EQ(tags, left);
    EXPECT_TRUE(arrived == text) << arrived.size() << " bytes of " << text.size();
}

// Whatever is read, looked at, skipped and pushed back while pieces, ends of messages and selections
// of services come, it is what a plain string with these ends would give.
TEST_F(Dialogue, ReadsWhatAStringWithSeparatorsWouldGive) {
    Connection * peer = nullptr;
    Start([&](Connection & connection) {
        peer = &connection;
        ReadMessage(connection);
    });
    WriteMessage(*client, "");
    Pass();
    network.weather.part = 300;
    SocketIChannel & in = client->GetIChannel();
    SocketOChannel & out = peer->GetOChannel();
    std::mt19937 random(2);
    std::string letters(62000, 0);
    std::ranges::generate(letters, [&] { return static_cast<char>('a' + random() % 26); });
    std::string unread;
    std::deque<unsigned long long> ends; // in the stream
    unsigned long long sent = 0;
    unsigned long long taken = 0;
    unsigned long long again = 0; // bytes of `unread` that were taken before
    unsigned long long position = 0;
    bool stops = false; // each read, at the next end
    auto const write = [&](std::string const & piece) {
        out.WriteBin(piece.data(), static_cast<unsigned int>(piece.size()), nullptr);
        unread += piece;
        sent += piece.size();
    };
    auto const getNearest = [&] {
        return ends.empty() ? -1 : static_cast<long long>(ends.front() - taken);
    };
    auto const limit = [&](unsigned long long count) {
        return stops && !ends.empty() ? std::min(count, ends.front() - taken) : count;
    };
    auto const take = [&](unsigned long long count) {
        unsigned long long const back = std::min(count, again);
        again -= back;
        taken += count - back;
        unread.erase(0, count);
        while (!ends.empty() && ends.front() < taken)
            ends.pop_front();
    };
    auto const read = [&](unsigned int count) {
        auto const most = limit(count);
        auto const status = most < count ? IO::EOI : IO::NoError;
        std::string got(count + 1, '?');
        unsigned int moved = 9;
        unsigned int const kind = random() % 3;
        if (kind == 0) {
            unsigned long long skipped = 9;
            EXPECT_EQ(in.Skip(count, &skipped), most == 0 ? status : IO::NoError);
            EXPECT_EQ(skipped, most);
        } else {
            EXPECT_EQ(kind == 1 ? in.ReadBin(got.data(), count, &moved)
                                : in.CopyBin(got.data(), count, &moved),
                      status);
            EXPECT_EQ(moved, most);
            EXPECT_EQ(got, unread.substr(0, most) + std::string(got.size() - most, '?'));
        }
        position += most;
        if (kind != 2)
            take(most);
        EXPECT_EQ(in.GetInputStatus(), status);
        EXPECT_EQ(in.ReadBin(got.data(), 0, &moved), status) << "it sticks";
        in.ResetInputStatus();
    };
    auto const accessDirectly = [&](unsigned int size) {
        char * place = nullptr;
        unsigned int whole = 9;
        EXPECT_EQ(in.DirectInputAccess(0, &place, &whole), limit(1) == 0 ? IO::EOI : IO::NoError);
        EXPECT_LE(whole, limit(unread.size()));
        EXPECT_EQ(std::string(place, whole), unread.substr(0, whole));
        unsigned int piece = 9;
        EXPECT_EQ(in.DirectInputAccess(size, &place, &piece), size <= whole        ? IO::NoError
                                                              : limit(size) < size ? IO::EOI
                                                                                   : IO::Error);
        EXPECT_EQ(piece, std::min(size, whole));
    };
    // More than was read: it lies over what comes first, and as many zeros behind the end.
    write("abcdef");
    Pass(9);
    EXPECT_EQ(in.PushBack("ZY", 2), IO::NoError);
    unread = std::string("ZYcdef\0\0", 8);
    again = 2;
    std::string ahead(8, '?');
    EXPECT_EQ(in.CopyBin(ahead.data(), 8, nullptr), IO::NoError);
    EXPECT_EQ(ahead, unread);
    position = 8;
    for (int step = 0; step < 1500 && !HasFailure(); ++step) {
        unsigned int const what = random() % 14;
        if (what < 3) {
            std::size_t const size = 1 + random() % (random() % 30 == 0 ? 60000 : 50);
            write(letters.substr(random() % 2000, size));
        } else if (what == 4) {
            out.WriteServiceSign();
            unsigned int const length = random() % 3 * (random() % 300);
            out.Write(length);
            out.WriteBin(std::string(length, 's').data(), length, nullptr);
        }
        if (what == 2 || what == 3) {
            out.WriteSeparator();
            ends.push_back(sent);
        }
        if (what < 5 && random() % 2 == 0)
            continue; // it comes while a read waits
        if (what > 7 || again != 0)
            Pass(30);
        auto const most = std::min<std::size_t>(unread.size(), random() % 4 == 0 ? 70000 : 30);
        unsigned int const count = static_cast<unsigned int>(random() % (most + 1));
        if (what < 8) {
            read(count);
        } else if (what == 8 && taken > again) {
            std::string const back =
                letters.substr(random() % 2000, 1 + random() % std::min(taken - again, 40ull));
            EXPECT_EQ(in.PushBack(back.data(), static_cast<unsigned int>(back.size())),
                      IO::NoError);
            unread.insert(0, back);
            again += back.size();
        } else if (what == 9 && !unread.empty()) {
            accessDirectly(std::max(count, 1u));
        } else if (what != 11) {
            long long const nearest = getNearest();
            EXPECT_EQ(in.EatSeparator(), nearest < 0 ? IO::Error : IO::NoError);
            if (nearest > 0) {
                position += static_cast<unsigned long long>(nearest);
                take(static_cast<unsigned long long>(nearest));
            }
            if (nearest >= 0)
                ends.pop_front();
        } else {
            EXPECT_EQ(in.SetSeparatorIsEOI(!stops), stops);
            stops = !stops;
        }
        Pass(30);
        EXPECT_EQ(in.GetReadable(), unread.size());
        EXPECT_EQ(in.GetSeparatorCount(), ends.size());
        EXPECT_EQ(in.GetNearestSeparator(), getNearest());
        EXPECT_GE(in.GetUnread(), unread.size() + 32 * ends.size());
        unsigned long long available = 0;
        unsigned long long moved = 0;
        unsigned int few = 0;
        EXPECT_EQ(in.GetAvailable(&available), in.GetAvailable(&few));
        EXPECT_EQ(in.GetInputPosition(&moved), IO::NoError);
        EXPECT_EQ(moved, position);
        EXPECT_EQ(available, ~0ull - position) << "no end of a stream is known";
        EXPECT_EQ(few + position, ~0u);
        char c = 0;
        if (count < unread.size()) {
            EXPECT_EQ(in.Look(count, &c), IO::NoError);
            EXPECT_EQ(c, unread[count]);
        }
    }
    in.SetSeparatorIsEOI(false);
    write("rest");
    Pass(30);
    server.reset();
    std::string rest(unread.size() + 9, 0);
    unsigned int moved = 0;
    EXPECT_EQ(in.ReadBin(rest.data(), static_cast<unsigned int>(rest.size()), &moved), IO::EOI);
    EXPECT_EQ(rest.substr(0, moved), unread);
    in.EatLocations();
    EXPECT_EQ(in.GetUnread(), 32 * in.GetSeparatorCount()) << "an end behind the last byte";
    EXPECT_TRUE(in.IsEOI());
}

TEST_F(Dialogue, EndsAtATagThatIsNone) {
    Start([](Connection &) {});
    IO::Socket::SocketHandle socket;
    network.Socket(1, &socket);
    network.Connect(socket, {2, 65000, {}});
    Pass();
    unsigned int sent;
    std::string const begun("D\0\0\0\0D\2\0\0\0WSSD\3\0\0\0xyzSLD\6\0\0\0\5\0\0\0abD\4\0\0\0c", 40);
    network.Send(socket, begun.data(), 40, &sent);
    Pass();
    Tests::ByteOChannel details;
    EndPoint & accepted = dynamic_cast<EndPoint &>(*pool.GetCommunicator(7));
    EXPECT_EQ(accepted.GetIChannel().WriteDetails(details), IO::NoError);
    EXPECT_EQ(ToHex(details.GetBytes()), "050000000000000001C5C00700000000000000000000000000"
                                         "03000000040000000100000000"   // of the frame
                                         "0300000005000000020000006162" // of the location
                                         "000000000000000000000000010000000000000000000000");
    network.Send(socket, "SSSX", 4, &sent);
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
    for (int i = 0; i < 300; ++i) {
        if (i == 100) {
            before = Tests::CountAllocations();
            network.sends = network.polls = 0;
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
    EXPECT_EQ(network.sends, 400u) << "a message and its separator leave in one call";
    EXPECT_EQ(network.polls, 600u) << "what is fresh leaves without one";
}

TEST_F(Dialogue, HoldsBackWhoSendsMoreThanIsTakenOrReadsNoAnswers) {
    unsigned int calls = 0;
    bool takes = false;
    Start([&](Connection & connection) {
        if (!takes)
            return;
        ++calls;
        WriteMessage(connection, ReadMessage(connection));
    });
    pool.SetUnreadLimit(100000);
    network.weather.window = 10000;
    std::string const text(1000, 'z');
    for (int i = 0; i < 500; ++i)
        WriteMessage(*client, text);
    Pass(300);
    EXPECT_NEAR(static_cast<double>(network.toServers.size()), 105000, 10000);
    takes = true;
    Pass(500);
    EXPECT_NEAR(calls, 200, 20) << "as much waits at both ends";
    unsigned int answers = 0;
    while (client->WaitNextSeparator(1) == IO::NoError && ++answers)
        EXPECT_EQ(ReadMessage(*client), text);
    EXPECT_EQ(answers, 500u);
    pool.SetUnreadLimit(16u << 20);
}

TEST_F(Dialogue, KeepsWhatNoServiceTakesAndLosesWhatEndsInNoMessage) {
    Start(Answer);
    auto const ask = [&] {
        WriteMessage(*client, "x");
        Pass();
        return client->GetISeparatorCount() == 0 ? "none" : ReadMessage(*client);
    };
    server->RegisterService(IO::Location("Other"), service.get());
    server->UnregisterService(IO::Location("Other"));
    EXPECT_EQ(ask(), "x!") << "of the name that the client has selected";
    TestService later([](Connection & one) { WriteMessage(one, ReadMessage(one) + "?"); });
    server->RegisterService(IO::Location("Proc"), &later);
    service.reset();
    EXPECT_EQ(ask(), "x?");
    server->UnregisterService(IO::Location("Proc"));
    EXPECT_EQ(ask(), "none");
    Mu::Array<SocketInterest> sockets;
    EXPECT_FALSE(pool.ListSockets(sockets)) << "no reason to pass again";
    pool.SetMessageLimit(1000);
    Client endless;
    Connect(endless);
    for (unsigned int const size : {900u, 100u}) {
        EXPECT_TRUE(endless.IsOk());
        endless.GetOChannel().WriteBin(std::string(size, 'e').data(), size, nullptr);
        Pass();
    }
    EXPECT_EQ(endless.GetConnectState(), Client::NotConnected);
    pool.SetMessageLimit(1u << 30);
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

    // So is a Flush.
    Start([&](Connection &) { client.reset(); });
    WriteMessage(*client, "x");
    WriteMessage(*client, std::string(100000, 'x'));
    EXPECT_EQ(client->GetOChannel().Flush(), IO::OutputClosed);
}

TEST_F(Dialogue, TellsOfConnectionsThatFail) {
    Client refused;
    Observer observer;
    refused.Attach(observer);
    EXPECT_EQ(refused.Connect(IO::Location("ipc://localhost:1/x")), IO::Error);
    EXPECT_EQ(observer.told, "failed ");
    EXPECT_EQ(refused.GetConnectState(), Client::NotConnected);

    Start(Answer);
    EXPECT_EQ(client->Connect(IO::Location("ipc://localhost:65000/Proc")), IO::Error);
    // Two to one place: one of them moves on in a pass.
    Client second, third;
    IO::Location const place("ipc://localhost:65000/Proc");
    EXPECT_EQ(second.Connect(place), IO::NoError);
    EXPECT_EQ(third.Connect(place), IO::NoError);
    clock.Advance(1);
    Mu::Array<SocketInterest> sockets;
    for (unsigned int waiting = 2; waiting > 0; --waiting) {
        EXPECT_EQ(second.GetConnectState() + third.GetConnectState(),
                  4 - static_cast<int>(waiting));
        pool.ListSockets(sockets);
        EXPECT_EQ(std::ranges::count(sockets, true, &SocketInterest::write), 1) << "the next one";
        Pass(1);
    }

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
    SocketOChannel & out = client->GetOChannel();
    char byte = 0;
    char * place = &byte;
    unsigned int moved[3] = {9, 9, 9};
    for (MuErrCode const status :
         {out.CloseBlock(), out.OpenBlock(), out.WriteBin(&byte, 1, moved), out.PushMark(),
          out.CopyBinOutput(&byte, 1, moved + 1), out.DirectOutputAccess(0, &place, moved + 2),
          out.PopMark(), out.WriteSeparator(), out.Flush(), out.GetOutputStatus()})
        EXPECT_EQ(status, IO::OutputClosed);
    EXPECT_EQ(moved[0] + moved[1] + moved[2], 0u);
    EXPECT_EQ(client->GetPeerString(), ":0");
    EXPECT_EQ(client->Connect(IO::Location("ipc://localhost/Proc")), IO::Error) << "no port";
    Connect(*client);
    EXPECT_EQ(client->GetPeerString(), "127.0.0.1:65000");
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

namespace {

struct OwnSocket final : Communicator {
    explicit OwnSocket(unsigned long long number) { socket = number; }
    ~OwnSocket() override { pool.UnRegister(this); }
    void ProcessRead() override { calls += 'r'; }
    void ProcessWrite() override { calls += 'w'; }
    void ProcessError() override { calls += 'e'; }
    std::string calls;
};

} // namespace

TEST_F(Dialogue, ServesManySocketsOfAHostsOwn) {
    Start(Answer);
    std::vector<std::unique_ptr<OwnSocket>> owns;
    for (int i = 0; i < 150; ++i) {
        Tests::Network::Handle made;
        network.Socket(1, &made);
        network.Connect(made, {2, 65000, {}});
        owns.push_back(std::make_unique<OwnSocket>(made));
    }
    std::ranges::shuffle(owns, std::mt19937(3));
    for (auto const & own : owns)
        pool.Register(own.get());
    OwnSocket other(owns[0]->GetSocket());
    pool.Register(&other);
    pool.UnRegister(owns[0].get()); // whose place is taken
    EXPECT_EQ(pool.GetCommunicator(other.GetSocket()), &other);
    EXPECT_FALSE(pool.IsRegistered(owns[0].get()));
    clock.Advance(1);
    network.polls = 0;
    Pass(4);
    EXPECT_EQ(network.polls, 4u) << "one call of the system for all";
    server.reset();
    Pass(2); // the second ends the client
    EXPECT_EQ(std::exchange(owns[0]->calls, other.calls), "");
    for (auto const & own : owns)
        EXPECT_EQ(own->calls, "wwwwrw");
    Tests::ByteOChannel list;
    EXPECT_EQ(pool.WriteCommunicators(list), IO::NoError);
    EXPECT_TRUE(list.GetBytes().ends_with('-')) << "neither server nor end of a connection";
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
    void Connect(Client & one) {
        std::string const place = "ipc://127.0.0.1:" + std::to_string(server.GetPort()) + "/Proc";
        ASSERT_EQ(one.Connect(IO::Location(place.c_str())), IO::NoError);
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

TEST(BlockStore, KeepsSoManyUnusedBlocks) {
    BlockStore & store = BlockStore::Instance();
    char * blocks[BlockStore::MostUnused + 3];
    std::ranges::generate(blocks, [&] { return store.Take(); });
    long long const held = Tests::CountLiveBlocks();
    std::ranges::for_each(blocks, [&](char * block) { store.Give(block); });
    EXPECT_EQ(Tests::CountLiveBlocks(), held - 3);
}

TEST_F(RealDialogue, WorksOverTheLoopback) {
    struct NoneLeft final : IO::Socket::ForwardingSocketCalls {
        NoneLeft() : ForwardingSocketCalls(IO::Socket::SetSocketCalls(this)) {}
        ~NoneLeft() override { IO::Socket::SetSocketCalls(&GetBelow()); }
        unsigned int Accept(unsigned long long, unsigned long long * accepted,
                            IO::Socket::SocketAddress *) override {
            *accepted = IO::Socket::NoSocket;
            return IO::Socket::WSAError::TooManyFiles;
        }
    };
    Client client;
    Connect(client);
    Client late;
    {
        NoneLeft const calls;
        Connect(late);
        unsigned long long const start = Mu::GetClock().GetMonotonicMicroseconds();
        for (int i = 0; i < 4; ++i, pool.Process())
            pool.Wait(9);
        auto const waited = Mu::GetClock().GetMonotonicMicroseconds() - start;
        EXPECT_TRUE(waited > 100000 && waited < 9000000) << "nor again and again: " << waited;
    }
    PassUntil([&] { return CountSockets() == 5; });
    late.Disconnect();
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
    Server chosen;
    ASSERT_EQ(chosen.Start(0, 0), IO::NoError);
    EXPECT_EQ(getAddress(chosen), "00000000:same");
    Server turned;
    turned.SetLoopbackOnly(true);
    ASSERT_EQ(turned.Start(2, 1), IO::NoError);
    EXPECT_EQ(turned.GetPort(), 2u);
    EXPECT_EQ(getAddress(turned), "7F000001:other");
}
