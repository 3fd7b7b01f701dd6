#pragma once

#include <Kestrel/Socket/SocketExceptions.h>
#include <Kestrel/Socket/SocketImpl.h>

namespace IO::Socket {

/// A connection over TCP, read and written through two binary channels.
///
/// For a thread that may wait for its peer; another thread ends the wait by Mu::Thread::Interrupt or
/// Cancel of the waiting one, which then throws Mu::InterruptedIOException with "Socket interrupted.",
/// and the connection is as good as before. To look after many connections on one thread, use the
/// functions in SocketFunctions.h.
///
/// A Socket is connected when its constructor has run. Copies share the connection, which ends by
/// Close or with the last of them.
///
/// Memory:  one block for what the copies share, a few for the addresses; a call that reads or writes
///          takes none, but for the first that has to wait and the first behind an interruption.
/// Threads: copies may go to other threads. One thread reads, another one writes; interrupting one
///          of them ends the wait of the other, too, with a SocketException.
/// Failure: SocketException and what derives from it, Mu::InterruptedIOException,
///          Mu::OutOfMemoryException.
class KESTREL_API Socket : public Mu::Allocated {
public:
    /// Connects within 30 seconds and sets no timeout for what follows. SocketConnectException: the
    /// peer refuses or cannot be reached. SocketTimeoutException: it says nothing. Nothing remains
    /// after a failure.
    Socket(InternetAddress const & address, unsigned short port);
    /// From a local address and port; 0 lets the system choose. SocketAddressAlreadyUsedException: it
    /// is taken.
    Socket(InternetAddress const & address, unsigned short port,
           InternetAddress const & localAddress, unsigned short localPort);
    /// Resolves the name first; UnknownHostException.
    Socket(char const * host, unsigned short port);
    Socket(char const * host, unsigned short port, InternetAddress const & localAddress,
           unsigned short localPort);
    Socket(Socket const &) noexcept = default;
    Socket & operator=(Socket const &) noexcept = default;
    virtual ~Socket();

    /// The peer, shared with the connection.
    SocketImpl::AddressReference GetInternetAddress() const { return impl->GetInternetAddress(); }
    unsigned short GetPort() const { return impl->GetPort(); }
    /// This end. Of an accepted connection, what the server was bound to, which may be 0.0.0.0.
    SocketImpl::AddressReference GetLocalInternetAddress() const {
        return impl->GetLocalInternetAddress();
    }
    unsigned short GetLocalPort() const { return impl->GetLocalPort(); }

    /// Milliseconds for each wait of a read or write from the next one on, for all copies; 0 waits
    /// without limit. SocketTimeoutException: they were over.
    unsigned int GetTimeout() const { return impl->GetTimeout(); }
    void SetTimeout(unsigned int milliseconds) { impl->SetTimeout(milliseconds); }

    bool GetKeepAlive() const;
    void SetKeepAlive(bool isOn);
    /// Whether urgent data stands among the rest. Else it ends waiting reads and writes with a
    /// SocketConnectException.
    bool GetOOBInline() const;
    void SetOOBInline(bool isOn);
    bool GetReuseAddress() const;
    void SetReuseAddress(bool isOn);
    /// Whether small writes go out at once instead of being gathered.
    bool GetTCPNoDelay() const;
    void SetTCPNoDelay(bool isOn);
    /// Bytes; the system may take another size near it.
    unsigned int GetReceiveBufferSize() const;
    void SetReceiveBufferSize(unsigned int size);
    unsigned int GetSendBufferSize() const;
    void SetSendBufferSize(unsigned int size);

    /// What the peer writes; 0 bytes are its end. Valid as long as a copy of this socket.
    Mu::IBinaryChannel & GetInputChannel() const { return impl->GetInputChannel(); }
    Mu::OBinaryChannel & GetOutputChannel() const { return impl->GetOutputChannel(); }

    /// Ends the connection for all copies; reads and writes under way fail. Repeated calls do
    /// nothing.
    void Close() { impl->Close(); }

    /// Copies of one socket; not two connections with the same ends.
    friend KESTREL_API bool operator==(Socket const & a, Socket const & b);

protected:
    /// Takes a share in what is connected already.
    explicit Socket(SocketImpl::Reference taken) noexcept : impl(std::move(taken)) {}

private:
    friend class ServerSocket;
    template <typename Connect>
    void Open(InternetAddress const * localAddress, unsigned short localPort, Connect connect);

    SocketImpl::Reference impl;
};

} // namespace IO::Socket
