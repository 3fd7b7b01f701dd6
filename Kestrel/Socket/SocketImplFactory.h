#pragma once

#include <Kestrel/Socket/SocketImpl.h>

namespace IO::Socket {

/// Creates the implementations of Socket and ServerSocket.
///
/// Memory:  the caller owns the result through the reference.
/// Threads: any.
/// Failure: Mu::OutOfMemoryException.
class KESTREL_API SocketImplFactory : public Mu::Allocated {
public:
    virtual ~SocketImplFactory();

    /// An implementation without a socket yet, with this timeout in milliseconds.
    virtual SocketImpl::Reference Create(unsigned int timeout) = 0;

protected:
    SocketImplFactory() = default;
};

/// TCP sockets of the system: the only kind there is.
class KESTREL_API TCPIPSocketImplFactory : public SocketImplFactory {
public:
    /// The only instance.
    static TCPIPSocketImplFactory & Get();

    SocketImpl::Reference Create(unsigned int timeout) override;

private:
    TCPIPSocketImplFactory() = default;
};

} // namespace IO::Socket
