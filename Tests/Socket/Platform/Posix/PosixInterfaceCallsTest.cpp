#include <Kestrel/Socket/Platform/Posix/PosixInterfaceCalls.h>

#include <Kestrel/Socket/NetworkInterface.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sched.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <thread>
#include <vector>

using namespace IO::Socket;
using nlohmann::json;

namespace {

/// What a command of the shell prints, in this thread's network namespace.
std::string GetOutput(std::string const & command) {
    std::string output;
    FILE * const pipe = popen((command + " 2>&1").c_str(), "re");
    if (pipe == nullptr)
        return output;
    char piece[4096];
    while (std::size_t const count = std::fread(piece, 1, sizeof(piece), pipe))
        output.append(piece, count);
    pclose(pipe);
    return output;
}

json Ask(std::string const & what) {
    std::string const output = GetOutput("ip -json " + what);
    return output.empty() ? json::array() : json::parse(output, nullptr, false);
}

struct Entry {
    std::string name;
    unsigned int mtu = 0;
    bool isUp = false;
    std::string hardware;
    std::vector<std::string> addresses;
    std::vector<std::string> gateways; // sorted

    friend bool operator==(Entry const &, Entry const &) = default;
    friend std::ostream & operator<<(std::ostream & stream, Entry const & entry) {
        stream << entry.name << " " << entry.mtu << (entry.isUp ? " up " : " down ")
               << entry.hardware;
        for (std::string const & address : entry.addresses)
            stream << " " << address;
        for (std::string const & gateway : entry.gateways)
            stream << " via " << gateway;
        return stream;
    }
};

std::string T(Mu::String const & text) {
    return text.ToCStr();
}

std::vector<Entry> ListOurs() {
    Mu::PagedArray<NetworkInterface> interfaces;
    NetworkInterface::GetNetworkInterfaces(interfaces);
    std::vector<Entry> entries;
    for (NetworkInterface const & interface : interfaces) {
        Entry entry;
        entry.name = static_cast<char *>(interface.GetName().ToCStr());
        entry.mtu = interface.GetMTU();
        entry.isUp = interface.IsUp();
        entry.hardware = static_cast<char *>(interface.GetHardwareAddress().ToString(':').ToCStr());
        for (NetworkInterfaceAddress const & address : interface.GetInterfaceAddresses())
            entry.addresses.push_back(T(address.GetInterfaceAddress().GetHostAddress()) + "/" +
                                      std::to_string(address.GetNetworkPrefixLength()) + "*" +
                                      T(address.GetBroadcastAddress().GetHostAddress()));
        for (InternetAddress const & gateway : interface.GetGatewayAddresses())
            entry.gateways.push_back(T(gateway.GetHostAddress()));
        std::sort(entry.gateways.begin(), entry.gateways.end());
        entries.push_back(entry);
    }
    return entries;
}

std::map<std::string, std::vector<std::string>> ListGateways() {
    std::map<std::string, std::vector<std::string>> gateways; // by device
    auto const add = [&](json const & hop) {
        if (!hop.contains("gateway"))
            return;
        auto & list = gateways[hop["dev"]];
        std::string const gateway = hop["gateway"];
        if (std::find(list.begin(), list.end(), gateway) == list.end())
            list.push_back(gateway);
    };
    for (json const & route : Ask("-4 route show table main default")) {
        add(route);
        for (json const & hop : route.value("nexthops", json::array()))
            add(hop);
    }
    for (auto & entry : gateways)
        std::sort(entry.second.begin(), entry.second.end());
    return gateways;
}

std::vector<Entry> ListTheirs() {
    json links = Ask("-details addr");
    std::sort(links.begin(), links.end(),
              [](json const & a, json const & b) { return a["ifindex"] < b["ifindex"]; });
    auto gateways = ListGateways();
    std::map<std::string, int> counters;
    std::vector<Entry> entries;
    for (json const & link : links) {
        std::string const type = link["link_type"];
        std::string const kind = link.value("linkinfo", json::object()).value("info_kind", "");
        bool const isTunnel = type == "tunnel" || type == "sit" || type == "gre" ||
                              type == "tunnel6" || kind == "tun" || kind == "wireguard";
        std::string const name = type == "ether"      ? "eth"
                                 : type == "loopback" ? "loo"
                                 : type == "ppp"      ? "ppp"
                                 : isTunnel           ? "tun"
                                                      : "net";
        Entry entry;
        entry.name = name + std::to_string(counters[name]++);
        entry.mtu = link["mtu"];
        auto const & flags = link["flags"];
        std::string const state = link["operstate"];
        entry.isUp = std::find(flags.begin(), flags.end(), "UP") != flags.end() &&
                     (state == "UP" || state == "UNKNOWN");
        if (type != "loopback")
            entry.hardware = link.value("address", "");
        for (char & c : entry.hardware)
            c = static_cast<char>(std::toupper(c));
        for (json const & info : link["addr_info"])
            if (entry.isUp && info["family"] == "inet")
                entry.addresses.push_back(std::string(info["local"]) + "/" +
                                          std::to_string(info["prefixlen"].get<int>()) + "*" +
                                          info.value("broadcast", "0.0.0.0"));
        // The address table has the last one.
        if (!entry.addresses.empty())
            std::rotate(entry.addresses.begin(), entry.addresses.end() - 1, entry.addresses.end());
        if (entry.isUp)
            entry.gateways = gateways[link["ifname"]];
        entries.push_back(entry);
    }
    return entries;
}

/// Compares in a moment in which nothing changes: the state of a link follows its peer's a little
/// later. Returns what was listed.
std::vector<Entry> Compare(std::string const & what) {
    std::vector<Entry> before;
    std::vector<Entry> ours;
    std::vector<Entry> after = ListTheirs();
    for (int tries = 0; tries < 50 && before != after; ++tries) {
        before = after;
        ours = ListOurs();
        after = ListTheirs();
    }
    EXPECT_EQ(ours, after) << what;
    return ours;
}

bool HasTool() {
    return Ask("addr").is_array() && !Ask("addr").empty();
}

} // namespace

TEST(PosixInterfaceCalls, ListWhatTheSystemsToolLists) {
    if (!HasTool())
        GTEST_SKIP() << "there is no ip program here, or it prints no JSON";
    Compare("this machine");
}

// A network of the test's own: up and down, several addresses, a tunnel, no gateway, one, and two.
TEST(PosixInterfaceCalls, FollowANetworkThatChanges) {
    if (!HasTool())
        GTEST_SKIP() << "there is no ip program here, or it prints no JSON";
    std::string refusal;
    std::thread([&] { // the namespace is this thread's, and goes with it
        if (unshare(CLONE_NEWNET) != 0) {
            refusal = std::strerror(errno);
            return;
        }
        std::vector<Entry> before;
        for (char const * const change :
             {"link set lo up",
              "link add a0 type veth peer name b0",
              "link set a0 up",
              "link set b0 up",
              "addr add 10.1.0.1/24 brd + dev a0",
              "addr add 10.1.0.2/24 dev a0",
              "addr add 10.9.0.1/16 brd 10.9.0.77 dev a0",
              "addr add 10.7.0.1/32 dev b0",
              "addr add 127.5.5.5/32 dev lo",
              "route add default via 10.1.0.254",
              "route add default via 10.1.0.254 metric 9",
              "route add default via 10.1.0.253 metric 7",
              "route add 10.200.0.0/16 via 10.1.0.252",
              "addr del 10.1.0.2/24 dev a0",
              "tuntap add t0 mode tun",
              "tuntap add t1 mode tap",
              "link set t0 up",
              "addr add 10.8.0.1 peer 10.8.0.2 dev t0",
              "link set b0 down",
              "link set a0 mtu 1400",
              "link set b0 up",
              "route replace default nexthop via 10.1.0.250 nexthop via 10.9.0.9",
              "link del a0"}) {
            std::string const output = GetOutput(std::string("ip ") + change);
            std::vector<Entry> const ours = Compare(change);
            EXPECT_TRUE(output.empty() || ours == before) << change << ": " << output;
            before = ours;
        }
    })
        .join();
    if (!refusal.empty())
        GTEST_SKIP() << "no network namespace of one's own: " << refusal;
}
