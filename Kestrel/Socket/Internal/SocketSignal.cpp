#include <Kestrel/Socket/Internal/SocketSignal.h>

#include <Kestrel/Socket/Internal/ErrorText.h>
#include <Kestrel/Socket/SocketExceptions.h>

namespace IO::Socket {

SocketSignal::Watch::Watch(SocketSignal & owner) : use(owner.signal) {
    unsigned int const error = use.SetIfNone(&SocketCalls::CreateSignal);
    if (error != WSAError::None)
        Throw<SocketException>("Failed to create interrupt socket.", error);
}

} // namespace IO::Socket
