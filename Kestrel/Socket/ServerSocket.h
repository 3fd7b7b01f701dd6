#pragma once

#include <Kestrel/Socket/Socket.h>

namespace IO::Socket {

/// Waits for connections over TCP and hands each out as a Socket.
///
/// For a thread that may wait; another thread ends that by Mu::Thread::Interrupt or Cancel of the
/// waiting one, which then throws Mu::InterruptedIOException. Copies share the socket, which ends with
/// the last of them and not before.
///
/// Memory, threads and failure are those of Socket.
class KESTREL_API ServerSocket : public Mu::Allocated {
public:
    /// Listens at once; InternetAddress::Any is every address of this machine. Port 0 lets the
    /// system choose, see GetLocalPort. `backlog` connections may wait to be accepted, as far as
    /// the system allows. SocketAddressAlreadyUsedException: the port is in use. Nothing remains
    /// after a failure.
    ServerSocket(unsigned short port, unsigned int backlog, InternetAddress const & address);
    ServerSocket(ServerSocket const &) noexcept = default;
    ServerSocket & operator=(ServerSocket const &) noexcept = default;
    virtual ~ServerSocket();

    /// The next connection. Waits as long as the timeout; SocketTimeoutException behind it, unlike the
    /// other one.
    Mu::Ref<Socket, Mu::AtomicCounter> Accept();
    /// Waits so many milliseconds, 0 without limit; an empty reference if there was no connection.
    Mu::Ref<Socket, Mu::AtomicCounter> Accept(unsigned int milliseconds);
    /// Whether a connection waits to be accepted. Does not wait.
    bool IsPending() const { return impl->IsPending(); }

    // Kept: this is the peer, which a listening socket has not; the local address is not shown.
    /// Always empty.
    SocketImpl::AddressReference GetInetAddress() const { return impl->GetInternetAddress(); }
    unsigned short GetLocalPort() const { return impl->GetLocalPort(); }
    /// Milliseconds for Accept; 0 waits without limit.
    unsigned int GetTimeout() const { return impl->GetTimeout(); }
    void SetTimeout(unsigned int milliseconds) { impl->SetTimeout(milliseconds); }

    // Kept: hosts close a server and continue to accept with a copy.
    /// Does nothing: a listening socket ends with the last copy.
    void Close() { impl->Close(); }

    /// Copies of one socket.
    friend KESTREL_API bool operator==(ServerSocket const & a, ServerSocket const & b);

private:
    static Mu::Ref<Socket, Mu::AtomicCounter> Wrap(SocketImpl::Reference accepted);

    SocketImpl::Reference impl;
};

} // namespace IO::Socket
