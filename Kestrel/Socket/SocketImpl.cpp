#include <Kestrel/Socket/SocketImpl.h>

namespace IO::Socket {

SocketImpl::~SocketImpl() = default;

} // namespace IO::Socket
