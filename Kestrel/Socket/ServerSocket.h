#pragma once

#include <Kestrel/Socket/Socket.h>

namespace IO::Socket {

/// Listens for TCP connections and returns each as a Socket.
///
/// For a thread that may block; another thread ends the wait by Mu::Thread::Interrupt or Cancel of
/// the blocked one, which then throws Mu::InterruptedIOException. Copies share the socket, which is
/// closed with the last of them and not before.
///
/// Memory, threads and failure are as for Socket.
class KESTREL_API ServerSocket : public Mu::Allocated {
public:
    /// Listens at once. InternetAddress::Any stands for every address of this machine. Port 0 lets
    /// the system choose; see GetLocalPort. `backlog` is the number of connections that may wait to
    /// be accepted, within the system's limit. SocketAddressAlreadyUsedException: the port is in
    /// use. A failed constructor leaves nothing open.
    ServerSocket(unsigned short port, unsigned int backlog, InternetAddress const & address);
    ServerSocket(ServerSocket const &) noexcept = default;
    ServerSocket & operator=(ServerSocket const &) noexcept = default;
    virtual ~ServerSocket();

    /// Returns the next connection. Waits up to the timeout and then throws SocketTimeoutException,
    /// unlike the other overload.
    Mu::Ref<Socket, Mu::AtomicCounter> Accept();
    /// Waits up to the milliseconds, 0 for no limit; an empty reference if there was no connection.
    Mu::Ref<Socket, Mu::AtomicCounter> Accept(unsigned int milliseconds);
    /// Whether a connection is waiting to be accepted. Does not block.
    bool IsPending() const { return impl->IsPending(); }

    // Kept: the peer, which a listening socket does not have; the local address is not shown.
    /// Always empty.
    SocketImpl::AddressReference GetInetAddress() const { return impl->GetInternetAddress(); }
    unsigned short GetLocalPort() const { return impl->GetLocalPort(); }
    /// The timeout of Accept in milliseconds; 0 for no limit.
    unsigned int GetTimeout() const { return impl->GetTimeout(); }
    void SetTimeout(unsigned int milliseconds) { impl->SetTimeout(milliseconds); }

    // Kept: hosts close a server and continue to accept with a copy.
    /// Does nothing: a listening socket is closed with its last copy.
    void Close() { impl->Close(); }

    /// Whether both are copies of one socket.
    friend KESTREL_API bool operator==(ServerSocket const & a, ServerSocket const & b);

private:
    static Mu::Ref<Socket, Mu::AtomicCounter> Wrap(SocketImpl::Reference accepted);

    SocketImpl::Reference impl;
};

} // namespace IO::Socket
