#pragma once

#include <Kestrel/Socket/Platform/InterfaceCalls.h>

namespace IO::Socket {

/// InterfaceCalls over the tables of the IP helper.
class WindowsInterfaceCalls final : public InterfaceCalls {
public:
    unsigned int GetIfTable(InterfaceTables & tables) override;
    unsigned int GetIpAddrTable(InterfaceTables & tables) override;
    unsigned int GetAdaptersAddresses(InterfaceTables & tables) override;
    unsigned int GetAdaptersInfo(InterfaceTables & tables) override;
};

} // namespace IO::Socket
