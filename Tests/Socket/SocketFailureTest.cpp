// What the object sockets do when the system's calls fail, by scripted calls.

#include <Kestrel/Socket/Internal/WinSocketImpl.h>

#include "Tests/Socket/Loopback.h"
#include "Tests/Support/Socket/ScriptedSocketCalls.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace {

using namespace Tests;
using IO::Socket::ServerSocket;
using Impl = IO::Socket::SocketImpl;

// Sockets in the states that the operations below start from.
struct Ends {
    Ends() {
        listening.Create(true);
        listening.Bind(InternetAddress::Loopback, 0);
        listening.Listen(5);
        client.Create(true);
        client.Connect(InternetAddress::Loopback, listening.GetLocalPort());
        fresh.Create(true);
    }

    WinSocketImpl listening;
    WinSocketImpl client; // waits to be accepted, and has nothing to read
    WinSocketImpl fresh;
    char bytes[4] = {};
};

struct Failure {
    SocketCall call;
    unsigned int error;
    std::function<void(Ends &)> operation;
    char const * name;
    char const * text;
    bool hasCode = true;
    unsigned int code = 0; // with PollFindsExcept
};

constexpr auto Connect = [](Ends & ends) {
    ends.fresh.Connect(InternetAddress::Loopback, ends.listening.GetLocalPort());
};
constexpr auto Bind = [](Ends & ends) { ends.fresh.Bind(InternetAddress::Loopback, 0); };
constexpr auto Accept = [](Ends & ends) { ends.listening.Accept(); };
constexpr auto Read = [](Ends & ends) { ends.client.Read(ends.bytes, 4); };
constexpr auto Write = [](Ends & ends) { ends.client.Write(ends.bytes, 4); };
constexpr auto Create = [](Ends &) { WinSocketImpl().Create(true); };
constexpr char General[] = "SocketException";
constexpr char Connecting[] = "SocketConnectException";
constexpr char Timeout[] = "SocketTimeoutException";
constexpr unsigned int Reset = WSAError::ConnectionReset;
constexpr Impl::Option None = static_cast<Impl::Option>(10);

Failure const failures[] = {
    {SocketCall::Socket, WSAError::TooManyFiles, Create, General,
     "Failed to create communication socket."},
    {SocketCall::SetNonBlocking, WSAError::Invalid, Create, General,
     "Failed to enable non-blocking mode on communication socket."},
    {SocketCall::CreateSignal, WSAError::TooManyFiles, Connect, General,
     "Failed to create interrupt socket."},

    {SocketCall::Connect, WSAError::NetUnreachable, Connect, Connecting, "Socket connect failed."},
    {SocketCall::Poll, WSAError::NotSocket, Connect, Connecting, "Socked connect failed."},
    {SocketCall::Poll, PollTimesOut, Connect, Timeout, "Socked connect timed out.", false},
    // Nothing waits at the socket in truth; the number is that of the last call that failed.
    {SocketCall::Poll, PollFindsExcept, Connect, Connecting, "Socket connect failed.", true,
     WSAError::WouldBlock},
    {SocketCall::GetSockName, WSAError::NoBuffers, Connect, Connecting, "Socked connect failed."},

    {SocketCall::Bind, WSAError::AddressInUse, Bind, "SocketAddressAlreadyUsedException",
     "Socket bind failed."},
    {SocketCall::Bind, WSAError::Access, Bind, General, "Socket bind failed."},
    {SocketCall::GetSockName, WSAError::NoBuffers, Bind, General, "Socket bind failed."},
    {SocketCall::Listen, WSAError::AddressInUse, [](Ends & ends) { ends.fresh.Listen(1); }, General,
     "Failed to place the socket in a state in which it is listening for an incoming connection."},
    {SocketCall::Poll, WSAError::NotSocket, [](Ends & ends) { ends.listening.IsPending(); },
     General, "Failed to determine if there are pending connection requests."},

    {SocketCall::Poll, WSAError::NotSocket, Accept, General,
     "Failed to accept the incoming connection."},
    {SocketCall::Poll, PollTimesOut, Accept, Timeout, "Socket accept timed out.", false},
    {SocketCall::Poll, PollFindsExcept, Accept, Connecting,
     "Failed to accept the incoming connection."},
    {SocketCall::Accept, WSAError::WouldBlock, Accept, General,
     "Failed to accept the incoming connection."},
    {SocketCall::GetSockName, WSAError::NoBuffers, Accept, Connecting,
     "Failed to accept the incoming connection: failed to get local address."},

    {SocketCall::Recv, Reset, Read, General, "Socket read failed."},
    {SocketCall::Poll, WSAError::NotSocket, Read, General, "Socket read failed."},
    {SocketCall::Poll, PollTimesOut, Read, Timeout, "Socket read timed out.", false},
    {SocketCall::Poll, PollFindsExcept, Read, Connecting, "Socket read failed."},
    {SocketCall::Send, Reset, Write, General, "Socket write failed."},
    {SocketCall::GetAvailable, WSAError::NotSocket, [](Ends & ends) { ends.client.GetAvailable(); },
     General, "Failed to get the amount of available data can be read from socket."},
    {SocketCall::Shutdown, WSAError::NotConnected,
     [](Ends & ends) { ends.client.ShutdownOutput(); }, General, "Socket output shutdown failed."},
    {SocketCall::Shutdown, WSAError::NotConnected, [](Ends & ends) { ends.client.ShutdownInput(); },
     General, "Socket input shutdown failed."},

    {SocketCall::GetSockOpt, WSAError::NotSocket,
     [](Ends & ends) { ends.fresh.GetBoolOption(Impl::KeepAlive); }, General,
     "Failed to get socket option."},
    {SocketCall::SetSockOpt, WSAError::NotSocket,
     [](Ends & ends) { ends.fresh.SetIntOption(Impl::SendBufferSize, 1); }, General,
     "Failed to set socket option."},
    {SocketCall::GetLinger, WSAError::NotSocket,
     [](Ends & ends) { ends.fresh.GetIntOption(Impl::Linger); }, General,
     "Failed to get socket option."},
    {SocketCall::SetLinger, WSAError::NotSocket,
     [](Ends & ends) { ends.fresh.SetIntOption(Impl::Linger, 1); }, General,
     "Failed to set socket option."},
    {SocketCall::Any, 0, [](Ends & ends) { ends.fresh.SetBoolOption(Impl::Linger, true); }, General,
     "The specified socket option is not a bool option.", false},
    {SocketCall::Any, 0, [](Ends & ends) { ends.fresh.GetIntOption(Impl::KeepAlive); }, General,
     "The specified socket option is not an int option.", false},
    {SocketCall::Any, 0, [](Ends & ends) { ends.fresh.SetIntOption(None, 1); }, General,
     "The specified socket option is not supported.", false},
};

// The system's own text for the number, where it has one.
std::string GetExpectedText(Failure const & failure) {
    std::string const start = failure.name + std::string(": ") + failure.text;
    if (!failure.hasCode)
        return start;
    unsigned int const error = failure.error == PollFindsExcept ? failure.code : failure.error;
    char16_t message[300];
    unsigned int const length =
        error != 0 ? GetPlatformSocketCalls().FormatMessage(error, message, 300) : 0;
    std::string text = start + " (Error code: " + std::to_string(error) + ".";
    if (length != 0)
        text += " Error message: " + std::string(message, message + length) + ".";
    return text + ")";
}

TEST(SocketFailure, HasItsClassAndText) {
    ScriptedSocketCalls calls;
    for (Failure const & failure : failures) {
        SCOPED_TRACE(failure.text + std::string(" ") + std::to_string(failure.error));
        {
            Ends ends;
            calls.Fail(failure.call, failure.error == 0 ? 0xFFFF : 1, failure.error);
            EXPECT_EQ(Describe([&] { failure.operation(ends); }), GetExpectedText(failure));
            calls.Clear();
        }
        EXPECT_EQ(calls.CountOpen(), 0);
    }
    // Another family than that of the internet, which no call reports as a failure.
    Ends ends;
    calls.family = 23;
    EXPECT_EQ(Describe([&] { Connect(ends); }), "SocketConnectException: Socked connect failed.");
    EXPECT_EQ(Describe([&] { Accept(ends); }),
              "SocketException: Failed to accept the incoming connection.");
}

// Both systems have one for what hosts meet most.
TEST(SocketFailure, SaysItInTheSystemsWords) {
    char16_t message[300];
    for (unsigned int const error : std::vector<unsigned int>{10054, 10061, 11001})
        EXPECT_GT(GetSocketCalls().FormatMessage(error, message, 300), 10u) << error;
    EXPECT_EQ(GetSocketCalls().FormatMessage(10061, message, 3), 3u);
    EXPECT_EQ(GetSocketCalls().FormatMessage(10999, message, 300), 0u);
#if !defined(_WIN32) // which has a text for each number
    std::string numbers;
    for (unsigned int error = 10000; error < 12000; ++error)
        if (GetSocketCalls().FormatMessage(error, message, 300) != 0)
            numbers += std::to_string(error - 10000) + " ";
    EXPECT_EQ(numbers, "13 14 22 24 35 36 37 38 39 40 41 42 43 44 45 47 48 49 50 51 52 53 54 55 56 "
                       "57 58 60 61 64 65 92 93 1001 1002 1003 1004 ");
#endif
}

// What is refused for want of buffers is tried again in smaller pieces, and no wait comes between.
TEST(SocketFailure, ShrinksWhatItWritesWhenBuffersAreShort) {
    ScriptedSocketCalls calls;
    Connection connection;
    connection.client.SetTimeout(10000);
    calls.isRecording = true;
    std::vector<char> const much(0x300000);
    calls.Fail(SocketCall::Send, 1, WSAError::NoBuffers, true);
    std::string const how =
        Describe([&] { connection.client.GetOutputChannel().Write(much.data(), 0x300000); });
    EXPECT_EQ(how.substr(0, 37), "SocketException: Socket write failed.");
    calls.Clear();
    std::vector<unsigned int> expected{0x300000, 0x100000};
    while (expected.size() < 33)
        expected.push_back(std::max(expected.back() / 2, 2048u));
    EXPECT_EQ(calls.sends, expected);
    EXPECT_EQ(calls.Count(SocketCall::Poll), 2u) << "for the connection and its acceptance";

    // Of a small one only the rest is tried; a recovered system takes it.
    calls.sends.clear();
    calls.Fail(SocketCall::Send, 1, WSAError::NoBuffers);
    connection.client.GetOutputChannel().Write("abc", 3);
    EXPECT_EQ(calls.sends, (std::vector<unsigned int>{3, 3}));
}

TEST(SocketFailure, GivesUpAReadThatFindsNothingBehindItsWaits) {
    ScriptedSocketCalls calls;
    Connection connection;
    connection.client.GetOutputChannel().Write("a", 1);
    while (connection.server.GetInputChannel().GetAvailable() == 0) {
    }
    calls.ResetCounts();
    calls.Fail(SocketCall::Recv, 1, WSAError::WouldBlock, true);
    char byte;
    std::string const text = Describe([&] { connection.server.GetInputChannel().Read(&byte, 1); });
    EXPECT_EQ(text.substr(0, 56), "SocketException: Socket read failed. (Error code: 10035.");
    EXPECT_EQ(calls.Count(SocketCall::Poll), 6u);
    EXPECT_EQ(calls.Count(SocketCall::Recv), 6u);
    calls.Clear();
    calls.Fail(SocketCall::Recv, 1, WSAError::Fault);
    EXPECT_EQ(connection.server.GetInputChannel().Read(&byte, 1), 0u) << "memory that went";
    EXPECT_EQ(connection.server.GetInputChannel().Read(&byte, 1), 1u) << "nothing is lost";
}

TEST(SocketFailure, LeavesLingeringAsItWasSet) {
    WinSocketImpl socket;
    socket.Create(true);
    for (int const seconds : {-1, 7, 0, -5}) {
        socket.SetIntOption(Impl::Linger, seconds);
        EXPECT_EQ(socket.GetIntOption(Impl::Linger), std::max(seconds, -1));
    }
}

// All of it: connect, accept, talk in pieces, end. Success means the right bytes; a failure has its
// class; what was open is closed.
void Talk() {
    ServerSocket server(0, 5, InternetAddress::Loopback);
    Socket client("127.0.0.1", server.GetLocalPort(), InternetAddress::Loopback, 0);
    client.SetTimeout(10000);
    client.SetTCPNoDelay(true);
    Mu::Ref<Socket, Mu::AtomicCounter> const accepted = server.Accept(10000);
    if (accepted.IsNull())
        return;
    accepted->SetTimeout(10000);
    char const text[] = "from one end to the other";
    client.GetOutputChannel().Write(text, sizeof(text));
    char got[sizeof(text)] = {};
    Mu::IBinaryChannelUtilities::ReadFully(accepted->GetInputChannel(), got, sizeof(got));
    EXPECT_STREQ(got, text) << "an end where there was none";
    accepted->Close();
    EXPECT_EQ(client.GetInputChannel().Read(got, 1), 0u);
}

void TalkOrThrow(bool failed) {
    try {
        Talk();
    } catch (Mu::IOException const &) { // SocketException and UnknownHostException
        EXPECT_TRUE(failed);
    }
}

TEST(SocketFailure, LeavesNothingOpenWhateverCallFails) {
    SweepSocketCalls(TalkOrThrow);
}

TEST(SocketFailure, LeavesNothingBehindWhereMemoryEnds) {
    SweepAllocations(TalkOrThrow);
}

} // namespace
