#include <Kestrel/Socket/Platform/Posix/PosixSocketCalls.h>

#include <Kestrel/Root/Internal/Utf8.h>
#include <Kestrel/Socket/Platform/Posix/SocketAddresses.h>
#include <Kestrel/Socket/Platform/Posix/SocketErrors.h>

#include <fcntl.h>
#include <netinet/tcp.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace IO::Socket {
namespace {

unsigned int Result(int result) {
    return result < 0 ? GetLastSocketError() : WSAError::None;
}

unsigned int MadeResult(int descriptor, SocketHandle * made) {
    *made = descriptor < 0 ? NoSocket : static_cast<SocketHandle>(descriptor);
    return Result(descriptor);
}

unsigned int CountResult(ssize_t result, unsigned int * count) {
    *count = result < 0 ? 0 : static_cast<unsigned int>(result);
    return result < 0 ? GetLastSocketError() : WSAError::None;
}

struct Option {
    int level;
    int name;
    int systemLevel;
    int systemName;
};

constexpr Option options[] = {
    {OptionLevel::Socket, OptionName::ReuseAddress, SOL_SOCKET, SO_REUSEADDR},
    {OptionLevel::Socket, OptionName::KeepAlive, SOL_SOCKET, SO_KEEPALIVE},
    {OptionLevel::Socket, OptionName::Broadcast, SOL_SOCKET, SO_BROADCAST},
    {OptionLevel::Socket, OptionName::OOBInline, SOL_SOCKET, SO_OOBINLINE},
    {OptionLevel::Socket, OptionName::SendBufferSize, SOL_SOCKET, SO_SNDBUF},
    {OptionLevel::Socket, OptionName::ReceiveBufferSize, SOL_SOCKET, SO_RCVBUF},
    {OptionLevel::Socket, OptionName::Error, SOL_SOCKET, SO_ERROR},
    {OptionLevel::IP, OptionName::TypeOfService, IPPROTO_IP, IP_TOS},
    {OptionLevel::IP, OptionName::MulticastLoop, IPPROTO_IP, IP_MULTICAST_LOOP},
    {OptionLevel::TCP, OptionName::NoDelay, IPPROTO_TCP, TCP_NODELAY},
};

Option const * FindOption(int level, int name) {
    for (Option const & option : options)
        if (option.level == level && option.name == name)
            return &option;
    return nullptr;
}

// The system reports the same for a socket that has not been connected, one whose connection was
// reset, and one whose sending side is shut down.
unsigned int GetPipeError(int descriptor) {
    char byte;
    if (::recv(descriptor, &byte, 1, MSG_PEEK | MSG_DONTWAIT) < 0 && errno == ENOTCONN)
        return WSAError::NotConnected;
    tcp_info info{};
    socklen_t size = sizeof(info);
    bool const isGone = ::getsockopt(descriptor, IPPROTO_TCP, TCP_INFO, &info, &size) != 0 ||
                        info.tcpi_state == TCP_CLOSE;
    return isGone ? WSAError::ConnectionReset : WSAError::Shutdown;
}

// A socket-level option; -1 if it cannot be read.
int GetOption(int descriptor, int name) {
    int value = -1;
    socklen_t size = sizeof(value);
    return ::getsockopt(descriptor, SOL_SOCKET, name, &value, &size) == 0 ? value : -1;
}

bool IsBound(int descriptor) {
    NativeAddress native;
    return ::getsockname(descriptor, native.GetGeneral(), native.GetSize()) == 0 &&
           native.Get().port != 0;
}

// Whether other sockets that allow it, too, may bind the address of a stream, unless it listens;
// its connections inherit that.
void ShareAddress(int descriptor, bool isOn) {
    if (GetOption(descriptor, SO_TYPE) != SOCK_STREAM)
        return;
    int const value = isOn;
    ::setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &value, sizeof(value));
}

} // namespace

SocketCalls & GetPlatformSocketCalls() {
    static PosixSocketCalls calls;
    return calls;
}

unsigned int PosixSocketCalls::WSAStartup(unsigned short version) {
    if ((version & 0xFF) == 0)
        return WSAError::VersionNotSupported;
    starts.fetch_add(1, std::memory_order_relaxed);
    return WSAError::None;
}

unsigned int PosixSocketCalls::WSACleanup() {
    unsigned int count = starts.load(std::memory_order_relaxed);
    do {
        if (count == 0)
            return WSAError::NotInitialised;
    } while (!starts.compare_exchange_weak(count, count - 1, std::memory_order_relaxed));
    return WSAError::None;
}

unsigned int PosixSocketCalls::Socket(int type, SocketHandle * made) {
    bool const isStream = type == SocketType::Stream;
    return MadeResult(::socket(AF_INET, (isStream ? SOCK_STREAM : SOCK_DGRAM) | SOCK_CLOEXEC, 0),
                      made);
}

// Not repeated after a signal: the descriptor is closed nevertheless.
unsigned int PosixSocketCalls::CloseSocket(SocketHandle socket) {
    int const result = ::close(ToDescriptor(socket));
    return result < 0 && errno == EINTR ? WSAError::None : Result(result);
}

unsigned int PosixSocketCalls::Shutdown(SocketHandle socket, int direction) {
    static_assert(SHUT_RD == ShutdownDirection::Receive && SHUT_WR == ShutdownDirection::Send &&
                  SHUT_RDWR == ShutdownDirection::Both);
    return Result(::shutdown(ToDescriptor(socket), direction));
}

// Remains of closed connections allow it, and a socket that is only bound does not.
unsigned int PosixSocketCalls::Bind(SocketHandle socket, SocketAddress const & address) {
    int const descriptor = ToDescriptor(socket);
    sockaddr_in const native = ToNative(address);
    auto const bind = [&] { return Result(::bind(descriptor, AsGeneral(native), sizeof(native))); };
    unsigned int const error = bind();
    if (error != WSAError::AddressInUse || GetOption(descriptor, SO_REUSEADDR) != 0)
        return error;
    ShareAddress(descriptor, true);
    unsigned int const secondError = bind();
    ShareAddress(descriptor, false);
    return secondError;
}

unsigned int PosixSocketCalls::Listen(SocketHandle socket, int backlog) {
    ShareAddress(ToDescriptor(socket), true);
    return Result(::listen(ToDescriptor(socket), backlog));
}

unsigned int PosixSocketCalls::Accept(SocketHandle socket, SocketHandle * accepted,
                                      SocketAddress * peer) {
    NativeAddress native;
    unsigned int const error =
        MadeResult(Retry([&] {
                       return ::accept4(ToDescriptor(socket), native.GetGeneral(), native.GetSize(),
                                        SOCK_CLOEXEC | SOCK_NONBLOCK);
                   }),
                   accepted);
    if (error == WSAError::None && peer != nullptr)
        *peer = native.Get();
    return error;
}

// After a signal the connect continues asynchronously, like that of a non-blocking socket.
unsigned int PosixSocketCalls::Connect(SocketHandle socket, SocketAddress const & address) {
    if (IsBound(ToDescriptor(socket)))
        ShareAddress(ToDescriptor(socket), true);
    sockaddr_in const native = ToNative(address);
    int const result = ::connect(ToDescriptor(socket), AsGeneral(native), sizeof(native));
    if (result < 0 && (errno == EINPROGRESS || errno == EINTR))
        return WSAError::WouldBlock;
    return Result(result);
}

unsigned int PosixSocketCalls::Send(SocketHandle socket, char const * source, unsigned int count,
                                    unsigned int * sent) {
    ssize_t const result =
        Retry([&] { return ::send(ToDescriptor(socket), source, count, MSG_NOSIGNAL); });
    if (result < 0 && errno == EPIPE) {
        *sent = 0;
        return GetPipeError(ToDescriptor(socket));
    }
    return CountResult(result, sent);
}

unsigned int PosixSocketCalls::Recv(SocketHandle socket, char * destination, unsigned int count,
                                    unsigned int * received) {
    return CountResult(Retry([&] { return ::recv(ToDescriptor(socket), destination, count, 0); }),
                       received);
}

unsigned int PosixSocketCalls::SetNonBlocking(SocketHandle socket, bool isOn) {
    int value = isOn;
    return Result(::ioctl(ToDescriptor(socket), FIONBIO, &value));
}

unsigned int PosixSocketCalls::GetAvailable(SocketHandle socket, unsigned int * count) {
    int value = 0;
    int const result = ::ioctl(ToDescriptor(socket), FIONREAD, &value);
    return CountResult(result < 0 ? result : value, count);
}

unsigned int PosixSocketCalls::GetSockOpt(SocketHandle socket, int level, int name, int * value) {
    Option const * const option = FindOption(level, name);
    if (option == nullptr)
        return WSAError::NoProtocolOption;
    int found = 0;
    socklen_t size = sizeof(found);
    if (::getsockopt(ToDescriptor(socket), option->systemLevel, option->systemName, &found, &size) <
        0)
        return GetLastSocketError();
    if (level == OptionLevel::Socket && name == OptionName::Error)
        found = static_cast<int>(ToSocketError(found));
    else if (level == OptionLevel::Socket &&
             (name == OptionName::SendBufferSize || name == OptionName::ReceiveBufferSize))
        found /= 2; // the system adds its own needs to the size set
    *value = found;
    return WSAError::None;
}

unsigned int PosixSocketCalls::SetSockOpt(SocketHandle socket, int level, int name, int value) {
    Option const * const option = FindOption(level, name);
    if (option == nullptr)
        return WSAError::NoProtocolOption;
    return Result(::setsockopt(ToDescriptor(socket), option->systemLevel, option->systemName,
                               &value, sizeof(value)));
}

unsigned int PosixSocketCalls::GetLinger(SocketHandle socket, LingerTime * time) {
    linger found{};
    socklen_t size = sizeof(found);
    if (::getsockopt(ToDescriptor(socket), SOL_SOCKET, SO_LINGER, &found, &size) < 0)
        return GetLastSocketError();
    *time = {static_cast<unsigned short>(found.l_onoff),
             static_cast<unsigned short>(found.l_linger)};
    return WSAError::None;
}

unsigned int PosixSocketCalls::SetLinger(SocketHandle socket, LingerTime time) {
    linger const value{time.isOn, time.seconds};
    return Result(::setsockopt(ToDescriptor(socket), SOL_SOCKET, SO_LINGER, &value, sizeof(value)));
}

unsigned int PosixSocketCalls::GetSockName(SocketHandle socket, SocketAddress * address) {
    NativeAddress native;
    if (::getsockname(ToDescriptor(socket), native.GetGeneral(), native.GetSize()) < 0)
        return GetLastSocketError();
    *address = native.Get();
    return WSAError::None;
}

unsigned int PosixSocketCalls::GetPeerName(SocketHandle socket, SocketAddress * address) {
    NativeAddress native;
    if (::getpeername(ToDescriptor(socket), native.GetGeneral(), native.GetSize()) < 0)
        return GetLastSocketError();
    *address = native.Get();
    return WSAError::None;
}

unsigned int PosixSocketCalls::CreateSignal(SocketHandle * signal) {
    return MadeResult(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), signal);
}

// Would block only after 2^64 - 2 others, and the signal is raised then.
unsigned int PosixSocketCalls::RaiseSignal(SocketHandle signal) {
    eventfd_t const one = 1;
    ssize_t const result = Retry([&] { return ::write(ToDescriptor(signal), &one, sizeof(one)); });
    return result < 0 && errno != EAGAIN ? GetLastSocketError() : WSAError::None;
}

unsigned int PosixSocketCalls::CloseSignal(SocketHandle signal) {
    return CloseSocket(signal);
}

unsigned int PosixSocketCalls::FormatMessage(unsigned int error, char16_t * text,
                                             unsigned int size) {
    char const * const found = GetSocketErrorText(error);
    if (found == nullptr)
        return 0;
    char const * const end = found + std::char_traits<char>::length(found);
    unsigned int length = 0;
    for (char const * at = found; at < end && length < size;) {
        Mu::Internal::Utf8Character const character = Mu::Internal::DecodeUtf8Character(at, end);
        // The system's texts do not leave the first plane.
        text[length++] = static_cast<char16_t>(character.codePoint < 0x10000
                                                   ? character.codePoint
                                                   : Mu::Internal::ReplacementCharacter);
        at += character.size;
    }
    return length;
}

} // namespace IO::Socket
