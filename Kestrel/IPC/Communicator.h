#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Memory/Memory.h>

namespace IO::IPC {

/// An owner of a socket that the pool serves: a listening server, either end of a connection, or a
/// class of the host.
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

    /// Whether ProcessWrite is called on every pass, even if the socket is not writable.
    virtual bool AlwaysWrite() const;
    /// There is data to read or a connection to accept, or the peer has closed the connection.
    virtual void ProcessRead() = 0;
    /// The socket is writable.
    virtual void ProcessWrite() = 0;
    /// The socket has an error or is closed. The object may delete itself here; the pool does not
    /// access it afterwards.
    virtual void ProcessError() = 0;

    unsigned long long GetSocket() const { return socket; }

protected:
    /// Ensures that the pool exists, and outlives this object.
    Communicator();

    unsigned long long socket = 0;
};

} // namespace IO::IPC
