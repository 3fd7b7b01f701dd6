#include <Kestrel/Socket/Internal/WinSocketImpl.h>

#include <Kestrel/Socket/Internal/ErrorText.h>
#include <Kestrel/Socket/Platform/SocketCalls.h>
#include <Kestrel/Socket/SocketExceptions.h>

#include <algorithm>
#include <utility>

namespace IO::Socket {
namespace {

SocketAddress ToSocketAddress(InternetAddress const & address, unsigned short port) {
    unsigned char const * const bytes = address.GetAddress();
    return {InternetFamily, port, {bytes[0], bytes[1], bytes[2], bytes[3]}};
}

SocketImpl::AddressReference MakeAddress(SocketAddress const & address) {
    unsigned char const(&bytes)[4] = address.address;
    return SocketImpl::AddressReference(
        new InternetAddress(bytes[0], bytes[1], bytes[2], bytes[3]));
}

// A socket of the system, closed unless it is released.
class NewSocket {
public:
    NewSocket() = default;
    ~NewSocket() {
        if (handle != NoSocket)
            GetSocketCalls().CloseSocket(handle);
    }
    NewSocket(NewSocket const &) = delete;
    NewSocket & operator=(NewSocket const &) = delete;

    SocketHandle * Get() { return &handle; }
    SocketHandle Release() { return std::exchange(handle, NoSocket); }

private:
    SocketHandle handle = NoSocket;
};

constexpr char connectFailed[] = "Socket connect failed.";
// Kept: hosts search for the text in this spelling.
constexpr char laterConnectFailed[] = "Socked connect failed.";
constexpr char connectTimedOut[] = "Socked connect timed out.";
constexpr char bindFailed[] = "Socket bind failed.";
constexpr char acceptFailed[] = "Failed to accept the incoming connection.";
constexpr char acceptLocalFailed[] =
    "Failed to accept the incoming connection: failed to get local address.";

} // namespace

WinSocketImpl::~WinSocketImpl() {
    Close();
}

void WinSocketImpl::Create(bool stream) {
    NewSocket made;
    unsigned int error =
        GetSocketCalls().Socket(stream ? SocketType::Stream : SocketType::Datagram, made.Get());
    if (error != WSAError::None)
        Throw<SocketException>("Failed to create communication socket.", error);
    handle.Set(*made.Get()); // replaces that of an earlier Create
    error = GetSocketCalls().SetNonBlocking(made.Release(), true);
    if (error != WSAError::None)
        Throw<SocketException>("Failed to enable non-blocking mode on communication socket.",
                               error);
}

// Kept: a listening socket remains open, since only connected ones are closed here. The handle is
// removed before others are woken, so that they see the reason.
void WinSocketImpl::Close() {
    if (!connected.exchange(false))
        return;
    SharedHandle::Use const socket(handle);
    handle.Close();
    GetSocketCalls().Shutdown(socket.GetHandle(), ShutdownDirection::Both);
    signal.Interrupt();
}

void WinSocketImpl::Connect(Mu::String const & host, unsigned short port) {
    Connect(InternetAddress::GetByName(host), port);
}

void WinSocketImpl::Connect(InternetAddress const & address, unsigned short port) {
    SharedHandle::Use const socket(handle);
    peer = ToSocketAddress(address, port);
    unsigned int const error = GetSocketCalls().Connect(socket.GetHandle(), peer);
    if (error != WSAError::None && error != WSAError::WouldBlock)
        Throw<SocketConnectException>(connectFailed, error);
    FinishConnect(socket, error);
    if (localAddress.IsNull() && localPort == 0) {
        SocketAddress local;
        unsigned int const unnamed = GetSocketCalls().GetSockName(socket.GetHandle(), &local);
        if (unnamed != WSAError::None)
            Throw<SocketConnectException>(laterConnectFailed, unnamed);
        if (local.family != InternetFamily)
            throw SocketConnectException(laterConnectFailed, __FILE__, __LINE__);
        KeepLocalEnd(local);
    }
    if (remoteAddress.IsNull() && remotePort == 0) {
        remoteAddress = AddressReference(new InternetAddress(address));
        remotePort = port;
    }
    connected = true;
}

void WinSocketImpl::FinishConnect(SharedHandle::Use const & socket, unsigned int lastError) {
    unsigned char ready;
    unsigned int const error = Wait(socket, PollEvent::Write, GetTimeout(), &ready);
    if (error != WSAError::None)
        Throw<SocketConnectException>(laterConnectFailed, error);
    if (ready == 0)
        throw SocketTimeoutException(connectTimedOut, __FILE__, __LINE__);
    if ((ready & PollEvent::Except) == 0)
        return;
    int value;
    unsigned int const unread = GetSocketCalls().GetSockOpt(socket.GetHandle(), OptionLevel::Socket,
                                                            OptionName::Error, &value);
    // Kept: of the errors during the wait for a connection, only a refusal is reported as such; the
    // others carry the number of the last call that failed, usually that of the connect.
    if (unread != WSAError::None)
        lastError = unread;
    else if (value == static_cast<int>(WSAError::ConnectionRefused))
        lastError = WSAError::ConnectionRefused;
    Throw<SocketConnectException>(connectFailed, lastError);
}

void WinSocketImpl::KeepLocalEnd(SocketAddress const & address) {
    localAddress = MakeAddress(address);
    localPort = address.port;
}

void WinSocketImpl::ShutdownOutput() {
    unsigned int const error =
        GetSocketCalls().Shutdown(SharedHandle::Use(handle).GetHandle(), ShutdownDirection::Send);
    if (error != WSAError::None)
        Throw<SocketException>("Socket output shutdown failed.", error);
}

void WinSocketImpl::ShutdownInput() {
    unsigned int const error = GetSocketCalls().Shutdown(SharedHandle::Use(handle).GetHandle(),
                                                         ShutdownDirection::Receive);
    if (error != WSAError::None)
        Throw<SocketException>("Socket input shutdown failed.", error);
}

void WinSocketImpl::Bind(InternetAddress const & address, unsigned short port) {
    SharedHandle::Use const socket(handle);
    unsigned int error = GetSocketCalls().Bind(socket.GetHandle(), ToSocketAddress(address, port));
    if (error == WSAError::AddressInUse)
        Throw<SocketAddressAlreadyUsedException>(bindFailed, error);
    if (error != WSAError::None)
        Throw<SocketException>(bindFailed, error);
    SocketAddress local;
    error = GetSocketCalls().GetSockName(socket.GetHandle(), &local);
    if (error != WSAError::None)
        Throw<SocketException>(bindFailed, error);
    KeepLocalEnd(local);
}

void WinSocketImpl::Listen(unsigned int backlog) {
    unsigned int const error = GetSocketCalls().Listen(
        SharedHandle::Use(handle).GetHandle(), static_cast<int>(std::min(backlog, 0x7FFFFFFFu)));
    if (error != WSAError::None)
        Throw<SocketException>("Failed to place the socket in a state in which it is listening for "
                               "an incoming connection.",
                               error);
}

bool WinSocketImpl::IsPending() {
    SharedHandle::Use const socket(handle);
    PollEntry entry{socket.GetHandle(), PollEvent::Read, 0};
    unsigned int ready;
    unsigned int const error = GetSocketCalls().Poll(&entry, 1, 0, &ready);
    if (error != WSAError::None)
        Throw<SocketException>("Failed to determine if there are pending connection requests.",
                               error);
    return ready != 0;
}

SocketImpl::Reference WinSocketImpl::Accept() {
    Reference accepted = Accept(GetTimeout());
    if (accepted.IsNull())
        throw SocketTimeoutException("Socket accept timed out.", __FILE__, __LINE__);
    return accepted;
}

SocketImpl::Reference WinSocketImpl::Accept(unsigned int milliseconds) {
    SharedHandle::Use const socket(handle);
    unsigned char ready;
    unsigned int const error = Wait(socket, PollEvent::Read, milliseconds, &ready);
    if (error != WSAError::None)
        Throw<SocketException>(acceptFailed, error);
    if (ready & PollEvent::Except)
        Throw<SocketConnectException>(acceptFailed, TakeError(socket));
    return ready != 0 ? AcceptNow(socket) : Reference();
}

SocketImpl::Reference WinSocketImpl::AcceptNow(SharedHandle::Use const & socket) {
    NewSocket accepted;
    SocketAddress from;
    unsigned int error = GetSocketCalls().Accept(socket.GetHandle(), accepted.Get(), &from);
    if (error != WSAError::None)
        Throw<SocketException>(acceptFailed, error);
    if (from.family != InternetFamily)
        throw SocketException(acceptFailed, __FILE__, __LINE__);
    // Kept: the local end is that of the listening socket, and so 0.0.0.0 if that listens on any
    // address.
    SocketAddress local;
    error = GetSocketCalls().GetSockName(socket.GetHandle(), &local);
    if (error != WSAError::None)
        Throw<SocketConnectException>(acceptLocalFailed, error);
    if (local.family != InternetFamily)
        throw SocketConnectException(acceptLocalFailed, __FILE__, __LINE__);

    WinSocketImpl * const made = new WinSocketImpl();
    Reference result(made);
    made->KeepLocalEnd(local);
    made->remoteAddress = MakeAddress(from);
    made->remotePort = from.port;
    made->peer = from;
    made->handle.Set(*accepted.Get());
    accepted.Release();
    made->connected = true;
    return result;
}

bool WinSocketImpl::Equals(SocketImpl const & other) {
    auto const * const same = dynamic_cast<WinSocketImpl const *>(&other);
    return same != nullptr && same->handle.Get() == handle.Get();
}

} // namespace IO::Socket
