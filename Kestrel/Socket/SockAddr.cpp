#include <Kestrel/Socket/SockAddr.h>

#include <Kestrel/Socket/Internal/DottedText.h>
#include <Kestrel/Socket/Internal/SockAddrImpl.h>

namespace IO::Socket {

SockAddr::~SockAddr() = default;
SockAddrImpl::~SockAddrImpl() = default;

SockAddr * SockAddr::New() {
    return new SockAddrImpl;
}

Mu::String SockAddrImpl::GetHostAddress() const {
    return InetNtoa(address.address);
}

} // namespace IO::Socket
