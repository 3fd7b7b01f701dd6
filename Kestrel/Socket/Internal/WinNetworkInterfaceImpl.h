#pragma once

#include <Kestrel/Socket/NetworkInterfaceImpl.h>

namespace IO::Socket {

/// Fetches the system's four tables, in their order, and merges them. The name is that of the platform
/// whose tables they are; on Linux the seam gives the same ones.
class WinNetworkInterfaceImpl final : public NetworkInterfaceImpl {
public:
    ~WinNetworkInterfaceImpl() override;
    unsigned int GetNetworkInterfaces(Mu::PagedArray<NetworkInterface> & result) override;
};

} // namespace IO::Socket
