#pragma once

#include <Kestrel/Socket/SocketExceptions.h>
#include <Kestrel/Socket/SocketImpl.h>

namespace IO::Socket {

/// A TCP connection, read and written through two binary channels.
///
/// For a thread that may block; another thread ends the wait by Mu::Thread::Interrupt or Cancel of
/// the blocked one, which then throws Mu::InterruptedIOException with "Socket interrupted."; the
/// connection remains usable. To serve many connections on one thread, use the functions in
/// SocketFunctions.h.
///
/// The constructor returns with the connection established. Copies share it; it is closed by Close
/// or with the last copy.
///
/// Memory:  one block for the state that copies share, and a few for the addresses. Reading and
///          writing allocate nothing, except the first call that has to wait and the first one
///          after an interruption.
/// Threads: copies may be used on other threads. One thread reads, another one writes; interrupting
///          one of them also ends the wait of the other, with a SocketException.
/// Failure: SocketException and its derived classes, Mu::InterruptedIOException,
///          Mu::OutOfMemoryException.
class KESTREL_API Socket : public Mu::Allocated {
public:
    /// Connects within 30 seconds, and sets no timeout for later calls. SocketConnectException: the
    /// peer refuses the connection or is unreachable. SocketTimeoutException: it does not respond.
    /// A failed constructor leaves nothing open.
    Socket(InternetAddress const & address, unsigned short port);
    /// Connects from a local address and port; 0 lets the system choose.
    /// SocketAddressAlreadyUsedException: the port is in use.
    Socket(InternetAddress const & address, unsigned short port,
           InternetAddress const & localAddress, unsigned short localPort);
    /// Resolves the name first; throws UnknownHostException.
    Socket(char const * host, unsigned short port);
    Socket(char const * host, unsigned short port, InternetAddress const & localAddress,
           unsigned short localPort);
    Socket(Socket const &) noexcept = default;
    Socket & operator=(Socket const &) noexcept = default;
    virtual ~Socket();

    /// The address of the peer, shared with the connection.
    SocketImpl::AddressReference GetInternetAddress() const { return impl->GetInternetAddress(); }
    unsigned short GetPort() const { return impl->GetPort(); }
    /// The local address. For an accepted connection, the address that the server is bound to,
    /// which may be 0.0.0.0.
    SocketImpl::AddressReference GetLocalInternetAddress() const {
        return impl->GetLocalInternetAddress();
    }
    unsigned short GetLocalPort() const { return impl->GetLocalPort(); }

    /// The timeout in milliseconds of each later wait of a read or write, for all copies; 0 for no
    /// limit. A wait that exceeds it throws SocketTimeoutException.
    unsigned int GetTimeout() const { return impl->GetTimeout(); }
    void SetTimeout(unsigned int milliseconds) { impl->SetTimeout(milliseconds); }

    bool GetKeepAlive() const;
    void SetKeepAlive(bool isOn);
    /// Whether urgent data is delivered inline. Otherwise it ends waiting reads and writes with a
    /// SocketConnectException.
    bool GetOOBInline() const;
    void SetOOBInline(bool isOn);
    bool GetReuseAddress() const;
    void SetReuseAddress(bool isOn);
    /// Whether small writes are sent at once instead of being combined (TCP_NODELAY).
    bool GetTCPNoDelay() const;
    void SetTCPNoDelay(bool isOn);
    /// In bytes; the system may choose another size close to it.
    unsigned int GetReceiveBufferSize() const;
    void SetReceiveBufferSize(unsigned int size);
    unsigned int GetSendBufferSize() const;
    void SetSendBufferSize(unsigned int size);

    /// What the peer sends; reading 0 bytes means that it has closed the connection. Valid as long
    /// as a copy of this socket exists.
    Mu::IBinaryChannel & GetInputChannel() const { return impl->GetInputChannel(); }
    Mu::OBinaryChannel & GetOutputChannel() const { return impl->GetOutputChannel(); }

    /// Closes the connection for all copies; reads and writes in progress fail. Further calls do
    /// nothing.
    void Close() { impl->Close(); }

    /// Whether both are copies of one socket; two connections between the same addresses are not
    /// equal.
    friend KESTREL_API bool operator==(Socket const & a, Socket const & b);

protected:
    /// Shares an established connection.
    explicit Socket(SocketImpl::Reference taken) noexcept : impl(std::move(taken)) {}

private:
    friend class ServerSocket;
    template <typename Connect>
    void Open(InternetAddress const * localAddress, unsigned short localPort, Connect connect);

    SocketImpl::Reference impl;
};

} // namespace IO::Socket
