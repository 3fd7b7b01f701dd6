#pragma once

#include <Kestrel/Root/Containers/Array.h>
#include <Kestrel/Root/Text/String.h>

// The system's data about its network interfaces, as plain records: four tables, none of which is
// complete. Addresses are numbers: 10.0.0.1 is 0x0A000001. The numbers of types and states are
// those of Windows everywhere.

namespace IO::Socket {

namespace InterfaceType {
inline constexpr unsigned int Other = 1;
inline constexpr unsigned int Ethernet = 6;
inline constexpr unsigned int TokenRing = 9;
inline constexpr unsigned int FDDI = 15;
inline constexpr unsigned int PPP = 23;
inline constexpr unsigned int SoftwareLoopback = 24;
inline constexpr unsigned int SLIP = 28;
inline constexpr unsigned int Tunnel = 131;
} // namespace InterfaceType

// Of the interface table.
namespace AdminStatus {
inline constexpr unsigned int Up = 1;
inline constexpr unsigned int Down = 2;
} // namespace AdminStatus
namespace OperStatus {
inline constexpr unsigned int NonOperational = 0;
inline constexpr unsigned int Disconnected = 2;
inline constexpr unsigned int Connected = 4;
inline constexpr unsigned int Operational = 5;
} // namespace OperStatus

// Of the adapter addresses.
namespace AdapterStatus {
inline constexpr unsigned int Up = 1;
inline constexpr unsigned int Down = 2;
} // namespace AdapterStatus
namespace DadState {
inline constexpr unsigned int Deprecated = 3;
inline constexpr unsigned int Preferred = 4;
} // namespace DadState

inline constexpr unsigned int InternetProtocolFamily = 2;

/// The bytes of a network card's address, up to the longest of any system.
struct LinkAddress {
    unsigned char bytes[32];
    unsigned int length;
};

/// Where the broadcast address of an address comes from.
struct BroadcastRule {
    enum class Form {
        HostZeros, ///< the bits of the host are 0
        HostOnes,  ///< the bits of the host are 1
        Own        ///< as the system specifies, 0 for none; only on Linux
    };
    Form form;
    unsigned int address; ///< for Own
};

/// Of the interface table.
struct InterfaceRow {
    unsigned int index;
    unsigned int type;
    unsigned int mtu;
    unsigned int adminStatus;
    unsigned int operStatus;
    LinkAddress linkAddress;
};

/// Of the address table. Several rows may have the same index.
struct AddressRow {
    unsigned int index;
    unsigned int address;
    unsigned int mask;
    BroadcastRule broadcast;
};

/// Entries of one of the lists in InterfaceTables that belong to one adapter.
struct ListPart {
    unsigned int first;
    unsigned int count;
};

struct UnicastEntry {
    unsigned int family;
    unsigned int dadState;
    unsigned int address;
    BroadcastRule broadcast; ///< HostOnes, or Own
};

/// Of the adapter addresses.
struct AdapterAddresses {
    unsigned int index; ///< 0: not for IPv4
    unsigned int type;
    unsigned int mtu;
    unsigned int operStatus; ///< of AdapterStatus
    LinkAddress linkAddress;
    Mu::String name; ///< in the machine's code; empty where the interface table has all interfaces
    ListPart unicasts; ///< of `unicasts`
    ListPart prefixes; ///< of `prefixLengths`, parallel to the unicasts; may be shorter
};

/// An address as a zero-terminated text, which may be empty.
struct AddressText {
    char text[16];
};

struct InfoAddress {
    AddressText address;
    AddressText mask;
};

/// Of the adapter infos.
struct AdapterInfo {
    unsigned int index;
    ListPart addresses; ///< of `infoAddresses`
    ListPart gateways;  ///< of `gateways`
};

/// The four tables, and the lists that their rows refer to parts of.
struct InterfaceTables {
    Mu::Array<InterfaceRow> interfaces;
    Mu::Array<AddressRow> addresses;
    Mu::Array<AdapterAddresses> adapters;
    Mu::Array<AdapterInfo> infos;

    Mu::Array<UnicastEntry> unicasts;
    Mu::Array<unsigned int> prefixLengths;
    Mu::Array<InfoAddress> infoAddresses;
    Mu::Array<AddressText> gateways;
};

} // namespace IO::Socket
