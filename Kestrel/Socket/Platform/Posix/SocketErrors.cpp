#include <Kestrel/Socket/Platform/Posix/SocketErrors.h>

#include <Kestrel/Socket/Platform/SocketCallTypes.h>

#include <cstring>
#include <netdb.h>

namespace IO::Socket {
namespace {

struct ErrorPair {
    int error;
    unsigned int number;
};

template <unsigned int n>
constexpr ErrorPair const * Find(ErrorPair const (&pairs)[n], int error) {
    for (ErrorPair const & pair : pairs)
        if (pair.error == error)
            return &pair;
    return nullptr;
}

template <unsigned int n>
constexpr ErrorPair const * FindNumber(ErrorPair const (&pairs)[n], unsigned int number) {
    for (ErrorPair const & pair : pairs)
        if (pair.number == number)
            return &pair;
    return nullptr;
}

// From left to right the first row of an errno is used, from right to left the first of a number.
constexpr ErrorPair errorPairs[] = {
    {EACCES, WSAError::Access},
    {EPERM, WSAError::Access},
    {EFAULT, WSAError::Fault},
    {EINVAL, WSAError::Invalid},
    {EMFILE, WSAError::TooManyFiles},
    {ENFILE, WSAError::TooManyFiles},
    {EAGAIN, WSAError::WouldBlock},
    {EINPROGRESS, WSAError::InProgress},
    {EALREADY, WSAError::Already},
    {ENOTSOCK, WSAError::NotSocket},
    {EBADF, WSAError::NotSocket},
    {EDESTADDRREQ, WSAError::DestinationRequired},
    {EMSGSIZE, WSAError::MessageSize},
    {EPROTOTYPE, WSAError::ProtocolType},
    {ENOPROTOOPT, WSAError::NoProtocolOption},
    {EPROTONOSUPPORT, WSAError::ProtocolNotSupported},
    {ESOCKTNOSUPPORT, WSAError::SocketNotSupported},
    {EOPNOTSUPP, WSAError::NotSupported},
    {EAFNOSUPPORT, WSAError::FamilyNotSupported},
    {EADDRINUSE, WSAError::AddressInUse},
    {EADDRNOTAVAIL, WSAError::AddressNotAvailable},
    {ENETDOWN, WSAError::NetDown},
    {ENETUNREACH, WSAError::NetUnreachable},
    {ENETRESET, WSAError::NetReset},
    {ECONNABORTED, WSAError::ConnectionAborted},
    {ECONNRESET, WSAError::ConnectionReset},
    {EPIPE, WSAError::ConnectionReset}, // a reset after the peer's end
    {ENOBUFS, WSAError::NoBuffers},
    {ENOMEM, WSAError::NoBuffers},
    {EISCONN, WSAError::IsConnected},
    {ENOTCONN, WSAError::NotConnected},
    {ESHUTDOWN, WSAError::Shutdown},
    {ETIMEDOUT, WSAError::TimedOut},
    {ECONNREFUSED, WSAError::ConnectionRefused},
    {EHOSTDOWN, WSAError::HostDown},
    {EHOSTUNREACH, WSAError::HostUnreachable},
    {ENOMEM, WSAError::NotEnoughMemory},
    {EPROTO, WSAError::VersionNotSupported},
    {ENOTCONN, WSAError::NotInitialised},
};

constexpr ErrorPair resolverPairs[] = {
    {EAI_NONAME, WSAError::HostNotFound}, {EAI_AGAIN, WSAError::TryAgain},
    {EAI_FAIL, WSAError::NoRecovery},     {EAI_NODATA, WSAError::NoData},
    {EAI_ADDRFAMILY, WSAError::NoData},   {EAI_MEMORY, WSAError::NotEnoughMemory},
    {EAI_OVERFLOW, WSAError::Fault},      {EAI_FAMILY, WSAError::FamilyNotSupported},
    {EAI_SERVICE, WSAError::NoRecovery},  {EAI_SOCKTYPE, WSAError::SocketNotSupported},
    {EAI_BADFLAGS, WSAError::Invalid},
};

constexpr ErrorPair hostPairs[] = {
    {HOST_NOT_FOUND, WSAError::HostNotFound},
    {TRY_AGAIN, WSAError::TryAgain},
    {NO_RECOVERY, WSAError::NoRecovery},
    {NO_DATA, WSAError::NoData},
};

} // namespace

unsigned int ToSocketError(int error) {
    ErrorPair const * const pair = Find(errorPairs, error);
    return pair != nullptr ? pair->number : static_cast<unsigned int>(error);
}

unsigned int GetLastSocketError() {
    return ToSocketError(errno);
}

unsigned int ToResolverError(int error) {
    if (error == EAI_SYSTEM)
        return GetLastSocketError();
    ErrorPair const * const pair = Find(resolverPairs, error);
    return pair != nullptr ? pair->number : WSAError::NoRecovery;
}

unsigned int ToHostError(int error) {
    if (error == NETDB_INTERNAL)
        return GetLastSocketError();
    ErrorPair const * const pair = Find(hostPairs, error);
    return pair != nullptr ? pair->number : WSAError::NoRecovery;
}

char const * GetSocketErrorText(unsigned int error) {
    if (ErrorPair const * const pair = FindNumber(errorPairs, error))
        return ::strerrordesc_np(pair->error);
    if (ErrorPair const * const pair = FindNumber(resolverPairs, error))
        return ::gai_strerror(pair->error);
    return error != 0 && error < WSAError::Access ? ::strerrordesc_np(static_cast<int>(error))
                                                  : nullptr;
}

} // namespace IO::Socket
