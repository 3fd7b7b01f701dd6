#include "Tests/Support/Socket/DrawnTables.h"

#include <Kestrel/Socket/Internal/DottedText.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <random>
#include <set>

namespace Tests {

using namespace IO::Socket;

namespace {

constexpr unsigned int Indexes = 7; // few, so that the tables meet

/// Draws a number below the limit.
struct Draw {
    std::mt19937 random;
    unsigned int operator()(unsigned int limit) {
        return static_cast<unsigned int>(random() % limit);
    }
};

template <typename Value>
Value OneOf(Draw & draw, std::initializer_list<Value> values) {
    return values.begin()[draw(static_cast<unsigned int>(values.size()))];
}

unsigned int DrawAddress(Draw & draw) {
    return OneOf(draw, {0u, 0x7F000001u, 0x0A000001u, 0x0A000002u, 0xC0A80105u, 0xFFFFFFFFu});
}

unsigned int DrawMask(Draw & draw) {
    return OneOf(draw, {0u, 0xFF000000u, 0xFFFFFF00u, 0xFFFFFFFFu, 0xFF00FF00u, 0xFFFFF000u});
}

LinkAddress DrawLink(Draw & draw) {
    LinkAddress link{};
    link.length = OneOf(draw, {0u, 6u, 8u, 20u, 32u});
    for (unsigned char & byte : link.bytes)
        byte = static_cast<unsigned char>(draw(256));
    return link;
}

AddressText ToText(unsigned int number, Draw & draw) {
    unsigned char bytes[4];
    ToBytes(number, bytes);
    Mu::String const dotted = InetNtoa(bytes);
    AddressText text{};
    if (draw(8) == 0)
        std::strcpy(text.text, OneOf(draw, {"", "no", "1.2.3.4.5", "300.1.1.1"}));
    else
        std::copy(dotted.begin(), dotted.end(), text.text);
    return text;
}

BroadcastRule DrawRule(Draw & draw) {
    using Form = BroadcastRule::Form;
    return {OneOf(draw, {Form::HostZeros, Form::HostOnes, Form::Own}), DrawAddress(draw)};
}

unsigned int DrawType(Draw & draw) {
    return OneOf(draw, {1u, 6u, 6u, 9u, 15u, 23u, 24u, 28u, 131u, 71u, 0u});
}

// The model's own arithmetic.

struct Address {
    unsigned int address;
    unsigned int broadcast;
    unsigned int prefix;
};

unsigned int CountBits(unsigned int mask) {
    unsigned int bits = 32;
    while (bits > 0 && (mask >> (32 - bits) & 1) == 0)
        --bits;
    return bits;
}

unsigned int HostBits(unsigned int prefix) {
    unsigned int bits = 0;
    for (unsigned int bit = prefix; bit < 32; ++bit)
        bits = bits * 2 + 1;
    return bits;
}

unsigned int Broadcast(BroadcastRule const & rule, unsigned int address, unsigned int host) {
    if (rule.form == BroadcastRule::Form::Own)
        return rule.address;
    return rule.form == BroadcastRule::Form::HostOnes ? (address & ~host) + host : address & ~host;
}

template <typename Rows>
auto FindLast(Rows const & rows, unsigned int index) -> decltype(&rows[0]) {
    for (unsigned int i = rows.GetSize(); i-- > 0;)
        if (rows[i].index == index)
            return &rows[i];
    return nullptr;
}

class Model {
public:
    explicit Model(InterfaceTables const & tables) : tables(tables) {}

    std::vector<std::string> Run() {
        for (InterfaceRow const & row : tables.interfaces)
            AddRow(row);
        for (AdapterAddresses const & adapter : tables.adapters)
            if (adapter.index != 0 && done.count(adapter.index) == 0)
                AddAdapter(adapter);
        return lines;
    }

private:
    void AddRow(InterfaceRow const & row) {
        static std::map<unsigned int, std::string> const names = {
            {6, "eth"},  {9, "tok"},  {15, "fdd"},  {23, "ppp"},
            {24, "loo"}, {28, "slp"}, {131, "tun"},
        };
        auto const named = names.find(row.type);
        std::string const name = named == names.end() ? "net" : named->second;
        bool const isUp = row.adminStatus == 1 && (row.operStatus == 4 || row.operStatus == 5);
        std::string flags;
        flags += row.type == 23 || row.type == 28 ? "p" : "";
        flags += row.type == 24 ? "l" : "";
        std::vector<Address> list;
        AddressRow const * const address = FindLast(tables.addresses, row.index);
        if (isUp && address != nullptr && address->address != 0)
            list.push_back({address->address,
                            Broadcast(address->broadcast, address->address, ~address->mask),
                            CountBits(address->mask)});
        AdapterAddresses const * const adapter =
            row.index == 0 ? nullptr : FindLast(tables.adapters, row.index);
        if (isUp && adapter != nullptr)
            Walk(*adapter, row.type == 24, true, list);
        std::string const count = std::to_string(counters[name]++);
        Add(row.index, name + count, row.mtu, flags, isUp, list, row.linkAddress);
    }

    void AddAdapter(AdapterAddresses const & adapter) {
        std::string flags;
        flags += adapter.type == 23 || adapter.type == 28 || adapter.type == 131 ? "p" : "";
        flags += adapter.type == 24 ? "l" : "";
        std::vector<Address> list;
        if (adapter.operStatus == 1)
            Walk(adapter, adapter.type == 24, false, list);
        Add(adapter.index, adapter.name.ToCStr(), adapter.mtu, flags, adapter.operStatus == 1, list,
            adapter.linkAddress);
    }

    void Walk(AdapterAddresses const & adapter, bool isLoopback, bool once,
              std::vector<Address> & list) const {
        for (unsigned int i = 0; i < adapter.unicasts.count; ++i) {
            UnicastEntry const & entry = tables.unicasts[adapter.unicasts.first + i];
            bool const isKnown = std::any_of(list.begin(), list.end(), [&](Address const & other) {
                return other.address == entry.address;
            });
            if ((entry.dadState != 3 && entry.dadState != 4) || entry.family != 2 ||
                (once && isKnown))
                continue;
            AdapterInfo const * const info = FindLast(tables.infos, adapter.index);
            if (i < adapter.prefixes.count) {
                AddWithPrefix(entry, tables.prefixLengths[adapter.prefixes.first + i], list);
            } else if (info != nullptr) {
                if (unsigned int const prefix = GetInfoPrefix(*info, entry.address); prefix > 0)
                    AddWithPrefix(entry, prefix, list);
                else
                    list.push_back({entry.address, 0, 0});
            } else if (isLoopback) {
                list.push_back({entry.address, 0, 8});
            }
        }
    }

    static void AddWithPrefix(UnicastEntry const & entry, unsigned int prefix,
                              std::vector<Address> & list) {
        unsigned int const host = HostBits(prefix);
        list.push_back({entry.address, Broadcast(entry.broadcast, entry.address, host), prefix});
    }

    unsigned int GetInfoPrefix(AdapterInfo const & info, unsigned int address) const {
        for (unsigned int i = 0; i < info.addresses.count; ++i) {
            InfoAddress const & entry = tables.infoAddresses[info.addresses.first + i];
            if (InetAddr(entry.address.text) == address)
                return InetAddr(entry.mask.text) == 0xFFFFFFFF
                           ? 0
                           : CountBits(InetAddr(entry.mask.text));
        }
        return 0;
    }

    void Add(unsigned int index, std::string const & name, unsigned int mtu,
             std::string const & flags, bool isUp, std::vector<Address> const & list,
             LinkAddress const & link) {
        std::string line = name + " " + std::to_string(mtu) + " " + flags + (isUp ? "u" : "");
        for (Address const & entry : list)
            line += " " + Dotted(entry.address) + "/" + std::to_string(entry.prefix) + "*" +
                    Dotted(entry.broadcast);
        AdapterInfo const * const info = isUp ? FindLast(tables.infos, index) : nullptr;
        for (unsigned int i = 0; info != nullptr && i < info->gateways.count; ++i) {
            unsigned int const gateway = InetAddr(tables.gateways[info->gateways.first + i].text);
            if (gateway != 0xFFFFFFFF)
                line += " >" + Dotted(gateway);
        }
        line += " #";
        for (unsigned int i = 0; i < link.length; ++i)
            line += std::to_string(link.bytes[i]) + ",";
        lines.push_back(line);
        done.insert(index);
    }

    InterfaceTables const & tables;
    std::map<std::string, unsigned int> counters;
    std::set<unsigned int> done;
    std::vector<std::string> lines;
};

} // namespace

InterfaceTables DrawTables(unsigned int seed) {
    Draw draw{std::mt19937(seed)};
    InterfaceTables tables;
    // The system's own table has each index once, in order.
    for (unsigned int index = 0; index < Indexes; ++index)
        if (draw(2) == 0)
            tables.interfaces.Push({index, DrawType(draw), draw(65536), 1 + draw(2) * draw(2),
                                    draw(3) == 0 ? draw(6) : 5, DrawLink(draw)});
    for (unsigned int i = draw(6); i > 0; --i)
        tables.addresses.Push({draw(Indexes), DrawAddress(draw), DrawMask(draw), DrawRule(draw)});
    for (unsigned int i = draw(6); i > 0; --i) {
        AdapterAddresses adapter{};
        adapter.index = draw(Indexes);
        adapter.type = DrawType(draw);
        adapter.mtu = draw(65536);
        adapter.operStatus = 1 + draw(3) / 2;
        adapter.linkAddress = DrawLink(draw);
        adapter.name = OneOf(draw, {"{A}", "{B}", ""});
        adapter.unicasts = {tables.unicasts.GetSize(), draw(4)};
        adapter.prefixes = {tables.prefixLengths.GetSize(), draw(3) == 0 ? 0 : draw(4)};
        for (unsigned int k = 0; k < adapter.unicasts.count; ++k)
            tables.unicasts.Push({draw(5) == 0 ? 23u : 2u, draw(4) == 0 ? draw(6) : 4,
                                  DrawAddress(draw), DrawRule(draw)});
        for (unsigned int k = 0; k < adapter.prefixes.count; ++k)
            tables.prefixLengths.Push(OneOf(draw, {0u, 8u, 24u, 31u, 32u, 200u}));
        tables.adapters.Push(adapter);
    }
    for (unsigned int i = draw(6); i > 0; --i) {
        AdapterInfo info{draw(Indexes),
                         {tables.infoAddresses.GetSize(), draw(4)},
                         {tables.gateways.GetSize(), draw(3)}};
        for (unsigned int k = 0; k < info.addresses.count; ++k)
            tables.infoAddresses.Push(
                {ToText(DrawAddress(draw), draw), ToText(DrawMask(draw), draw)});
        for (unsigned int k = 0; k < info.gateways.count; ++k)
            tables.gateways.Push(ToText(DrawAddress(draw), draw));
        tables.infos.Push(info);
    }
    return tables;
}

std::vector<std::string> GetExpected(InterfaceTables const & tables) {
    return Model(tables).Run();
}

std::string Dotted(unsigned int number) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8)
        text += std::to_string(number >> shift & 0xFF) + (shift > 0 ? "." : "");
    return text;
}

std::string Describe(NetworkInterface const & interface) {
    std::string line(static_cast<char *>(interface.GetName().ToCStr()));
    line += " " + std::to_string(interface.GetMTU()) + " ";
    line += interface.IsPointToPoint() ? "p" : "";
    line += interface.IsLoopback() ? "l" : "";
    line += interface.IsUp() ? "u" : "";
    auto const dotted = [](InternetAddress const & address) {
        return Dotted(ToNumber(address.GetAddress()));
    };
    for (NetworkInterfaceAddress const & entry : interface.GetInterfaceAddresses())
        line += " " + dotted(entry.GetInterfaceAddress()) + "/" +
                std::to_string(entry.GetNetworkPrefixLength()) + "*" +
                dotted(entry.GetBroadcastAddress());
    for (InternetAddress const & gateway : interface.GetGatewayAddresses())
        line += " >" + dotted(gateway);
    line += " #";
    HardwareAddress const & hardware = interface.GetHardwareAddress();
    for (unsigned int i = 0; i < hardware.GetAddressLength(); ++i)
        line += std::to_string(static_cast<unsigned char>(hardware.GetAddressData()[i])) + ",";
    return line;
}

} // namespace Tests
