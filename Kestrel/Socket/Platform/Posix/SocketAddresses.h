#pragma once

#include <Kestrel/Socket/Platform/SocketCallTypes.h>

#include <arpa/inet.h>
#include <cstring>
#include <netinet/in.h>
#include <sys/socket.h>

// Handles and addresses between the seam and the system.

namespace IO::Socket {

// A handle that is no descriptor must not become one by losing its upper half.
inline int ToDescriptor(SocketHandle socket) {
    return socket <= 0x7FFFFFFF ? static_cast<int>(socket) : -1;
}

inline sockaddr_in ToNative(SocketAddress const & address) {
    sockaddr_in native{};
    native.sin_family = address.family;
    native.sin_port = htons(address.port);
    std::memcpy(&native.sin_addr, address.address, sizeof(address.address));
    return native;
}

inline sockaddr const * AsGeneral(sockaddr_in const & native) {
    return reinterpret_cast<sockaddr const *>(&native);
}

inline SocketAddress FromNative(sockaddr_in const & native) {
    SocketAddress address{native.sin_family, ntohs(native.sin_port), {}};
    std::memcpy(address.address, &native.sin_addr, sizeof(address.address));
    return address;
}

/// Where the system puts an address of any family.
class NativeAddress {
public:
    sockaddr * GetGeneral() { return reinterpret_cast<sockaddr *>(&storage); }
    socklen_t * GetSize() { return &size; }
    SocketAddress Get() const {
        if (storage.ss_family != AF_INET)
            return {storage.ss_family, 0, {}};
        sockaddr_in native;
        std::memcpy(&native, &storage, sizeof(native));
        return FromNative(native);
    }

private:
    sockaddr_storage storage{};
    socklen_t size = sizeof(storage);
};

static_assert(AF_INET == InternetFamily);

} // namespace IO::Socket
