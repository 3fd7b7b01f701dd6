#include <Kestrel/Socket/Platform/Windows/Winsock.h>

#include <Kestrel/Socket/Platform/NativeAddresses.h>
#include <Kestrel/Socket/Platform/Windows/WindowsSocketCalls.h>

namespace IO::Socket {
namespace {

static_assert(sizeof(SOCKET) == sizeof(SocketHandle) && INVALID_SOCKET == NoSocket);

unsigned int LastError() {
    return static_cast<unsigned int>(::WSAGetLastError());
}

unsigned int Result(int result) {
    return result == SOCKET_ERROR ? LastError() : WSAError::None;
}

unsigned int CountResult(int result, unsigned int * count) {
    *count = result < 0 ? 0 : static_cast<unsigned int>(result);
    return Result(result);
}

// Programs that the process starts do not inherit the socket.
unsigned int KeptResult(SOCKET socket, SocketHandle * made) {
    *made = socket;
    if (socket == INVALID_SOCKET)
        return LastError();
    ::SetHandleInformation(reinterpret_cast<HANDLE>(socket), HANDLE_FLAG_INHERIT, 0);
    return WSAError::None;
}

// Some systems reject a larger count in one send.
int Cut(unsigned int count) {
    return static_cast<int>(count < 0x7FFFFFFF ? count : 0x7FFFFFFF);
}

} // namespace

SocketCalls & GetPlatformSocketCalls() {
    static WindowsSocketCalls calls;
    return calls;
}

unsigned int WindowsSocketCalls::WSAStartup(unsigned short version) {
    WSADATA data;
    return static_cast<unsigned int>(::WSAStartup(version, &data));
}

unsigned int WindowsSocketCalls::WSACleanup() {
    return Result(::WSACleanup());
}

unsigned int WindowsSocketCalls::Socket(int type, SocketHandle * made) {
    return KeptResult(::socket(AF_INET, type == SocketType::Stream ? SOCK_STREAM : SOCK_DGRAM, 0),
                      made);
}

unsigned int WindowsSocketCalls::CloseSocket(SocketHandle socket) {
    return Result(::closesocket(socket));
}

unsigned int WindowsSocketCalls::Shutdown(SocketHandle socket, int direction) {
    static_assert(SD_RECEIVE == ShutdownDirection::Receive && SD_SEND == ShutdownDirection::Send &&
                  SD_BOTH == ShutdownDirection::Both);
    return Result(::shutdown(socket, direction));
}

unsigned int WindowsSocketCalls::Bind(SocketHandle socket, SocketAddress const & address) {
    sockaddr_in const native = ToNative(address);
    return Result(::bind(socket, AsGeneral(native), sizeof(native)));
}

unsigned int WindowsSocketCalls::Listen(SocketHandle socket, int backlog) {
    return Result(::listen(socket, backlog));
}

unsigned int WindowsSocketCalls::Accept(SocketHandle socket, SocketHandle * accepted,
                                        SocketAddress * peer) {
    NativeAddress native;
    unsigned int const error =
        KeptResult(::accept(socket, native.GetGeneral(), native.GetSize()), accepted);
    if (error != WSAError::None)
        return error;
    if (unsigned int const refused = SetNonBlocking(*accepted, true); refused != WSAError::None) {
        CloseSocket(*accepted);
        *accepted = NoSocket;
        return refused;
    }
    if (peer != nullptr)
        *peer = native.Get();
    return WSAError::None;
}

unsigned int WindowsSocketCalls::Connect(SocketHandle socket, SocketAddress const & address) {
    // Repeated after an attempt that failed, connect would start over and hide the failure.
    int failure = 0;
    int size = sizeof(failure);
    if (::getsockopt(socket, SOL_SOCKET, SO_ERROR, reinterpret_cast<char *>(&failure), &size) !=
            SOCKET_ERROR &&
        failure != 0)
        return static_cast<unsigned int>(failure);
    sockaddr_in const native = ToNative(address);
    return Result(::connect(socket, AsGeneral(native), sizeof(native)));
}

unsigned int WindowsSocketCalls::Send(SocketHandle socket, char const * source, unsigned int count,
                                      unsigned int * sent) {
    return CountResult(::send(socket, source, Cut(count), 0), sent);
}

unsigned int WindowsSocketCalls::Recv(SocketHandle socket, char * destination, unsigned int count,
                                      unsigned int * received) {
    return CountResult(::recv(socket, destination, Cut(count), 0), received);
}

unsigned int WindowsSocketCalls::SetNonBlocking(SocketHandle socket, bool isOn) {
    u_long value = isOn;
    return Result(::ioctlsocket(socket, static_cast<long>(FIONBIO), &value));
}

unsigned int WindowsSocketCalls::GetAvailable(SocketHandle socket, unsigned int * count) {
    u_long value = 0;
    unsigned int const error = Result(::ioctlsocket(socket, FIONREAD, &value));
    *count = error == WSAError::None ? static_cast<unsigned int>(value) : 0;
    return error;
}

unsigned int WindowsSocketCalls::GetSockOpt(SocketHandle socket, int level, int name, int * value) {
    int found = 0; // some options fill only one byte
    int size = sizeof(found);
    int const result = ::getsockopt(socket, level, name, reinterpret_cast<char *>(&found), &size);
    if (result != SOCKET_ERROR)
        *value = found;
    return Result(result);
}

unsigned int WindowsSocketCalls::SetSockOpt(SocketHandle socket, int level, int name, int value) {
    return Result(
        ::setsockopt(socket, level, name, reinterpret_cast<char const *>(&value), sizeof(value)));
}

unsigned int WindowsSocketCalls::GetLinger(SocketHandle socket, LingerTime * time) {
    linger found{};
    int size = sizeof(found);
    int const result =
        ::getsockopt(socket, SOL_SOCKET, SO_LINGER, reinterpret_cast<char *>(&found), &size);
    if (result != SOCKET_ERROR)
        *time = {found.l_onoff, found.l_linger};
    return Result(result);
}

unsigned int WindowsSocketCalls::SetLinger(SocketHandle socket, LingerTime time) {
    linger const value{time.isOn, time.seconds};
    return Result(::setsockopt(socket, SOL_SOCKET, SO_LINGER,
                               reinterpret_cast<char const *>(&value), sizeof(value)));
}

unsigned int WindowsSocketCalls::GetSockName(SocketHandle socket, SocketAddress * address) {
    NativeAddress native;
    int const result = ::getsockname(socket, native.GetGeneral(), native.GetSize());
    if (result != SOCKET_ERROR)
        *address = native.Get();
    return Result(result);
}

unsigned int WindowsSocketCalls::GetPeerName(SocketHandle socket, SocketAddress * address) {
    NativeAddress native;
    int const result = ::getpeername(socket, native.GetGeneral(), native.GetSize());
    if (result != SOCKET_ERROR)
        *address = native.Get();
    return Result(result);
}

unsigned int WindowsSocketCalls::CreateSignal(SocketHandle * signal) {
    SocketHandle made;
    unsigned int error = Socket(SocketType::Datagram, &made);
    if (error == WSAError::None) {
        SocketAddress address{InternetFamily, 0, {127, 0, 0, 1}};
        error = Bind(made, address);
        if (error == WSAError::None)
            error = GetSockName(made, &address);
        if (error == WSAError::None)
            error = Connect(made, address); // it receives nothing from others then
        if (error == WSAError::None)
            error = SetNonBlocking(made, true);
        if (error != WSAError::None) {
            CloseSocket(made);
            made = NoSocket;
        }
    }
    *signal = made;
    return error;
}

// WouldBlock: earlier ones are still pending.
unsigned int WindowsSocketCalls::RaiseSignal(SocketHandle signal) {
    char const one = 1;
    unsigned int sent;
    unsigned int const error = Send(signal, &one, 1, &sent);
    return error == WSAError::WouldBlock ? WSAError::None : error;
}

unsigned int WindowsSocketCalls::CloseSignal(SocketHandle signal) {
    return CloseSocket(signal);
}

unsigned int WindowsSocketCalls::FormatMessage(unsigned int error, char16_t * text,
                                               unsigned int size) {
    wchar_t * found = nullptr;
    constexpr DWORD flags =
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
    DWORD const length =
        ::FormatMessageW(flags, nullptr, error, 0, reinterpret_cast<wchar_t *>(&found), 0, nullptr);
    if (length == 0)
        return 0;
    unsigned int const taken = length < size ? static_cast<unsigned int>(length) : size;
    std::memcpy(text, found, taken * sizeof(wchar_t));
    ::LocalFree(found);
    return taken;
}

// The calls of the resolver.

unsigned int WindowsSocketCalls::GetHostName(char * name, unsigned int size) {
    return Result(::gethostname(name, Cut(size)));
}

unsigned int WindowsSocketCalls::GetAddrInfo(char const * name, AddressList * list) {
    return static_cast<unsigned int>(FindAddresses(name, list));
}

void WindowsSocketCalls::ReadAddrInfo(AddressList * place, AddressInfo * entry) {
    *entry = TakeEntry(place);
}

void WindowsSocketCalls::FreeAddrInfo(AddressList list) {
    if (list != nullptr)
        ::freeaddrinfo(static_cast<addrinfo *>(list));
}

unsigned int WindowsSocketCalls::GetNameInfo(SocketAddress const & address, char * host,
                                             unsigned int hostSize, char * service,
                                             unsigned int serviceSize) {
    sockaddr_in const native = ToNative(address);
    return static_cast<unsigned int>(
        ::getnameinfo(AsGeneral(native), sizeof(native), host, hostSize, service, serviceSize, 0));
}

unsigned int WindowsSocketCalls::GetHostByAddr(unsigned char const (&address)[4], char * name,
                                               unsigned int size) {
    hostent const * const host =
        ::gethostbyaddr(reinterpret_cast<char const *>(address), sizeof(address), AF_INET);
    return host != nullptr ? CopyName(*host, name, size) : LastError();
}

unsigned int WindowsSocketCalls::GetHostByName(char const * name, unsigned char (&address)[4]) {
    hostent const * const host = ::gethostbyname(name);
    return host != nullptr ? CopyAddress(*host, address) : LastError();
}

} // namespace IO::Socket
