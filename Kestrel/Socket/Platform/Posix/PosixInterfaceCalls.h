#pragma once

#include <Kestrel/Socket/Platform/InterfaceCalls.h>

namespace IO::Socket {

/// InterfaceCalls over the kernel's lists of links, addresses and routes, in the current network
/// namespace.
///
/// The interface table has every interface, so the adapter addresses, which need no call of their
/// own, only add what the address table cannot represent: several addresses of one interface. The
/// prefix lengths are parallel to them, and the broadcast address is that of the system, if any. An
/// adapter info has the gateways of the default routes in the main table, and no addresses.
class PosixInterfaceCalls final : public InterfaceCalls {
public:
    unsigned int GetIfTable(InterfaceTables & tables) override;
    unsigned int GetIpAddrTable(InterfaceTables & tables) override;
    unsigned int GetAdaptersAddresses(InterfaceTables & tables) override;
    unsigned int GetAdaptersInfo(InterfaceTables & tables) override;
};

} // namespace IO::Socket
