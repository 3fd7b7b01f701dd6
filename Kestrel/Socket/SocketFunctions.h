#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Text/String.h>
#include <Kestrel/Socket/FDSet.h>
#include <Kestrel/Socket/SockAddr.h>

// Sockets as plain numbers and statuses, for a host that looks after many connections on one thread
// and never waits: put the sockets into sets, Select, and serve those that are ready. For one
// connection that may wait, use Socket.
//
// Memory:  none, but for texts.
// Threads: one at a time for all of them, since they share GetLastError.
// Failure: what returns int returns NoError or Error, and GetLastError says why. Only a text
//          throws, Mu::OutOfMemoryException.

namespace IO::Socket {

/// Why a function below failed, the same on every platform.
enum SocketError {
    ConnectionRefused,
    AddressInUse,
    NotConnected,
    ConnectionClosed, ///< the peer sends no more; only from Recv
    ConnectionReset,
    WouldBlock, ///< nothing to do now: Select will say when
    InProgress,
    AlreadyConnected,
    OtherSocketError
};

/// Starts the system's sockets, as the library does by itself. Any number of times, each with its
/// NetworkShutdown.
KESTREL_API int NetworkInit();
KESTREL_API int NetworkShutdown();

/// A stream that does not block, with buffers of 32,768 bytes each way. Whether the system had one
/// to give, see InvalidSocket.
KESTREL_API unsigned long long Create();
/// The handle is gone even after a failure.
KESTREL_API int Close(unsigned long long socket);
KESTREL_API bool InvalidSocket(unsigned long long socket);
/// Of the last function that failed; what succeeds leaves it as it is.
KESTREL_API SocketError GetLastError();

/// To all addresses of this machine. Only the low 16 bits of a port count, here and below; 0 lets
/// the system choose.
KESTREL_API int Bind(unsigned long long socket, unsigned int port);
/// To the loopback address alone, so that only programs of this machine can connect.
KESTREL_API int BindLoopback(unsigned long long socket, unsigned int port);
KESTREL_API int Listen(unsigned long long socket);
/// The connection, which does not block either, or an invalid socket. `peer` may be null.
KESTREL_API unsigned long long Accept(unsigned long long socket, SockAddr * peer);
/// Resolves the name, for which it does wait, and then begins to connect. WouldBlock or InProgress:
/// it is under way; AlreadyConnected, later: it stands.
KESTREL_API int Connect(unsigned long long socket, Mu::String const & host, unsigned int port);

/// May send less than `length`, which `*sent` receives; 0 after a failure.
KESTREL_API int Send(unsigned long long socket, void const * data, unsigned int length,
                     unsigned int * sent);
/// Up to `length` bytes. The peer's end is a failure: ConnectionClosed. `*received` is 0 after one.
KESTREL_API int Recv(unsigned long long socket, void * data, unsigned int length,
                     unsigned int * received);

/// Leaves in each set what is ready: to read or accept; to write, or connected; failed to connect,
/// or with an error or out-of-band data. Sets may be null, but not all may be empty. Waits at most
/// as long as the two times say together, of which null ones are 0; never without limit. `*count`
/// is how many stand in all the sets together afterwards, and -1 after a failure, such as a socket
/// in them that is closed; the sets are then as they were.
KESTREL_API int Select(int * count, FDSet * read, FDSet * write, FDSet * except, int * seconds,
                       int * microseconds);

/// The other end of a connection, in dotted form.
KESTREL_API int GetPeer(unsigned long long socket, Mu::String & host, unsigned int & port);

} // namespace IO::Socket
