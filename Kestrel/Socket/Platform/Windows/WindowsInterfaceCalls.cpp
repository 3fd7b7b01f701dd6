#include <Kestrel/Socket/Platform/Windows/WindowsInterfaceCalls.h>

#include <Kestrel/Socket/Internal/FetchTable.h>
#include <Kestrel/Socket/Platform/Windows/Winsock.h>

#include <iphlpapi.h>

#include <algorithm>
#include <cstring>

namespace IO::Socket {

namespace {

LinkAddress ToLinkAddress(unsigned char const * bytes, unsigned int length) {
    LinkAddress link{};
    link.length = std::min<unsigned int>(length, sizeof(link.bytes));
    std::copy_n(bytes, link.length, link.bytes);
    return link;
}

// For a row of the system, whose field may be shorter than its length.
template <std::size_t room, typename Byte>
LinkAddress ToLinkAddress(Byte const (&bytes)[room], unsigned int length) {
    return ToLinkAddress(static_cast<unsigned char const *>(bytes),
                         std::min<unsigned int>(length, room));
}

unsigned int ToNumber(DWORD networkOrder) {
    return ntohl(networkOrder);
}

UnicastEntry ToUnicast(IP_ADAPTER_UNICAST_ADDRESS const & native) {
    UnicastEntry entry{
        0, static_cast<unsigned int>(native.DadState), 0, {BroadcastRule::Form::HostOnes, 0}};
    if (native.Address.lpSockaddr == nullptr)
        return entry;
    entry.family = native.Address.lpSockaddr->sa_family;
    if (entry.family == AF_INET) {
        sockaddr_in address;
        std::memcpy(&address, native.Address.lpSockaddr, sizeof(address));
        entry.address = ToNumber(address.sin_addr.s_addr);
    }
    return entry;
}

AddressText ToText(IP_ADDRESS_STRING const & native) {
    AddressText text{};
    std::copy_n(native.String, std::min(sizeof(native.String), sizeof(text.text) - 1), text.text);
    return text;
}

// The adapters in the system's order.
void AddAdapter(IP_ADAPTER_ADDRESSES const & native, InterfaceTables & tables) {
    AdapterAddresses adapter{native.IfIndex,
                             native.IfType,
                             native.Mtu,
                             static_cast<unsigned int>(native.OperStatus),
                             ToLinkAddress(native.PhysicalAddress, native.PhysicalAddressLength),
                             native.AdapterName,
                             {tables.unicasts.GetSize(), 0},
                             {tables.prefixLengths.GetSize(), 0}};
    for (auto unicast = native.FirstUnicastAddress; unicast != nullptr; unicast = unicast->Next) {
        tables.unicasts.Push(ToUnicast(*unicast));
        ++adapter.unicasts.count;
    }
    for (auto prefix = native.FirstPrefix; prefix != nullptr; prefix = prefix->Next) {
        tables.prefixLengths.Push(prefix->PrefixLength);
        ++adapter.prefixes.count;
    }
    tables.adapters.Push(std::move(adapter));
}

void AddInfo(IP_ADAPTER_INFO const & native, InterfaceTables & tables) {
    AdapterInfo info{
        native.Index, {tables.infoAddresses.GetSize(), 0}, {tables.gateways.GetSize(), 0}};
    for (auto entry = &native.IpAddressList; entry != nullptr; entry = entry->Next) {
        tables.infoAddresses.Push({ToText(entry->IpAddress), ToText(entry->IpMask)});
        ++info.addresses.count;
    }
    for (auto entry = &native.GatewayList; entry != nullptr; entry = entry->Next) {
        tables.gateways.Push(ToText(entry->IpAddress));
        ++info.gateways.count;
    }
    tables.infos.Push(info);
}

} // namespace

InterfaceCalls & GetPlatformInterfaceCalls() {
    static WindowsInterfaceCalls calls;
    return calls;
}

// The sizes of the first calls are those of one row in older versions of the system.

unsigned int WindowsInterfaceCalls::GetIfTable(InterfaceTables & tables) {
    TableBlock block;
    unsigned int const error =
        FetchTable(block, 864, ERROR_INSUFFICIENT_BUFFER, SecondFailure::ItsOwn,
                   [](TableBlock & room, unsigned int * size, bool) {
                       ULONG needed = *size;
                       DWORD const result = ::GetIfTable(room.Get<MIB_IFTABLE>(), &needed, TRUE);
                       *size = needed;
                       return static_cast<unsigned int>(result);
                   });
    if (error != 0)
        return error;
    auto const table = block.Get<MIB_IFTABLE>();
    for (DWORD i = 0; i < table->dwNumEntries; ++i) {
        MIB_IFROW const & row = table->table[i];
        tables.interfaces.Push({row.dwIndex, row.dwType, row.dwMtu, row.dwAdminStatus,
                                static_cast<unsigned int>(row.dwOperStatus),
                                ToLinkAddress(row.bPhysAddr, row.dwPhysAddrLen)});
    }
    return 0;
}

unsigned int WindowsInterfaceCalls::GetIpAddrTable(InterfaceTables & tables) {
    TableBlock block;
    unsigned int const error =
        FetchTable(block, 28, ERROR_INSUFFICIENT_BUFFER, SecondFailure::ItsOwn,
                   [](TableBlock & room, unsigned int * size, bool) {
                       ULONG needed = *size;
                       DWORD const result =
                           ::GetIpAddrTable(room.Get<MIB_IPADDRTABLE>(), &needed, TRUE);
                       *size = needed;
                       return static_cast<unsigned int>(result);
                   });
    if (error != 0)
        return error;
    auto const table = block.Get<MIB_IPADDRTABLE>();
    for (DWORD i = 0; i < table->dwNumEntries; ++i) {
        MIB_IPADDRROW const & row = table->table[i];
        auto const form =
            row.dwBCastAddr == 1 ? BroadcastRule::Form::HostOnes : BroadcastRule::Form::HostZeros;
        tables.addresses.Push({row.dwIndex, ToNumber(row.dwAddr), ToNumber(row.dwMask), {form, 0}});
    }
    return 0;
}

unsigned int WindowsInterfaceCalls::GetAdaptersAddresses(InterfaceTables & tables) {
    TableBlock block;
    unsigned int const error =
        FetchTable(block, 184, ERROR_BUFFER_OVERFLOW, SecondFailure::ItsOwn,
                   [](TableBlock & room, unsigned int * size, bool isSecond) {
                       ULONG needed = *size;
                       // Kept: the prefixes are used for the size only, so that the masks are those
                       // of the adapter infos.
                       ULONG const result = ::GetAdaptersAddresses(
                           AF_INET, isSecond ? 0 : GAA_FLAG_INCLUDE_PREFIX, nullptr,
                           room.Get<IP_ADAPTER_ADDRESSES>(), &needed);
                       *size = needed;
                       return static_cast<unsigned int>(result);
                   });
    if (error != 0)
        return error;
    for (auto adapter = block.Get<IP_ADAPTER_ADDRESSES>(); adapter != nullptr;
         adapter = adapter->Next)
        AddAdapter(*adapter, tables);
    return 0;
}

unsigned int WindowsInterfaceCalls::GetAdaptersInfo(InterfaceTables & tables) {
    TableBlock block;
    unsigned int const error =
        FetchTable(block, 704, ERROR_BUFFER_OVERFLOW, SecondFailure::ThatOfTheFirst,
                   [](TableBlock & room, unsigned int * size, bool) {
                       ULONG needed = *size;
                       ULONG const result = ::GetAdaptersInfo(room.Get<IP_ADAPTER_INFO>(), &needed);
                       *size = needed;
                       return static_cast<unsigned int>(result);
                   });
    if (error != 0)
        return error;
    for (auto info = block.Get<IP_ADAPTER_INFO>(); info != nullptr; info = info->Next)
        AddInfo(*info, tables);
    return 0;
}

} // namespace IO::Socket
