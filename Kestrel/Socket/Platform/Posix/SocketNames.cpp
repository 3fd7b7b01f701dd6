// The calls of the resolver.

#include <Kestrel/Socket/Platform/Posix/PosixSocketCalls.h>
#include <Kestrel/Socket/Platform/Posix/SocketAddresses.h>
#include <Kestrel/Socket/Platform/Posix/SocketErrors.h>

#include <netdb.h>
#include <unistd.h>

namespace IO::Socket {
namespace {

// Room for the names and addresses of a host; if there are more, it fails.
constexpr unsigned int HostBufferSize = 8192;

// Both look-ups use a buffer of the caller; the result is null if nothing was found.
template <typename Call>
unsigned int LookUpHost(hostent * host, char (&buffer)[HostBufferSize], Call call) {
    hostent * found = nullptr;
    int hostError = 0;
    int const error = call(host, buffer, sizeof(buffer), &found, &hostError);
    if (found != nullptr)
        return WSAError::None;
    return hostError != 0 ? ToHostError(hostError) : ToSocketError(error);
}

} // namespace

// The system truncates a long name without a terminator.
unsigned int PosixSocketCalls::GetHostName(char * name, unsigned int size) {
    if (size == 0)
        return WSAError::Fault;
    name[size - 1] = 0;
    if (::gethostname(name, size) != 0)
        return errno == ENAMETOOLONG ? WSAError::Fault : GetLastSocketError();
    return name[size - 1] != 0 ? WSAError::Fault : WSAError::None;
}

unsigned int PosixSocketCalls::GetAddrInfo(char const * name, AddressList * list) {
    int const error = FindAddresses(name, list);
    return error == 0 ? WSAError::None : ToResolverError(error);
}

void PosixSocketCalls::ReadAddrInfo(AddressList * place, AddressInfo * entry) {
    *entry = TakeEntry(place);
}

void PosixSocketCalls::FreeAddrInfo(AddressList list) {
    if (list != nullptr)
        ::freeaddrinfo(static_cast<addrinfo *>(list));
}

unsigned int PosixSocketCalls::GetNameInfo(SocketAddress const & address, char * host,
                                           unsigned int hostSize, char * service,
                                           unsigned int serviceSize) {
    sockaddr_in const native = ToNative(address);
    int const error =
        ::getnameinfo(AsGeneral(native), sizeof(native), host, hostSize, service, serviceSize, 0);
    return error == 0 ? WSAError::None : ToResolverError(error);
}

unsigned int PosixSocketCalls::GetHostByAddr(unsigned char const (&address)[4], char * name,
                                             unsigned int size) {
    hostent host{};
    char buffer[HostBufferSize];
    unsigned int const error = LookUpHost(&host, buffer, [&](auto... rest) {
        return ::gethostbyaddr_r(address, sizeof(address), AF_INET, rest...);
    });
    return error == WSAError::None ? CopyName(host, name, size) : error;
}

unsigned int PosixSocketCalls::GetHostByName(char const * name, unsigned char (&address)[4]) {
    hostent host{};
    char buffer[HostBufferSize];
    unsigned int const error =
        LookUpHost(&host, buffer, [&](auto... rest) { return ::gethostbyname_r(name, rest...); });
    return error == WSAError::None ? CopyAddress(host, address) : error;
}

} // namespace IO::Socket
