#pragma once

// Conversion of handles and addresses between the seam and the system.

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <Kestrel/Socket/Platform/NativeAddresses.h>

namespace IO::Socket {

// A handle that is not a descriptor must not become one by losing its upper half.
inline int ToDescriptor(SocketHandle socket) {
    return socket <= 0x7FFFFFFF ? static_cast<int>(socket) : -1;
}

} // namespace IO::Socket
