#pragma once

// Conversion of addresses and of the resolver's results between the seam and the system. To be
// included after the system's own headers, whose types have the same names everywhere.

#include <Kestrel/Socket/Platform/SocketCallTypes.h>

#include <cstring>

namespace IO::Socket {

inline sockaddr_in ToNative(SocketAddress const & address) {
    sockaddr_in native{};
    native.sin_family = static_cast<decltype(native.sin_family)>(address.family);
    native.sin_port = htons(address.port);
    std::memcpy(&native.sin_addr, address.address, sizeof(address.address));
    return native;
}

inline sockaddr const * AsGeneral(sockaddr_in const & native) {
    return reinterpret_cast<sockaddr const *>(&native);
}

inline SocketAddress FromNative(sockaddr_in const & native) {
    SocketAddress address{
        static_cast<unsigned short>(native.sin_family), ntohs(native.sin_port), {}};
    std::memcpy(address.address, &native.sin_addr, sizeof(address.address));
    return address;
}

/// Receives an address of any family from the system.
class NativeAddress {
public:
    sockaddr * GetGeneral() { return reinterpret_cast<sockaddr *>(&storage); }
    socklen_t * GetSize() { return &size; }
    SocketAddress Get() const {
        if (storage.ss_family != AF_INET)
            return {static_cast<unsigned short>(storage.ss_family), 0, {}};
        sockaddr_in native;
        std::memcpy(&native, &storage, sizeof(native));
        return FromNative(native);
    }

private:
    sockaddr_storage storage{};
    socklen_t size = sizeof(storage);
};

static_assert(AF_INET == InternetFamily);

/// getaddrinfo for streams over TCP by IPv4, with the canonical name. Returns its result; the list
/// is null after a failure.
inline int FindAddresses(char const * name, AddressList * list) {
    addrinfo hints{};
    hints.ai_flags = AI_CANONNAME;
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_protocol = IPPROTO_TCP;
    addrinfo * found = nullptr;
    int const error = ::getaddrinfo(name, nullptr, &hints, &found);
    *list = error == 0 ? found : nullptr;
    return error;
}

/// Returns the entry at the place, and advances the place.
inline AddressInfo TakeEntry(AddressList * place) {
    addrinfo const * const found = static_cast<addrinfo *>(*place);
    *place = found->ai_next;
    AddressInfo entry{found->ai_family, {}, found->ai_canonname};
    if (found->ai_family == AF_INET && found->ai_addrlen >= sizeof(sockaddr_in)) {
        sockaddr_in native;
        std::memcpy(&native, found->ai_addr, sizeof(native));
        entry.address = FromNative(native);
    }
    return entry;
}

/// Copies the name of a host with its terminator into `size` bytes; an error number if it is
/// longer.
inline unsigned int CopyName(hostent const & host, char * name, unsigned int size) {
    std::size_t const length = std::strlen(host.h_name);
    if (length >= size)
        return WSAError::Fault;
    std::memcpy(name, host.h_name, length + 1);
    return WSAError::None;
}

/// The first address of a host; an error number if it has none of four bytes.
inline unsigned int CopyAddress(hostent const & host, unsigned char (&address)[4]) {
    if (host.h_length != sizeof(address) || host.h_addr_list[0] == nullptr)
        return WSAError::NoData;
    std::memcpy(address, host.h_addr_list[0], sizeof(address));
    return WSAError::None;
}

} // namespace IO::Socket
