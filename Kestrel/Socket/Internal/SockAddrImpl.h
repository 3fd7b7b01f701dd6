#pragma once

#include <Kestrel/Socket/Platform/SocketCallTypes.h>
#include <Kestrel/Socket/SockAddr.h>

namespace IO::Socket {

/// The one SockAddr there is: the address as the seam to the system has it.
class SockAddrImpl final : public SockAddr {
public:
    ~SockAddrImpl() override;
    Mu::String GetHostAddress() const override;

    SocketAddress address{InternetFamily, 0, {0, 0, 0, 0}};
};

} // namespace IO::Socket
