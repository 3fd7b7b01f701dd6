#pragma once

#include <Kestrel/Socket/SocketImpl.h>

namespace IO::Socket {

/// Makes what works behind a Socket or a ServerSocket.
///
/// Memory:  what it makes belongs to the reference.
/// Threads: any.
/// Failure: Mu::OutOfMemoryException.
class KESTREL_API SocketImplFactory : public Mu::Allocated {
public:
    virtual ~SocketImplFactory();

    /// One without a socket yet, and with that timeout in milliseconds.
    virtual SocketImpl::Reference Create(unsigned int timeout) = 0;

protected:
    SocketImplFactory() = default;
};

/// TCP by the sockets of the system: the only kind there is.
class KESTREL_API TCPIPSocketImplFactory : public SocketImplFactory {
public:
    /// The one instance.
    static TCPIPSocketImplFactory & Get();

    SocketImpl::Reference Create(unsigned int timeout) override;

private:
    TCPIPSocketImplFactory() = default;
};

} // namespace IO::Socket
