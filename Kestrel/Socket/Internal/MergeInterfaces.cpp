#include <Kestrel/Socket/Internal/MergeInterfaces.h>

#include <Kestrel/Root/Containers/HashSet.h>
#include <Kestrel/Root/Containers/HashTable.h>
#include <Kestrel/Socket/Internal/DottedText.h>

#include <algorithm>
#include <span>
#include <utility>

namespace IO::Socket {

namespace {

// The types with a name and a counter of their own; the last one is for all others.
struct NamedType {
    unsigned int type;
    char const * format;
};
constexpr NamedType namedTypes[] = {
    {InterfaceType::Ethernet, "eth%lu"}, {InterfaceType::TokenRing, "tok%lu"},
    {InterfaceType::FDDI, "fdd%lu"},     {InterfaceType::PPP, "ppp%lu"},
    {InterfaceType::SLIP, "slp%lu"},     {InterfaceType::SoftwareLoopback, "loo%lu"},
    {InterfaceType::Tunnel, "tun%lu"},   {InterfaceType::Other, "net%lu"},
};
constexpr unsigned int NamedTypeCount = std::size(namedTypes);

InternetAddress ToAddress(unsigned int number) {
    unsigned char bytes[4];
    ToBytes(number, bytes);
    return InternetAddress(bytes[0], bytes[1], bytes[2], bytes[3]);
}

// Kept: a hole in a mask counts as ones.
unsigned int GetPrefixLength(unsigned int mask) {
    unsigned int length = 0;
    for (; mask != 0; mask <<= 1)
        ++length;
    return length;
}

unsigned int GetHostMask(unsigned int prefixLength) {
    return prefixLength < 32 ? ~0u >> prefixLength : 0;
}

InternetAddress GetBroadcast(BroadcastRule const & rule, unsigned int address,
                             unsigned int hostMask) {
    switch (rule.form) {
    case BroadcastRule::Form::HostOnes: return ToAddress(address | hostMask);
    case BroadcastRule::Form::Own: return ToAddress(rule.address);
    default: return ToAddress(address & ~hostMask);
    }
}

HardwareAddress GetHardwareAddress(LinkAddress const & link) {
    unsigned char const * const bytes = link.bytes;
    return HardwareAddress(reinterpret_cast<char const *>(bytes),
                           std::min<unsigned int>(link.length, sizeof(link.bytes)));
}

template <typename Element>
std::span<Element const> GetPart(Mu::Array<Element> const & list, ListPart const & part) {
    return {list.begin() + part.first, part.count};
}

/// Rows by interface index; if several have the same one, the last.
template <typename Row>
class RowIndex {
public:
    explicit RowIndex(Mu::Array<Row> const & rows) {
        byIndex.SetCapacity(rows.GetSize());
        for (Row const & row : rows)
            byIndex.Set(row.index, &row);
    }
    /// Null if there is none.
    Row const * Find(unsigned int index) const {
        Row const * const * const row = byIndex.Find(index);
        return row == nullptr ? nullptr : *row;
    }

private:
    Mu::HashTable<unsigned int, Row const *> byIndex;
};

using AddressList = Mu::PagedArray<NetworkInterfaceAddress>;

bool Contains(AddressList const & list, InternetAddress const & address) {
    return std::any_of(list.begin(), list.end(), [&](NetworkInterfaceAddress const & entry) {
        return entry.GetInterfaceAddress() == address;
    });
}

class Merge {
public:
    Merge(InterfaceTables const & tables, Mu::PagedArray<NetworkInterface> & result)
        : tables(tables), addresses(tables.addresses), adapters(tables.adapters),
          infos(tables.infos), result(result) {
        handled.SetCapacity(tables.interfaces.GetSize());
    }

    void AddInterfaces() {
        for (InterfaceRow const & row : tables.interfaces)
            AddInterface(row);
    }

    /// The adapters that are missing in the interface table.
    void AddOtherAdapters() {
        for (AdapterAddresses const & adapter : tables.adapters)
            if (adapter.index != 0 && !handled.Contains(adapter.index))
                AddAdapter(adapter);
    }

private:
    void AddInterface(InterfaceRow const & row) {
        using namespace InterfaceType;
        Mu::UniString name = GetNextName(row.type);
        unsigned int flags = 0;
        if (row.type == PPP || row.type == SLIP)
            flags |= NetworkInterface::PointToPoint;
        if (row.type == SoftwareLoopback)
            flags |= NetworkInterface::Loopback;
        if (row.adminStatus == AdminStatus::Up &&
            (row.operStatus == OperStatus::Operational || row.operStatus == OperStatus::Connected))
            flags |= NetworkInterface::Up;
        AddressList found;
        if ((flags & NetworkInterface::Up) != 0) {
            AddTableAddress(row.index, found);
            // An adapter with the index 0 does not belong to this row.
            AdapterAddresses const * const adapter =
                row.index != 0 ? adapters.Find(row.index) : nullptr;
            if (adapter != nullptr)
                Walk(*adapter, row.index, flags, true, found);
        }
        Finish(row.index, std::move(name), row.mtu, flags, std::move(found), row.linkAddress);
    }

    void AddAdapter(AdapterAddresses const & adapter) {
        using namespace InterfaceType;
        unsigned int flags = 0;
        // Kept: a tunnel is point to point here, unlike in the interface table.
        if (adapter.type == PPP || adapter.type == SLIP || adapter.type == Tunnel)
            flags |= NetworkInterface::PointToPoint;
        if (adapter.type == SoftwareLoopback)
            flags |= NetworkInterface::Loopback;
        if (adapter.operStatus == AdapterStatus::Up)
            flags |= NetworkInterface::Up;
        AddressList found;
        if ((flags & NetworkInterface::Up) != 0)
            Walk(adapter, adapter.index, flags, false, found);
        Finish(adapter.index, Mu::UniString(adapter.name.ToCStr()), adapter.mtu, flags,
               std::move(found), adapter.linkAddress);
    }

    Mu::UniString GetNextName(unsigned int type) {
        unsigned int named = 0;
        while (named + 1 < NamedTypeCount && namedTypes[named].type != type)
            ++named;
        return Mu::UniString::Printf(namedTypes[named].format, counters[named]++);
    }

    // The one address of the interface in the address table.
    void AddTableAddress(unsigned int index, AddressList & found) const {
        AddressRow const * const row = addresses.Find(index);
        if (row == nullptr || row->address == 0)
            return;
        found.Emplace(ToAddress(row->address),
                      GetBroadcast(row->broadcast, row->address, ~row->mask),
                      GetPrefixLength(row->mask));
    }

    // The addresses of the adapter. Each of them takes one prefix of the list, whether it counts or
    // not.
    void Walk(AdapterAddresses const & adapter, unsigned int index, unsigned int flags,
              bool passesOverKnown, AddressList & found) const {
        auto const prefixes = GetPart(tables.prefixLengths, adapter.prefixes);
        AdapterInfo const * const info = infos.Find(index);
        std::size_t position = 0;
        for (UnicastEntry const & entry : GetPart(tables.unicasts, adapter.unicasts)) {
            unsigned int const * const prefix =
                position < prefixes.size() ? &prefixes[position] : nullptr;
            ++position;
            bool const counts =
                (entry.dadState == DadState::Deprecated || entry.dadState == DadState::Preferred) &&
                entry.family == InternetProtocolFamily;
            InternetAddress const address = ToAddress(entry.address);
            if (!counts || (passesOverKnown && Contains(found, address)))
                continue;
            unsigned int length = 0;
            if (prefix != nullptr)
                length = *prefix;
            else if (info != nullptr)
                length = GetInfoPrefixLength(*info, entry.address);
            else if ((flags & NetworkInterface::Loopback) != 0)
                length = 8;
            else
                continue;
            if (prefix != nullptr || (info != nullptr && length > 0))
                found.Emplace(address,
                              GetBroadcast(entry.broadcast, entry.address, GetHostMask(length)),
                              length);
            else
                found.Emplace(address, length);
        }
    }

    // 0 if the info lacks the address, or a mask for it.
    unsigned int GetInfoPrefixLength(AdapterInfo const & info, unsigned int address) const {
        for (InfoAddress const & entry : GetPart(tables.infoAddresses, info.addresses)) {
            if (InetAddr(entry.address.text) != address)
                continue;
            unsigned int const mask = InetAddr(entry.mask.text);
            return mask == NoInetAddr ? 0 : GetPrefixLength(mask);
        }
        return 0;
    }

    Mu::PagedArray<InternetAddress> GetGateways(unsigned int index) const {
        Mu::PagedArray<InternetAddress> gateways;
        if (AdapterInfo const * const info = infos.Find(index))
            for (AddressText const & gateway : GetPart(tables.gateways, info->gateways))
                if (unsigned int const address = InetAddr(gateway.text); address != NoInetAddr)
                    gateways.Push(ToAddress(address));
        return gateways;
    }

    void Finish(unsigned int index, Mu::UniString && name, unsigned int mtu, unsigned int flags,
                AddressList && found, LinkAddress const & link) {
        Mu::PagedArray<InternetAddress> gateways;
        if ((flags & NetworkInterface::Up) != 0)
            gateways = GetGateways(index);
        result.Emplace(std::move(name), mtu, flags, std::move(found), std::move(gateways),
                       GetHardwareAddress(link));
        handled.Insert(index);
    }

    InterfaceTables const & tables;
    RowIndex<AddressRow> addresses;
    RowIndex<AdapterAddresses> adapters;
    RowIndex<AdapterInfo> infos;
    Mu::PagedArray<NetworkInterface> & result;
    Mu::HashSet<unsigned int> handled;
    unsigned int counters[NamedTypeCount] = {};
};

} // namespace

void MergeInterfaces(InterfaceTables const & tables, Mu::PagedArray<NetworkInterface> & result) {
    Merge merge(tables, result);
    merge.AddInterfaces();
    merge.AddOtherAdapters();
}

} // namespace IO::Socket
