#include "Arguments.h"
#include "Commands.h"
#include "Console.h"
#include "Json.h"

#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Socket/NetworkInterface.h>
#include <Kestrel/Socket/SocketExceptions.h>

#include <algorithm>
#include <array>

namespace Tool {

namespace {

using IO::Socket::InternetAddress;
using IO::Socket::NetworkInterface;
using Interfaces = Mu::PagedArray<NetworkInterface>;

std::string ToNumbers(InternetAddress const & address) {
    return ToText(address.GetHostAddress());
}

// Windows reports 0.0.0.0 if there is none.
std::vector<std::string> GetGateways(NetworkInterface const & interface) {
    std::vector<std::string> gateways;
    for (InternetAddress const & gateway : interface.GetGatewayAddresses())
        if (!gateway.IsAnyAddress())
            gateways.push_back(ToNumbers(gateway));
    return gateways;
}

std::string GetHardware(NetworkInterface const & interface) {
    return ToUtf8(interface.GetHardwareAddress().ToString(':'));
}

// The table. The rows of an interface are below each other, so that it is narrow.

constexpr std::size_t ColumnCount = 6;
using Row = std::array<std::string, ColumnCount>;

constexpr std::size_t Hardware = 3;
constexpr std::size_t Address = 4;
// Longer values get a line of their own, or the table would not fit a terminal.
constexpr std::size_t LongestName = 8;
constexpr std::size_t LongestHardware = 17;

void AddRows(NetworkInterface const & interface, std::vector<Row> & rows) {
    Row first{ToUtf8(interface.GetName()),
              interface.IsUp() ? "up" : "down",
              std::to_string(interface.GetMTU()),
              GetHardware(interface),
              "",
              ""};
    std::vector<Row> below;
    if (first[0].size() > LongestName)
        rows.push_back({std::exchange(first[0], "")});
    if (first[Hardware].size() > LongestHardware)
        below.push_back({"", "", "", std::exchange(first[Hardware], "")});
    for (auto const & entry : interface.GetInterfaceAddresses()) {
        Row row;
        row[Address] = ToNumbers(entry.GetInterfaceAddress()) + "/" +
                       std::to_string(entry.GetNetworkPrefixLength());
        if (entry.HasBroadcastAddress())
            row[Address + 1] = ToNumbers(entry.GetBroadcastAddress());
        below.push_back(row);
    }
    for (std::string const & gateway : GetGateways(interface)) {
        Row row;
        row[Address] = "via " + gateway;
        below.push_back(row);
    }
    if (!below.empty() && below.front()[Hardware].empty()) {
        first[Address] = below.front()[Address];
        first[Address + 1] = below.front()[Address + 1];
        below.erase(below.begin());
    }
    rows.push_back(first);
    rows.insert(rows.end(), below.begin(), below.end());
}

// One cell alone may be wider than its column.
bool IsAlone(Row const & row, std::size_t column) {
    return std::all_of(row.begin(), row.end(), [&](std::string const & cell) {
        return cell.empty() || &cell == &row[column];
    });
}

void ShowTable(std::vector<Row> const & rows) {
    std::array<std::size_t, ColumnCount> widths{};
    for (Row const & row : rows)
        for (std::size_t i = 0; i < ColumnCount; ++i)
            if (i >= Address || !IsAlone(row, i))
                widths[i] = std::max(widths[i], row[i].size());
    for (Row const & row : rows) {
        std::string line;
        std::size_t start = 0;
        for (std::size_t i = 0; i < ColumnCount; ++i) {
            if (!row[i].empty())
                line = PadRight(line, start) + row[i];
            start += widths[i] + 2;
        }
        Out() << line << "\n";
    }
}

Json ToJson(NetworkInterface const & interface) {
    Json addresses = Json::array();
    for (auto const & entry : interface.GetInterfaceAddresses()) {
        Json address{{"address", ToNumbers(entry.GetInterfaceAddress())},
                     {"prefixLength", entry.GetNetworkPrefixLength()}};
        if (entry.HasBroadcastAddress())
            address["broadcast"] = ToNumbers(entry.GetBroadcastAddress());
        addresses.push_back(address);
    }
    return {{"name", ToUtf8(interface.GetName())},
            {"up", interface.IsUp()},
            {"loopback", interface.IsLoopback()},
            {"pointToPoint", interface.IsPointToPoint()},
            {"mtu", interface.GetMTU()},
            {"hardwareAddress", GetHardware(interface)},
            {"addresses", addresses},
            {"gateways", GetGateways(interface)}};
}

// The result for one name, as lines.

std::vector<std::string> Resolve(std::string const & name) {
    Mu::PagedArray<InternetAddress> found;
    InternetAddress::GetAllByName(Mu::String(name.data(), static_cast<unsigned int>(name.size())),
                                  found);
    std::vector<std::string> addresses;
    for (InternetAddress const & address : found)
        addresses.push_back(ToNumbers(address));
    return addresses;
}

std::vector<std::string> FindName(std::string const & text) {
    InternetAddress address = InternetAddress::GetByAddress(
        Mu::String(text.data(), static_cast<unsigned int>(text.size())));
    std::string const name = ToText(address.GetHostName());
    if (name == ToNumbers(address)) // an address without a name
        return {};
    return {name};
}

} // namespace

int ShowInterfaces(Options const & options, Console &) {
    Interfaces interfaces;
    NetworkInterface::GetNetworkInterfaces(interfaces);
    if (options.json) {
        Json list = Json::array();
        for (NetworkInterface const & interface : interfaces)
            list.push_back(ToJson(interface));
        ShowJson(list);
        return 0;
    }
    std::vector<Row> rows{{"NAME", "STATE", "MTU", "HARDWARE", "ADDRESS", "BROADCAST"}};
    for (NetworkInterface const & interface : interfaces)
        AddRows(interface, rows);
    ShowTable(rows);
    return 0;
}

int ResolveNames(Options const & options, Console & console) {
    int result = 0;
    for (std::string const & name : options.paths) {
        try {
            std::vector<std::string> const found = options.reverse ? FindName(name) : Resolve(name);
            if (found.empty())
                result = console.Fail(name + ": nothing was found");
            for (std::string const & line : found) {
                if (options.paths.size() > 1)
                    Out() << name << "  ";
                Out() << line << "\n";
            }
        } catch (Mu::MuException const & e) {
            result = console.Fail(name + ": " + e.GetMessage());
        }
    }
    return result;
}

} // namespace Tool
