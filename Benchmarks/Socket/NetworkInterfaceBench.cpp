// The list of a machine's network interfaces, against what the system's own calls take for the same:
// getifaddrs for links and addresses, and one list of the routes. In a network of the benchmark's own,
// where that may be had; otherwise with the interfaces that the machine has.

#include <Kestrel/Socket/NetworkInterface.h>

#include <benchmark/benchmark.h>

#if defined(__linux__)

#include <cstdio>
#include <cstdlib>
#include <ifaddrs.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sched.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

namespace {

/// The thread's own network, which grows as a benchmark asks for it.
class Network {
public:
    Network() : isOwn(unshare(CLONE_NEWNET) == 0) { Run("link set lo up"); }

    /// Up to about so many interfaces, each with an address.
    void Grow(int count) {
        for (; isOwn && size + 2 <= count; size += 2) {
            std::string const a = std::to_string(size) + "a";
            std::string const b = std::to_string(size) + "b";
            Run("link add " + a + " type veth peer name " + b);
            for (std::string const & name : {a, b}) {
                Run("link set " + name + " up");
                Run("addr add 10.1." + std::to_string(size + (name == b)) + ".1/24 brd + dev " +
                    name);
            }
        }
    }

private:
    static void Run(std::string const & change) {
        if (std::system(("ip " + change + " 2>/dev/null").c_str()) != 0)
            std::fprintf(stderr, "ip %s: failed\n", change.c_str());
    }

    bool isOwn;
    int size = 0;
};

void PrepareInterfaces(benchmark::State & state) {
    static Network network;
    network.Grow(static_cast<int>(state.range(0)));
    Mu::PagedArray<IO::Socket::NetworkInterface> interfaces;
    state.counters["interfaces"] = IO::Socket::NetworkInterface::GetNetworkInterfaces(interfaces);
}

// What the library asks for beside links and addresses.
std::size_t ListRoutes() {
    int const netlink = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
    struct {
        nlmsghdr header;
        rtmsg route;
    } request{};
    request.header = {sizeof(request), RTM_GETROUTE, NLM_F_REQUEST | NLM_F_DUMP, 1, 0};
    request.route.rtm_family = AF_INET;
    request.route.rtm_table = RT_TABLE_MAIN;
    if (send(netlink, &request, sizeof(request), 0) < 0)
        std::abort();
    alignas(nlmsghdr) static char piece[32768];
    std::size_t count = 0;
    for (bool isDone = false; !isDone;) {
        auto left = static_cast<unsigned int>(recv(netlink, piece, sizeof(piece), 0));
        for (auto message = reinterpret_cast<nlmsghdr *>(piece); !isDone && NLMSG_OK(message, left);
             message = NLMSG_NEXT(message, left)) {
            isDone = message->nlmsg_type == NLMSG_DONE || message->nlmsg_type == NLMSG_ERROR;
            ++count;
        }
    }
    close(netlink);
    return count;
}

void OursInterfaces(benchmark::State & state) {
    PrepareInterfaces(state);
    for (auto _ : state) {
        Mu::PagedArray<IO::Socket::NetworkInterface> interfaces;
        benchmark::DoNotOptimize(IO::Socket::NetworkInterface::GetNetworkInterfaces(interfaces));
    }
}

void SystemInterfaces(benchmark::State & state) {
    PrepareInterfaces(state);
    for (auto _ : state) {
        ifaddrs * list = nullptr;
        if (getifaddrs(&list) != 0)
            std::abort();
        benchmark::DoNotOptimize(list);
        benchmark::DoNotOptimize(ListRoutes());
        freeifaddrs(list);
    }
}

// Both at each size before the network grows.
bool const areRegistered = [] {
    for (int const count : {10, 50, 100, 200}) {
        benchmark::RegisterBenchmark("OursInterfaces", OursInterfaces)->Arg(count);
        benchmark::RegisterBenchmark("SystemInterfaces", SystemInterfaces)->Arg(count);
    }
    return true;
}();

} // namespace

#endif

BENCHMARK_MAIN();
