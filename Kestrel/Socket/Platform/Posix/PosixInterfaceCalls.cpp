#include <Kestrel/Socket/Platform/Posix/PosixInterfaceCalls.h>

#include <Kestrel/Socket/Internal/DottedText.h>
#include <Kestrel/Socket/Platform/Posix/Netlink.h>

#include <linux/if.h>
#include <linux/if_arp.h>
#include <sys/socket.h>

#include <algorithm>
#include <bit>
#include <string_view>
#include <utility>

namespace IO::Socket {

namespace {

// The kind of a link as specified by its driver, where the hardware type is not sufficient.
std::string_view GetKind(rtattr const & linkInfo) {
    auto const start = GetPayload(linkInfo);
    std::size_t const size = GetPayloadSize(linkInfo);
    for (std::size_t at = 0; at + sizeof(rtattr) <= size;) {
        auto const attribute = reinterpret_cast<rtattr const *>(start + at);
        if (attribute->rta_len < sizeof(rtattr) || attribute->rta_len > size - at)
            break;
        if (attribute->rta_type == IFLA_INFO_KIND) {
            std::string_view const kind(GetPayload(*attribute), GetPayloadSize(*attribute));
            return kind.substr(0, kind.find('\0'));
        }
        at += RTA_ALIGN(attribute->rta_len);
    }
    return {};
}

unsigned int ToType(unsigned int hardware, std::string_view kind) {
    switch (hardware) {
    case ARPHRD_ETHER: return InterfaceType::Ethernet;
    case ARPHRD_IEEE802_TR: return InterfaceType::TokenRing;
    case ARPHRD_FDDI: return InterfaceType::FDDI;
    case ARPHRD_PPP: return InterfaceType::PPP;
    case ARPHRD_LOOPBACK: return InterfaceType::SoftwareLoopback;
    case ARPHRD_SLIP:
    case ARPHRD_CSLIP:
    case ARPHRD_SLIP6:
    case ARPHRD_CSLIP6: return InterfaceType::SLIP;
    case ARPHRD_TUNNEL:
    case ARPHRD_TUNNEL6:
    case ARPHRD_SIT:
    case ARPHRD_IPGRE:
    case ARPHRD_IP6GRE: return InterfaceType::Tunnel;
    case ARPHRD_NONE:
        return kind == "tun" || kind == "wireguard" ? InterfaceType::Tunnel : InterfaceType::Other;
    default: return InterfaceType::Other;
    }
}

InterfaceRow ToInterface(nlmsghdr const & message) {
    auto const & link = *static_cast<ifinfomsg const *>(NLMSG_DATA(&message));
    InterfaceRow row{};
    std::string_view kind;
    ForEachAttribute<ifinfomsg>(message, [&](rtattr const & attribute) {
        switch (attribute.rta_type) {
        case IFLA_MTU: row.mtu = GetNumber<unsigned int>(attribute); break;
        case IFLA_LINKINFO: kind = GetKind(attribute); break;
        case IFLA_ADDRESS:
            row.linkAddress.length = static_cast<unsigned int>(
                std::min(GetPayloadSize(attribute), sizeof(row.linkAddress.bytes)));
            std::copy_n(GetPayload(attribute), row.linkAddress.length, row.linkAddress.bytes);
            break;
        default: break;
        }
    });
    row.index = static_cast<unsigned int>(link.ifi_index);
    row.type = ToType(link.ifi_type, kind);
    bool const isUp = (link.ifi_flags & IFF_UP) != 0;
    row.adminStatus = isUp ? AdminStatus::Up : AdminStatus::Down;
    // Set exactly when the link is operational, or does not report it.
    bool const isRunning = (link.ifi_flags & IFF_RUNNING) != 0;
    row.operStatus = isRunning ? OperStatus::Operational
                     : isUp    ? OperStatus::Disconnected
                               : OperStatus::NonOperational;
    // The loopback's zeros are not the address of a card.
    if (row.type == InterfaceType::SoftwareLoopback)
        row.linkAddress.length = 0;
    return row;
}

unsigned int GetAddress(rtattr const & attribute) {
    unsigned char bytes[4] = {};
    if (GetPayloadSize(attribute) >= sizeof(bytes))
        std::copy_n(GetPayload(attribute), sizeof(bytes), bytes);
    return ToNumber(bytes);
}

AddressRow ToAddressRow(nlmsghdr const & message) {
    auto const & header = *static_cast<ifaddrmsg const *>(NLMSG_DATA(&message));
    AddressRow row{header.ifa_index, 0, 0, {BroadcastRule::Form::Own, 0}};
    unsigned int const prefix = header.ifa_prefixlen;
    row.mask = prefix == 0 ? 0 : prefix >= 32 ? ~0u : ~0u << (32 - prefix);
    ForEachAttribute<ifaddrmsg>(message, [&](rtattr const & attribute) {
        // Always there; on a point to point link IFA_ADDRESS is the far end.
        if (attribute.rta_type == IFA_LOCAL)
            row.address = GetAddress(attribute);
        if (attribute.rta_type == IFA_BROADCAST)
            row.broadcast.address = GetAddress(attribute);
    });
    return row;
}

/// A gateway of one interface.
struct Gateway {
    unsigned int index;
    unsigned int address;
    friend bool operator==(Gateway const &, Gateway const &) = default;
};

void AddGateway(Gateway const & gateway, Mu::Array<Gateway> & gateways) {
    // One interface often has the same gateway at several metrics.
    if (gateway.index != 0 && gateway.address != 0 &&
        std::find(gateways.begin(), gateways.end(), gateway) == gateways.end())
        gateways.Push(gateway);
}

// The hops of a route with several.
void AddHops(rtattr const & multipath, Mu::Array<Gateway> & gateways) {
    auto const start = GetPayload(multipath);
    std::size_t const size = GetPayloadSize(multipath);
    for (std::size_t at = 0; at + sizeof(rtnexthop) <= size;) {
        auto const hop = reinterpret_cast<rtnexthop const *>(start + at);
        if (hop->rtnh_len < sizeof(rtnexthop) || hop->rtnh_len > size - at)
            return;
        for (std::size_t inside = RTNH_LENGTH(0); inside + sizeof(rtattr) <= hop->rtnh_len;) {
            auto const attribute = reinterpret_cast<rtattr const *>(start + at + inside);
            if (attribute->rta_len < sizeof(rtattr) || attribute->rta_len > hop->rtnh_len - inside)
                break;
            if (attribute->rta_type == RTA_GATEWAY)
                AddGateway({static_cast<unsigned int>(hop->rtnh_ifindex), GetAddress(*attribute)},
                           gateways);
            inside += RTA_ALIGN(attribute->rta_len);
        }
        at += RTNH_ALIGN(hop->rtnh_len);
    }
}

void AddGateways(nlmsghdr const & message, Mu::Array<Gateway> & gateways) {
    auto const & route = *static_cast<rtmsg const *>(NLMSG_DATA(&message));
    unsigned int table = route.rtm_table;
    Gateway gateway{};
    rtattr const * multipath = nullptr;
    ForEachAttribute<rtmsg>(message, [&](rtattr const & attribute) {
        switch (attribute.rta_type) {
        case RTA_TABLE: table = GetNumber<unsigned int>(attribute); break;
        case RTA_OIF: gateway.index = GetNumber<unsigned int>(attribute); break;
        case RTA_GATEWAY: gateway.address = GetAddress(attribute); break;
        case RTA_MULTIPATH: multipath = &attribute; break;
        default: break;
        }
    });
    if (route.rtm_family != AF_INET || route.rtm_dst_len != 0 || route.rtm_type != RTN_UNICAST ||
        table != RT_TABLE_MAIN)
        return;
    AddGateway(gateway, gateways);
    if (multipath != nullptr)
        AddHops(*multipath, gateways);
}

// Rows with the same index keep their order. The kernel's lists usually are in order.
template <typename Row>
void SortByIndex(Mu::Array<Row> & rows) {
    auto const isBefore = [](Row const & a, Row const & b) { return a.index < b.index; };
    if (std::is_sorted(rows.begin(), rows.end(), isBefore))
        return;
    Mu::Array<unsigned int> order;
    for (unsigned int i = 0; i < rows.GetSize(); ++i)
        order.Push(i);
    std::sort(order.begin(), order.end(), [&](unsigned int a, unsigned int b) {
        return rows[a].index != rows[b].index ? rows[a].index < rows[b].index : a < b;
    });
    Mu::Array<Row> sorted;
    for (unsigned int const i : order)
        sorted.Push(rows[i]);
    rows = std::move(sorted);
}

} // namespace

InterfaceCalls & GetPlatformInterfaceCalls() {
    static PosixInterfaceCalls calls;
    return calls;
}

unsigned int PosixInterfaceCalls::GetIfTable(InterfaceTables & tables) {
    NetlinkDump links;
    unsigned int const error =
        links.ForEach(RTM_GETLINK, ifinfomsg{}, [&](nlmsghdr const & message) {
            if (message.nlmsg_type == RTM_NEWLINK)
                tables.interfaces.Push(ToInterface(message));
        });
    SortByIndex(tables.interfaces);
    return error;
}

// In the system's order within one interface, so that the last one is the most recent.
unsigned int PosixInterfaceCalls::GetIpAddrTable(InterfaceTables & tables) {
    ifaddrmsg header{};
    header.ifa_family = AF_INET;
    NetlinkDump addresses;
    unsigned int const error =
        addresses.ForEach(RTM_GETADDR, header, [&](nlmsghdr const & message) {
            if (message.nlmsg_type == RTM_NEWADDR)
                tables.addresses.Push(ToAddressRow(message));
        });
    SortByIndex(tables.addresses);
    return error;
}

unsigned int PosixInterfaceCalls::GetAdaptersAddresses(InterfaceTables & tables) {
    auto row = tables.addresses.begin();
    for (InterfaceRow const & interface : tables.interfaces) {
        // An interface that was added after the first table was read is not listed this time.
        while (row != tables.addresses.end() && row->index < interface.index)
            ++row;
        AdapterAddresses adapter{};
        adapter.index = interface.index;
        adapter.unicasts.first = tables.unicasts.GetSize();
        adapter.prefixes.first = tables.prefixLengths.GetSize();
        for (; row != tables.addresses.end() && row->index == interface.index; ++row) {
            tables.prefixLengths.Push(static_cast<unsigned int>(std::popcount(row->mask)));
            tables.unicasts.Push(
                {InternetProtocolFamily, DadState::Preferred, row->address, row->broadcast});
            ++adapter.unicasts.count;
        }
        adapter.prefixes.count = adapter.unicasts.count;
        if (adapter.unicasts.count > 0)
            tables.adapters.Push(std::move(adapter));
    }
    return 0;
}

unsigned int PosixInterfaceCalls::GetAdaptersInfo(InterfaceTables & tables) {
    rtmsg header{};
    header.rtm_family = AF_INET;
    header.rtm_table = RT_TABLE_MAIN;
    Mu::Array<Gateway> gateways;
    NetlinkDump routes;
    unsigned int const error = routes.ForEach(RTM_GETROUTE, header, [&](nlmsghdr const & message) {
        if (message.nlmsg_type == RTM_NEWROUTE)
            AddGateways(message, gateways);
    });
    SortByIndex(gateways);
    for (Gateway const & gateway : gateways) {
        if (tables.infos.IsEmpty() || tables.infos.GetLast().index != gateway.index)
            tables.infos.Push({gateway.index, {0, 0}, {tables.gateways.GetSize(), 0}});
        unsigned char bytes[4];
        ToBytes(gateway.address, bytes);
        AddressText text{};
        Mu::String const dotted = InetNtoa(bytes);
        std::copy(dotted.begin(), dotted.end(), text.text);
        tables.gateways.Push(text);
        ++tables.infos.GetLast().gateways.count;
    }
    return error;
}

} // namespace IO::Socket
