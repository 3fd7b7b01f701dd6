#include <Kestrel/Socket/Platform/Posix/PosixInterfaceCalls.h>

#include <Kestrel/Socket/NetworkInterface.h>

#include "Tests/Support/Socket/DrawnTables.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <vector>

using namespace IO::Socket;
using nlohmann::json;
using Lines = std::vector<std::string>;

namespace {

/// What a command of the shell prints.
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

Lines ListOurs() {
    Mu::PagedArray<NetworkInterface> interfaces;
    NetworkInterface::GetNetworkInterfaces(interfaces);
    Lines lines;
    for (NetworkInterface const & interface : interfaces)
        lines.push_back(Tests::Describe(interface));
    return lines;
}

/// The gateways of the default routes by device, as they stand in a line.
std::map<std::string, std::string> ListGateways() {
    std::map<std::string, std::string> gateways;
    auto const add = [&](json const & hop) {
        std::string const gateway = " >" + hop.value("gateway", "");
        std::string & list = gateways[hop.value("dev", "")];
        if (gateway != " >" && (list + " ").find(gateway + " ") == list.npos)
            list += gateway;
    };
    for (json const & route : Ask("-4 route show table main default")) {
        add(route);
        for (json const & hop : route.value("nexthops", json::array()))
            add(hop);
    }
    return gateways;
}

std::string GetName(json const & link) {
    std::string const type = link["link_type"];
    std::string const kind = link.value("linkinfo", json::object()).value("info_kind", "");
    static std::map<std::string, std::string> const names = {
        {"ether", "eth"}, {"loopback", "loo"}, {"ppp", "ppp"},     {"tunnel", "tun"},
        {"sit", "tun"},   {"gre", "tun"},      {"tunnel6", "tun"},
    };
    auto const name = names.find(type);
    return name != names.end()                    ? name->second
           : kind == "tun" || kind == "wireguard" ? "tun"
                                                  : "net";
}

Lines ListTheirs() {
    json links = Ask("-details addr");
    std::sort(links.begin(), links.end(),
              [](json const & a, json const & b) { return a["ifindex"] < b["ifindex"]; });
    auto gateways = ListGateways();
    std::map<std::string, int> counters;
    Lines lines;
    for (json const & link : links) {
        std::string const name = GetName(link);
        auto const & flags = link["flags"];
        std::string const state = link["operstate"];
        bool const isUp = std::find(flags.begin(), flags.end(), "UP") != flags.end() &&
                          (state == "UP" || state == "UNKNOWN");
        Lines addresses;
        for (json const & info : link["addr_info"])
            if (isUp && info["family"] == "inet")
                addresses.push_back(" " + std::string(info["local"]) + "/" +
                                    std::to_string(info["prefixlen"].get<int>()) + "*" +
                                    info.value("broadcast", "0.0.0.0"));
        // The address table has the last one.
        if (!addresses.empty())
            std::rotate(addresses.begin(), addresses.end() - 1, addresses.end());
        std::string line = name + std::to_string(counters[name]++) + " " + link["mtu"].dump() +
                           (name == "loo" ? " l" : " ") + (isUp ? "u" : "");
        for (std::string const & address : addresses)
            line += address;
        line += (isUp ? gateways[link["ifname"]] : "") + " #";
        std::istringstream hardware(name == "loo" ? "" : link.value("address", ""));
        for (std::string byte; std::getline(hardware, byte, ':');)
            line += std::to_string(std::stoi(byte, nullptr, 16)) + ",";
        lines.push_back(line);
    }
    return lines;
}

/// Compares in a moment in which nothing changes: the state of a link follows its peer's a little
/// later. Returns what was listed.
Lines Compare(std::string const & what) {
    Lines before;
    Lines ours;
    Lines after = ListTheirs();
    for (int tries = 0; tries < 50 && before != after; ++tries) {
        before = after;
        ours = ListOurs();
        after = ListTheirs();
    }
    EXPECT_EQ(ours, after) << what;
    return ours;
}

} // namespace

// Not a test: what the next one runs in a network of its own. Up and down, several addresses, a
// tunnel, no gateway, one, and two.
TEST(PosixInterfaceCalls, DISABLED_FollowANetworkThatChanges) {
    Lines before;
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
        Lines const ours = Compare(change);
        EXPECT_TRUE(output.empty() || ours == before) << change << ": " << output;
        before = ours;
    }
}

TEST(PosixInterfaceCalls, ListWhatTheSystemsToolLists) {
    if (!Ask("addr").is_array() || Ask("addr").empty())
        GTEST_SKIP() << "there is no ip program here, or it prints no JSON";
    Compare("this machine");
    std::string const output = GetOutput("unshare --map-root-user --net " +
                                         std::filesystem::read_symlink("/proc/self/exe").string() +
                                         " --gtest_also_run_disabled_tests --gtest_brief=1"
                                         " --gtest_filter=*.DISABLED_FollowANetworkThatChanges");
    if (output.rfind("unshare:", 0) == 0)
        GTEST_SKIP() << output;
    EXPECT_NE(output.find("[  PASSED  ] 1 test"), output.npos) << output;
}
