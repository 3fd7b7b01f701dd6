#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Text/String.h>
#include <Kestrel/Socket/FDSet.h>
#include <Kestrel/Socket/SockAddr.h>

// Sockets as plain numbers and statuses, for a host that serves many connections on one thread and
// never blocks: put the sockets into sets, call Select, and serve those that are ready. For a
// single connection that may block, use Socket.
//
// Memory:  none, except for texts.
// Threads: one at a time for all functions, as they share GetLastError.
// Failure: functions that return int return NoError or Error, and GetLastError returns the cause.
//          Only those that return a text throw, Mu::OutOfMemoryException.

namespace IO::Socket {

/// Why a function below failed; the same values on every platform.
enum SocketError {
    ConnectionRefused,
    AddressInUse,
    NotConnected,
    ConnectionClosed, ///< the peer has closed its side; only from Recv
    ConnectionReset,
    WouldBlock, ///< not possible now: Select reports when it is
    InProgress,
    AlreadyConnected,
    OtherSocketError
};

/// Starts the system's socket library, as this library does by itself. May be called any number of
/// times, each with a matching NetworkShutdown.
KESTREL_API int NetworkInit();
KESTREL_API int NetworkShutdown();

/// Creates a non-blocking stream socket with buffers of 32,768 bytes in each direction. Test the
/// result with InvalidSocket.
KESTREL_API unsigned long long Create();
/// The handle is invalid afterwards even if the function fails.
KESTREL_API int Close(unsigned long long socket);
KESTREL_API bool InvalidSocket(unsigned long long socket);
/// The error of the last function that failed; a successful one leaves it unchanged.
KESTREL_API SocketError GetLastError();

/// Binds to all addresses of this machine. Only the low 16 bits of a port are used, here and below;
/// 0 lets the system choose.
KESTREL_API int Bind(unsigned long long socket, unsigned int port);
/// Binds to the loopback address, so that only programs on this machine can connect.
KESTREL_API int BindLoopback(unsigned long long socket, unsigned int port);
KESTREL_API int Listen(unsigned long long socket);
/// Returns the connection, which is non-blocking, too, or an invalid socket. `peer` may be null.
KESTREL_API unsigned long long Accept(unsigned long long socket, SockAddr * peer);
/// Resolves the name, which blocks, and then starts to connect. WouldBlock or InProgress: the
/// connection is being established; AlreadyConnected, from a later call: it is established.
KESTREL_API int Connect(unsigned long long socket, Mu::String const & host, unsigned int port);

/// May send less than `length`; `*sent` receives the number of bytes, 0 after a failure.
KESTREL_API int Send(unsigned long long socket, void const * data, unsigned int length,
                     unsigned int * sent);
/// Receives up to `length` bytes. The end of the peer's data is a failure, ConnectionClosed.
/// `*received` is 0 after a failure.
KESTREL_API int Recv(unsigned long long socket, void * data, unsigned int length,
                     unsigned int * received);

/// Keeps in each set the sockets that are ready: to read or accept; to write, or connected; failed
/// to connect, with an error or with out-of-band data. Sets may be null, but not all of them empty.
/// Waits at most the sum of the two times, of which null ones count 0; never without limit.
/// `*count` is the number of sockets left in all sets together, or -1 after a failure, such as a
/// closed socket in a set; the sets are unchanged then.
KESTREL_API int Select(int * count, FDSet * read, FDSet * write, FDSet * except, int * seconds,
                       int * microseconds);

/// The address of the peer, in dotted form.
KESTREL_API int GetPeer(unsigned long long socket, Mu::String & host, unsigned int & port);

} // namespace IO::Socket
