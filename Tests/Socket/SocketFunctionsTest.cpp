#include <Kestrel/Socket/SocketFunctions.h>

#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Time/Clock.h>
#include <Kestrel/Socket/Internal/Start.h>

#include "Tests/Support/Socket/ScriptedSocketCalls.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#if !defined(_WIN32)
#include <sys/socket.h>
#endif

namespace {

namespace Flat = IO::Socket;
using Tests::SocketCall;
using SetPointer = std::unique_ptr<Flat::FDSet>;

// A socket of the functions, closed at the end.
class Handle {
public:
    explicit Handle(unsigned long long socket = Flat::Create()) : socket(socket) {}
    ~Handle() { Close(); }
    Handle(Handle && other) noexcept : socket(std::exchange(other.socket, ~0ull)) {}
    void Close() {
        if (!Flat::InvalidSocket(socket)) {
            EXPECT_EQ(Flat::Close(socket), IO::NoError);
        }
        socket = ~0ull;
    }
    operator unsigned long long() const { return socket; }

private:
    unsigned long long socket;
};

unsigned int GetPort(unsigned long long socket) {
    Flat::SocketAddress address{};
    EXPECT_EQ(Flat::GetSocketCalls().GetSockName(socket, &address), 0u);
    return address.port;
}

struct Ready {
    int status = IO::Error;
    int count = 0;
    bool read = false;
    bool write = false;
    bool except = false;
};

// All three at one socket, for up to so many seconds.
Ready Look(unsigned long long socket, bool read, bool write, int seconds = 0) {
    SetPointer const sets[3] = {SetPointer(Flat::FDSet::New()), SetPointer(Flat::FDSet::New()),
                                SetPointer(Flat::FDSet::New())};
    if (read)
        sets[0]->Add(socket);
    if (write)
        sets[1]->Add(socket);
    sets[2]->Add(socket);
    Ready ready;
    int microseconds = 0;
    ready.status = Flat::Select(&ready.count, sets[0].get(), sets[1].get(), sets[2].get(), &seconds,
                                &microseconds);
    ready.read = sets[0]->IsSet(socket);
    ready.write = sets[1]->IsSet(socket);
    ready.except = sets[2]->IsSet(socket);
    return ready;
}

struct Listening {
    Listening() {
        EXPECT_EQ(Flat::Bind(socket, 0), IO::NoError);
        EXPECT_EQ(Flat::Listen(socket), IO::NoError);
        port = GetPort(socket);
    }
    Handle Connect() const {
        Handle client;
        if (Flat::Connect(client, "127.0.0.1", port) != IO::NoError) {
            EXPECT_TRUE(Flat::GetLastError() == Flat::WouldBlock ||
                        Flat::GetLastError() == Flat::InProgress);
        }
        return client;
    }
    Handle Accept(Flat::SockAddr * peer = nullptr) const {
        EXPECT_TRUE(Look(socket, true, false, 10).read);
        return Handle(Flat::Accept(socket, peer));
    }

    Handle socket;
    unsigned int port;
};

TEST(SocketFunctions, ConnectTalkAndEnd) {
    Listening const listening;
    EXPECT_EQ(Flat::Accept(listening.socket, nullptr), ~0ull);
    EXPECT_EQ(Flat::GetLastError(), Flat::WouldBlock);
    Handle client = listening.Connect();
    std::unique_ptr<Flat::SockAddr> const peer(Flat::SockAddr::New());
    Handle accepted = listening.Accept(peer.get());
    ASSERT_FALSE(Flat::InvalidSocket(accepted));
    EXPECT_EQ(peer->GetHostAddress(), "127.0.0.1");
    EXPECT_TRUE(Look(client, true, true, 10).write);
    Flat::Connect(client, "127.0.0.1", listening.port); // Linux reports once that it stands now
    EXPECT_EQ(Flat::Connect(client, "127.0.0.1", listening.port), IO::Error);
    EXPECT_EQ(Flat::GetLastError(), Flat::AlreadyConnected);

    Mu::String host;
    unsigned int port = 0;
    EXPECT_EQ(Flat::GetPeer(client, host, port), IO::NoError);
    EXPECT_EQ(host, "127.0.0.1");
    EXPECT_EQ(port, listening.port);

    unsigned int moved = 99;
    char bytes[8];
    EXPECT_EQ(Flat::Recv(accepted, bytes, 8, &moved), IO::Error);
    EXPECT_EQ(Flat::GetLastError(), Flat::WouldBlock);
    EXPECT_EQ(moved, 0u);
    EXPECT_EQ(Flat::Send(client, "hello", 5, &moved), IO::NoError);
    EXPECT_EQ(moved, 5u);
    Ready const ready = Look(accepted, true, true, 10);
    EXPECT_TRUE(ready.read && ready.write && !ready.except);
    EXPECT_EQ(ready.count, 2) << "one socket in two sets";
    EXPECT_EQ(Flat::Recv(accepted, bytes, 8, &moved), IO::NoError);
    EXPECT_EQ(std::string(bytes, moved), "hello");

    client.Close();
    EXPECT_TRUE(Look(accepted, true, false, 10).read);
    moved = 99;
    EXPECT_EQ(Flat::Recv(accepted, bytes, 8, &moved), IO::Error);
    EXPECT_EQ(Flat::GetLastError(), Flat::ConnectionClosed);
    EXPECT_EQ(moved, 0u);
}

// Before anybody listens there, so that two servers that start at once see each other; and before
// there is a connection.
TEST(SocketFunctions, BindAnAddressOnceAndSendNothingThere) {
    Handle const first;
    ASSERT_EQ(Flat::Bind(first, 0), IO::NoError);
    Handle const second;
    EXPECT_EQ(Flat::Bind(second, GetPort(first)), IO::Error);
    EXPECT_EQ(Flat::GetLastError(), Flat::AddressInUse);
    unsigned int sent;
    EXPECT_EQ(Flat::Send(first, "x", 1, &sent), IO::Error);
#if !defined(_WIN32) // where Wine reports a reset
    EXPECT_EQ(Flat::GetLastError(), Flat::NotConnected);
#endif
}

// Linux knows at once that nobody listens on this machine.
TEST(SocketFunctions, ShowARefusedConnectionAsAnException) {
    unsigned int const port = Listening().port; // where nobody listens any more
    Handle const client;
    ASSERT_EQ(Flat::Connect(client, "127.0.0.1", port), IO::Error);
    if (Flat::GetLastError() != Flat::ConnectionRefused) {
        EXPECT_EQ(Flat::GetLastError(), Flat::WouldBlock);
        Ready const ready = Look(client, true, true, 10);
        EXPECT_EQ(ready.status, IO::NoError);
        EXPECT_TRUE(ready.except);
        EXPECT_FALSE(ready.write) << "that would say that it stands";
    }
    EXPECT_EQ(Flat::Connect(Handle(), Mu::String("127.0.0.1\0x", 11), port), IO::Error);
    EXPECT_EQ(Flat::GetLastError(), Flat::OtherSocketError) << "no address";
}

TEST(SocketFunctions, TellUrgentBytesAndAResetFromBytes) {
    Listening const listening;
    Handle client = listening.Connect();
    Handle const accepted = listening.Accept();
    char byte = 0;
    unsigned int moved = 0;
#if !defined(_WIN32)
    ASSERT_EQ(::send(static_cast<int>(client), "!", 1, MSG_OOB), 1);
    Ready const urgent = Look(accepted, true, false, 10);
    EXPECT_TRUE(urgent.except && !urgent.read);
    Flat::GetSocketCalls().SetSockOpt(accepted, Flat::OptionLevel::Socket,
                                      Flat::OptionName::OOBInline, 1);
    Ready const amongOthers = Look(accepted, true, false, 10);
    EXPECT_TRUE(amongOthers.read && !amongOthers.except);
#endif
    Flat::GetSocketCalls().SetLinger(client, {1, 0}); // so that the end is a reset
    client.Close();
    Ready const atEnd = Look(accepted, true, true, 10);
    EXPECT_TRUE(atEnd.read || atEnd.except);
#if !defined(_WIN32)
    EXPECT_TRUE(atEnd.read && !atEnd.write && !atEnd.except) << "a byte comes before";
    EXPECT_EQ(Flat::Recv(accepted, &byte, 1, &moved), IO::NoError);
    Ready const behind = Look(accepted, true, true, 10);
    EXPECT_TRUE(!behind.read && !behind.write && behind.except);
#endif
    EXPECT_EQ(Flat::Recv(accepted, &byte, 1, &moved), IO::Error);
#if defined(_WIN32) // Wine's select takes the error away, and an end is left
    EXPECT_TRUE(Flat::GetLastError() == Flat::ConnectionReset ||
                Flat::GetLastError() == Flat::ConnectionClosed);
#else
    EXPECT_EQ(Flat::GetLastError(), Flat::ConnectionReset);
#endif
    // A signal for this would end the process.
    EXPECT_EQ(Flat::Send(accepted, "x", 1, &moved), IO::Error);
}

// The rest of the table is met by the sockets above.
TEST(SocketFunctions, ReportWhatIsUnderWayAndWhatThereIsNone) {
    Tests::ScriptedSocketCalls calls;
    for (unsigned int const number : {10036u, 10037u}) {
        calls.Fail(SocketCall::Listen, 1, number);
        EXPECT_EQ(Flat::Listen(0), IO::Error);
        EXPECT_EQ(Flat::GetLastError(), Flat::InProgress);
    }
    calls.Fail(SocketCall::Socket, 1, 10024);
    EXPECT_TRUE(Flat::InvalidSocket(Flat::Create()));
}

TEST(SocketFunctions, StartTheNetworkAnyNumberOfTimes) {
    for (auto const call : {Flat::NetworkInit, Flat::NetworkShutdown})
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(call(), IO::NoError);
    EXPECT_FALSE(Flat::InvalidSocket(Handle())) << "the library's own start still holds";
    Flat::EndSockets();
    EXPECT_EQ(Flat::NetworkShutdown(), IO::Error) << "a start is left";
    Flat::StartSockets();
}

TEST(SocketFunctions, SelectNeverWaitsWithoutLimit) {
    SetPointer const set(Flat::FDSet::New());
    int count = 7;
    EXPECT_EQ(Flat::Select(&count, set.get(), nullptr, nullptr, nullptr, nullptr), IO::Error)
        << "nothing to look at";
    Listening const listening;
    set->Add(listening.socket);
    EXPECT_EQ(Flat::Select(&count, set.get(), nullptr, nullptr, nullptr, nullptr), IO::NoError);
    EXPECT_EQ(count, 0);
    EXPECT_FALSE(set->IsSet(listening.socket));
    Handle const fresh;
    set->Add(fresh);
    EXPECT_EQ(Flat::Select(&count, set.get(), nullptr, nullptr, nullptr, nullptr), IO::NoError);
    EXPECT_EQ(count, 0) << "it neither listens nor was connected";
    int negative = -1;
    set->Add(listening.socket);
    EXPECT_EQ(Flat::Select(&count, set.get(), nullptr, nullptr, &negative, nullptr), IO::Error);
    set->Add(Handle());
    EXPECT_EQ(Flat::Select(&count, set.get(), nullptr, nullptr, nullptr, nullptr), IO::Error)
        << "a socket that was closed";
    EXPECT_EQ(count, -1);
    EXPECT_TRUE(set->IsSet(listening.socket)) << "the sets are as they were";
}

TEST(FDSet, HoldsSixtyFourSockets) {
    SetPointer const set(Flat::FDSet::New());
    for (unsigned long long twice = 2000; twice < 2130; ++twice)
        set->Add(twice / 2);
    for (unsigned long long socket = 1000; socket <= 1064; ++socket)
        EXPECT_EQ(set->IsSet(socket), socket < 1064);
    set->Zero();
    EXPECT_FALSE(set->IsSet(1000));
    set->Add(1064);
    EXPECT_TRUE(set->IsSet(1064));
}

// As many as a host may have, with numbers far above what a set of the system's own holds.
TEST(SocketFunctions, PollSocketsOfAnyNumber) {
    Listening const listening;
    std::vector<Handle> sockets;
    std::vector<Flat::PollEntry> entries;
    for (unsigned int i = 0; i < 1500; ++i) {
        sockets.emplace_back();
        if (Flat::InvalidSocket(sockets.back()))
            GTEST_SKIP() << "this account may open " << i << " sockets only";
        entries.push_back({sockets.back(), 0, 9});
    }
    Flat::SocketCalls & calls = Flat::GetSocketCalls();
    unsigned long long const start = Mu::GetClock().GetMonotonicMicroseconds();
    unsigned int ready = 9;
    entries.push_back({listening.socket, Flat::PollEvent::Read, 9});
    EXPECT_EQ(calls.Poll(&entries[1500], 1, 30000, &ready), 0u);
    EXPECT_TRUE(ready == 0 && Mu::GetClock().GetMonotonicMicroseconds() - start >= 29000);
    Handle const client = listening.Connect();
    entries.push_back({client, Flat::PollEvent::Read | Flat::PollEvent::Write, 9});
    for (unsigned int count : {1502u, 65u, 64u, 2u}) {
        EXPECT_TRUE(Look(listening.socket, true, false, 10).read);
        EXPECT_EQ(calls.Poll(&entries[1502 - count], count, 10999999, &ready), 0u);
        EXPECT_EQ(ready, 2u);
        EXPECT_EQ(entries[1500].ready, Flat::PollEvent::Read);
        EXPECT_EQ(entries[1501].ready, Flat::PollEvent::Write);
        EXPECT_EQ(entries[1502 - count].ready, count == 2 ? Flat::PollEvent::Read : 0);
    }
}

} // namespace
