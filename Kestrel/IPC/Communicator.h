#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Memory/Memory.h>

namespace IO::IPC {

/// Whatever owns a socket that the pool looks after: a listening server, either end of a connection,
/// or a host's own.
///
/// A derived class sets the socket, registers itself with CommunicatorPool, and unregisters before
/// the socket closes.
///
/// Threads: the one that drives the pool.
class KESTREL_API Communicator : public Mu::Allocated {
public:
    virtual ~Communicator();
    Communicator(Communicator const &) = delete;
    Communicator & operator=(Communicator const &) = delete;

    /// Whether ProcessWrite is to be called at every pass, even when the socket takes nothing.
    virtual bool AlwaysWrite() const;
    /// There is something to read, or to accept, or the peer has gone.
    virtual void ProcessRead() = 0;
    /// The socket takes bytes.
    virtual void ProcessWrite() = 0;
    /// The socket is in error or closed. The object may delete itself here; the pool does not touch
    /// it any more.
    virtual void ProcessError() = 0;

    unsigned long long GetSocket() const { return socket; }

protected:
    /// Makes sure that the pool is there, and outlives this.
    Communicator();

    unsigned long long socket = 0;
};

} // namespace IO::IPC
