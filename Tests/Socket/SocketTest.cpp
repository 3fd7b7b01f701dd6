#include <Kestrel/Socket/ServerSocket.h>
#include <Kestrel/Socket/Socket.h>

#include "Tests/Socket/Loopback.h"
#include "Tests/Support/OwnProcess.h"
#include "Tests/Support/Socket/ScriptedSocketCalls.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace Tests;
using IO::Socket::ServerSocket;

// The bytes of a stream from a place in it on, which each side can make for itself.
void Fill(unsigned long long place, char * bytes, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i, ++place)
        bytes[i] = static_cast<char>(place * 2654435761u >> 13 ^ place >> 16);
}

TEST(Socket, KnowsItsEndsAndOptions) {
    ServerSocket const server(0, 5, InternetAddress::Any);
    ASSERT_NE(server.GetLocalPort(), 0);
    EXPECT_TRUE(server.GetInetAddress().IsNull());
    EXPECT_FALSE(server.IsPending());
    Socket client("localhost", server.GetLocalPort(), InternetAddress::Loopback, 0);
    Mu::Ref<Socket, Mu::AtomicCounter> const accepted = ServerSocket(server).Accept(10000);
    ASSERT_FALSE(accepted.IsNull());

    EXPECT_TRUE(*client.GetInternetAddress() == InternetAddress::Loopback);
    EXPECT_EQ(client.GetPort(), server.GetLocalPort());
    EXPECT_TRUE(*client.GetLocalInternetAddress() == InternetAddress::Loopback);
    EXPECT_EQ(accepted->GetPort(), client.GetLocalPort());
    EXPECT_TRUE(*accepted->GetInternetAddress() == InternetAddress::Loopback);
    EXPECT_TRUE(*accepted->GetLocalInternetAddress() == InternetAddress::Any)
        << "the listening socket's address";
    EXPECT_EQ(client.GetTimeout(), 0u);

    for (bool const isOn : {true, false}) {
        client.SetKeepAlive(isOn);
        EXPECT_EQ(client.GetKeepAlive(), isOn);
        client.SetOOBInline(isOn);
        EXPECT_EQ(client.GetOOBInline(), isOn);
        client.SetReuseAddress(isOn);
        EXPECT_EQ(client.GetReuseAddress(), isOn);
        client.SetTCPNoDelay(isOn);
        EXPECT_EQ(client.GetTCPNoDelay(), isOn);
    }
    client.SetReceiveBufferSize(20000);
    EXPECT_EQ(client.GetReceiveBufferSize(), 20000u);
    client.SetSendBufferSize(30000);
    EXPECT_EQ(client.GetSendBufferSize(), 30000u);

    Socket const copy = client;
    EXPECT_TRUE(copy == client);
    EXPECT_FALSE(*accepted == client);
    copy.GetOutputChannel().Write("abc", 3);
    char bytes[8];
    accepted->SetTimeout(10000);
    accepted->GetInputChannel().Read(bytes, 3, Mu::ReadAll);
    EXPECT_EQ(std::string(bytes, 3), "abc");
    EXPECT_EQ(accepted->GetInputChannel().GetAvailable(), 0u);
    client.GetOutputChannel().Close();
    client.Close();
    EXPECT_EQ(accepted->GetInputChannel().Read(bytes, 8), 0u) << "the peer's end";
    EXPECT_THROW(copy.GetInputChannel().Read(bytes, 1), IO::Socket::SocketException);
}

// Time is the system's here: nothing but the sockets themselves can end these waits.
TEST(Socket, ThrowsWhenTheTimeIsOver) {
    Connection connection;
    ServerSocket server(0, 5, InternetAddress::Loopback);
    EXPECT_TRUE(server.Accept(1).IsNull());
    server.SetTimeout(1);
    EXPECT_EQ(Describe([&] { server.Accept(); }),
              "SocketTimeoutException: Socket accept timed out.");
    connection.client.SetTimeout(1);
    char byte;
    EXPECT_EQ(Describe([&] { connection.client.GetInputChannel().Read(&byte, 1); }),
              "SocketTimeoutException: Socket read timed out.");
    std::vector<char> const much(1 << 20);
    EXPECT_EQ(Describe([&] {
                  for (int i = 0; i < 100; ++i)
                      connection.client.GetOutputChannel().Write(much.data(), 1 << 20);
              }),
              "SocketTimeoutException: Socket write timed out.");
}

TEST(Socket, ReadsNothingIntoWhatCannotBeWritten) {
    Connection connection;
    char byte = 'x';
    auto * const wild = reinterpret_cast<char *>(sizeof(void *));
    Mu::IBinaryChannel & input = connection.server.GetInputChannel();
    EXPECT_EQ(input.Read(nullptr, 5), 0u);
    EXPECT_EQ(input.Read(&byte, 0), 0u);
    EXPECT_EQ(input.Read(wild, 5), 0u) << "and does not wait";
    connection.client.GetOutputChannel().Write("a", 1);
    while (input.GetAvailable() == 0)
        std::this_thread::yield();
    EXPECT_EQ(input.Read(wild, 5), 0u);
    EXPECT_EQ(input.Read(&byte, 1), 1u);
    EXPECT_EQ(byte, 'a');
}

// A server comes back to its port although a connection to it has ended just now.
TEST(Socket, ListensAgainBehindItself) {
    unsigned short port = 0;
    for (int i = 0; i < 3; ++i) {
        ServerSocket server(port, 5, InternetAddress::Loopback);
        port = server.GetLocalPort();
        Socket client(InternetAddress::Loopback, port);
        server.Accept()->Close(); // first, so that the server's side lingers
        char byte;
        EXPECT_EQ(client.GetInputChannel().Read(&byte, 1), 0u);
    }
}

constexpr char const * PortVariable = "KESTREL_TEST_PORT";
constexpr unsigned int DyingSize = 16 << 20; // more than goes without a wait

// Not a test: the process that dies with a connection open.
TEST(Socket, DISABLED_DiesInTheMiddle) {
    Socket socket(InternetAddress::Loopback,
                  static_cast<unsigned short>(std::atoi(std::getenv(PortVariable))));
    std::vector<char> bytes(DyingSize);
    Fill(0, bytes.data(), bytes.size());
    socket.GetOutputChannel().Write(bytes.data(), DyingSize);
    char go;
    socket.GetInputChannel().Read(&go, 1, Mu::ReadAll);
    Tests::EndProcess(7);
}

TEST(Socket, OutlivesAPeerThatDies) {
    ServerSocket server(0, 5, InternetAddress::Loopback);
    SetVariable(PortVariable, std::to_string(server.GetLocalPort()));
    std::thread peer([] {
        EXPECT_EQ(Tests::RunAgain({"--gtest_also_run_disabled_tests",
                                   "--gtest_filter=Socket.DISABLED_DiesInTheMiddle",
                                   "--gtest_output=", "--gtest_brief=1"}),
                  7);
    });
    Mu::Ref<Socket, Mu::AtomicCounter> const socket = server.Accept();
    std::vector<char> expected(DyingSize);
    Fill(0, expected.data(), expected.size());
    std::vector<char> got(DyingSize);
    socket->GetInputChannel().Read(got.data(), DyingSize, Mu::ReadAll);
    EXPECT_TRUE(got == expected);
    std::vector<char> const more(50000); // of which it reads one byte
    socket->GetOutputChannel().Write(more.data(), 50000);
    EXPECT_THROW(for (;;) socket->GetOutputChannel().Write(more.data(), 50000),
                 IO::Socket::SocketException);
    peer.join();
}

TEST(Socket, TakesNoMemoryAndNoNeedlessCalls) {
    constexpr unsigned int Trips = 200;
    Tests::ScriptedSocketCalls calls;
    Connection connection;
    auto const run = [&](unsigned int count) {
        char byte = 1;
        while (count-- > 0) {
            connection.client.GetOutputChannel().Write(&byte, 1);
            connection.server.GetInputChannel().Read(&byte, 1);
        }
    };
    run(10);
    calls.ResetCounts();
    unsigned long long const before = Tests::CountAllocations();
    run(Trips);
    EXPECT_LE(Tests::CountAllocations(), before + 1) << "a signal, if a read had to wait";
    EXPECT_EQ(calls.Count(SocketCall::Send), Trips);
    EXPECT_LE(calls.Count(SocketCall::Any), 4 * Trips) << "a send, and two receives round a wait";
}

} // namespace
