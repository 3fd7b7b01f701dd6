#pragma once

#include <Kestrel/Socket/Platform/SocketCallTypes.h>
#include <Kestrel/Socket/SockAddr.h>

namespace IO::Socket {

/// The only implementation of SockAddr: the address in the form of the seam to the system.
class SockAddrImpl final : public SockAddr {
public:
    ~SockAddrImpl() override;
    Mu::String GetHostAddress() const override;

    SocketAddress address{InternetFamily, 0, {0, 0, 0, 0}};
};

} // namespace IO::Socket
