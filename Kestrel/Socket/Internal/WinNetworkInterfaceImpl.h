#pragma once

#include <Kestrel/Socket/NetworkInterfaceImpl.h>

namespace IO::Socket {

/// Fetches the system's four tables, in their order, and merges them. Named after the platform that
/// defines the tables; on Linux the seam provides the same ones.
class WinNetworkInterfaceImpl final : public NetworkInterfaceImpl {
public:
    ~WinNetworkInterfaceImpl() override;
    unsigned int GetNetworkInterfaces(Mu::PagedArray<NetworkInterface> & result) override;
};

} // namespace IO::Socket
