// A byte there and back between two threads, and blocks of 64 KiB one way, through Socket and through
// the blocking calls of the system, over the loopback interface.

#include <Kestrel/Socket/ServerSocket.h>

#include <benchmark/benchmark.h>

#include <arpa/inet.h>
#include <cstdlib>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using IO::Socket::InternetAddress;

void Check(bool isGood) {
    if (!isGood)
        std::abort();
}

// One end each; both send at once what they get.
struct Ours {
    using End = IO::Socket::Socket;

    Ours() : Ours(IO::Socket::ServerSocket(0, 1, InternetAddress::Loopback)) {}

    static void Write(End & end, char const * data, unsigned int size) {
        end.GetOutputChannel().Write(data, size);
    }
    static unsigned int Read(End & end, char * data, unsigned int size) {
        return end.GetInputChannel().Read(data, size);
    }

    End client;
    End server;

private:
    explicit Ours(IO::Socket::ServerSocket listening)
        : client(InternetAddress::Loopback, listening.GetLocalPort()), server(*listening.Accept()) {
        client.SetTCPNoDelay(true);
        server.SetTCPNoDelay(true);
    }
};

struct Raw {
    using End = int;

    Raw() {
        int const listening = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof(address);
        auto * const general = reinterpret_cast<sockaddr *>(&address);
        Check(::bind(listening, general, size) == 0 && ::listen(listening, 1) == 0 &&
              ::getsockname(listening, general, &size) == 0);
        client = ::socket(AF_INET, SOCK_STREAM, 0);
        Check(::connect(client, general, size) == 0);
        server = ::accept(listening, nullptr, nullptr);
        Check(server >= 0);
        ::close(listening);
        int const on = 1;
        for (int const end : {client, server})
            Check(::setsockopt(end, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on)) == 0);
    }
    ~Raw() {
        ::close(client);
        ::close(server);
    }

    static void Write(End end, char const * data, unsigned int size) {
        for (unsigned int done = 0; done < size;) {
            ssize_t const sent = ::send(end, data + done, size - done, MSG_NOSIGNAL);
            Check(sent > 0);
            done += static_cast<unsigned int>(sent);
        }
    }
    static unsigned int Read(End end, char * data, unsigned int size) {
        ssize_t const got = ::recv(end, data, size, 0);
        Check(got >= 0);
        return static_cast<unsigned int>(got);
    }

    End client;
    End server;
};

constexpr char Stop = 'x';

template <typename Way>
void RoundTrip(benchmark::State & state) {
    Way way;
    std::thread other([&] {
        char byte = 0;
        while (byte != Stop) {
            Check(Way::Read(way.server, &byte, 1) == 1);
            Way::Write(way.server, &byte, 1);
        }
    });
    char byte = 'a';
    for (auto _ : state) {
        Way::Write(way.client, &byte, 1);
        Check(Way::Read(way.client, &byte, 1) == 1);
    }
    Way::Write(way.client, &Stop, 1);
    other.join();
}

template <typename Way>
void Transfer(benchmark::State & state) {
    constexpr unsigned int BlockSize = 65536;
    constexpr unsigned int Blocks = 1024; // an iteration: 64 MiB
    Way way;
    std::vector<char> const source(BlockSize);
    std::vector<char> target(BlockSize);
    for (auto _ : state) {
        std::thread sender([&] {
            for (unsigned int i = 0; i < Blocks; ++i)
                Way::Write(way.client, source.data(), BlockSize);
        });
        for (unsigned long long left = 1ull * Blocks * BlockSize; left > 0;) {
            unsigned int const got = Way::Read(way.server, target.data(), BlockSize);
            Check(got > 0);
            left -= got;
        }
        sender.join();
    }
    state.SetBytesProcessed(state.iterations() * Blocks * BlockSize);
}

} // namespace

// By turns and again and again, since the spread of one run is larger than what is looked for.
BENCHMARK(RoundTrip<Raw>)->UseRealTime();
BENCHMARK(RoundTrip<Ours>)->UseRealTime();
BENCHMARK(Transfer<Raw>)->UseRealTime();
BENCHMARK(Transfer<Ours>)->UseRealTime();

BENCHMARK_MAIN();
