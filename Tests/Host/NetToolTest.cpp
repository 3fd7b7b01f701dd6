// The tool's way to the network, as a user meets it: on this machine alone.

#include "Tests/Host/RunTool.h"

#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Socket/ServerSocket.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <thread>

using IO::Socket::InternetAddress;
using IO::Socket::ServerSocket;
using Tests::Has;
using Tests::RunTool;
using Tests::ToolRun;

namespace {

/// What the tool gets as standard input from now on.
void SetInput(std::string const & content) {
    std::ofstream("host-in.log", std::ios::binary) << content;
    ASSERT_NE(std::freopen("host-in.log", "rb", stdin), nullptr);
}

/// Bytes of all values, more than the buffers of a connection hold.
std::string MakeContent() {
    std::string content(3000000, '\0');
    for (std::size_t i = 0; i < content.size(); ++i)
        content[i] = static_cast<char>(i * i >> 7);
    return content;
}

std::string ReadAllOf(IO::Socket::Socket const & peer) {
    std::string read;
    char piece[10000];
    while (unsigned int const count = peer.GetInputChannel().Read(piece, sizeof(piece)))
        read.append(piece, count);
    return read;
}

void Write(IO::Socket::Socket const & peer, std::string const & text) {
    peer.GetOutputChannel().Write(text.data(), static_cast<unsigned int>(text.size()));
}

} // namespace

TEST(NetTool, SendsAFileOverAConnection) {
    std::string const content = MakeContent();
    SetInput(content);
    ServerSocket server(0, 1, InternetAddress::Loopback);
    std::string read;
    std::thread peer([&] {
        auto const client = server.Accept();
        read = ReadAllOf(*client); // up to the end of the file, while the other way stays open
        Write(*client, "got it");
    });
    ToolRun const run = RunTool({"connect", "127.0.0.1", std::to_string(server.GetLocalPort())});
    peer.join();
    EXPECT_EQ(run.exitCode, 0) << run.error;
    EXPECT_EQ(run.out, "got it");
    EXPECT_EQ(run.error, "") << "no figures where nobody looks";
    EXPECT_TRUE(read == content) << read.size();
}

TEST(NetTool, ServesOneConnectionOfThisMachine) {
    SetInput("welcome");
    std::string const content = MakeContent();
    std::ofstream("host-error.log", std::ios::trunc).close();
    std::string greeting;
    std::thread client([&] {
        unsigned int port = 0; // the tool says which
        while (std::sscanf(Tests::ReadAll("host-error.log").c_str(), "listening on port %u\n",
                           &port) != 1)
            std::this_thread::yield();
        IO::Socket::Socket const peer("127.0.0.1", static_cast<unsigned short>(port));
        Write(peer, content);
        greeting = std::string(7, ' ');
        peer.GetInputChannel().Read(greeting.data(), 7, Mu::ReadAll);
    });
    ToolRun const run = RunTool({"serve", "0", "--timeout", "60"});
    client.join();
    EXPECT_EQ(run.exitCode, 0) << run.error;
    EXPECT_EQ(greeting, "welcome");
    EXPECT_TRUE(run.out == content) << run.out.size();
}

TEST(NetTool, SaysWhatFails) {
    SetInput("");
    unsigned short port = 0;
    {
        ServerSocket const server(0, 1, InternetAddress::Loopback);
        port = server.GetLocalPort();
        ToolRun const taken = RunTool({"serve", std::to_string(port)});
        EXPECT_EQ(taken.exitCode, 1);
        EXPECT_TRUE(Has(taken.error, "Socket bind failed.")) << taken.error;
        ToolRun const silent =
            RunTool({"connect", "127.0.0.1", std::to_string(port), "--timeout", "0.05"});
        EXPECT_EQ(silent.exitCode, 1);
        EXPECT_TRUE(Has(silent.error, "timed out")) << silent.error;
    }
    ToolRun const refused = RunTool({"connect", "127.0.0.1", std::to_string(port)});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_TRUE(Has(refused.error, "connect failed")) << refused.error;
    EXPECT_EQ(RunTool({"connect", "127.0.0.1", "65536"}).exitCode, 2);
}

TEST(NetTool, ShowsInterfacesAndAddresses) {
    ToolRun const table = RunTool({"net"});
    EXPECT_EQ(table.exitCode, 0) << table.error;
    EXPECT_TRUE(Has(table.out, "loo0")) << table.out;
    EXPECT_TRUE(Has(table.out, "127.0.0.1/8")) << table.out;
    std::istringstream lines(table.out);
    for (std::string line; std::getline(lines, line);)
        EXPECT_LE(line.size(), 80u) << line;
    ToolRun const json = RunTool({"net", "--json"});
    EXPECT_EQ(json.exitCode, 0);
    EXPECT_TRUE(Has(json.out, "\"address\": \"127.0.0.1\"")) << json.out;
    ToolRun const resolved = RunTool({"resolve", "127.0.0.1"});
    EXPECT_EQ(resolved.out.substr(0, 9), "127.0.0.1");
    ToolRun const wrong = RunTool({"resolve", "-r", "nonsense"});
    EXPECT_EQ(wrong.exitCode, 1);
    EXPECT_TRUE(Has(wrong.error, "Invalid host address: 'nonsense'")) << wrong.error;
}
