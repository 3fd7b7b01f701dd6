#pragma once

#include <Kestrel/Socket/Platform/SocketCallTypes.h>

namespace IO::Socket {

/// The operating system's socket calls, as far as the library needs them, and its only access to
/// them. Names and error numbers are those of Windows everywhere.
///
/// An implementation translates and does nothing else. A call that a signal interrupted is repeated
/// and not reported. Nothing raises a signal in the process; programs that the process starts
/// inherit no socket.
///
/// Memory:  none from the root, except Poll for a long list; nothing is thrown.
/// Threads: any number at once, also on one socket, except for CloseSocket and CloseSignal, after
///          which it must not be used.
/// Failure: each call returns 0 or the error number that WSAGetLastError would return;
///          out-parameters are then as documented for the call, and unchanged otherwise.
class SocketCalls {
public:
    virtual ~SocketCalls() = default;

    /// `version`: the major number in the low byte, the minor above it. Counted.
    virtual unsigned int WSAStartup(unsigned short version) = 0;
    /// NotInitialised: there was no start to undo.
    virtual unsigned int WSACleanup() = 0;

    /// A socket of the internet family, which blocks until SetNonBlocking is called. NoSocket in
    /// `*made` after a failure.
    virtual unsigned int Socket(int type, SocketHandle * made) = 0;
    /// The handle is closed even after a failure.
    virtual unsigned int CloseSocket(SocketHandle socket) = 0;
    virtual unsigned int Shutdown(SocketHandle socket, int direction) = 0;
    /// AddressInUse: another socket listens there or is about to. Remains of earlier connections do
    /// not prevent it.
    virtual unsigned int Bind(SocketHandle socket, SocketAddress const & address) = 0;
    virtual unsigned int Listen(SocketHandle socket, int backlog) = 0;
    /// The accepted socket does not block. `peer` may be null. NoSocket after a failure.
    virtual unsigned int Accept(SocketHandle socket, SocketHandle * accepted,
                                SocketAddress * peer) = 0;
    /// WouldBlock: in progress, for a non-blocking socket.
    virtual unsigned int Connect(SocketHandle socket, SocketAddress const & address) = 0;
    /// May send less than requested; `*sent` is 0 after a failure.
    virtual unsigned int Send(SocketHandle socket, char const * source, unsigned int count,
                              unsigned int * sent) = 0;
    /// 0 bytes without a failure mean the peer's end; `*received` is 0 after a failure, too.
    virtual unsigned int Recv(SocketHandle socket, char * destination, unsigned int count,
                              unsigned int * received) = 0;

    /// Waits for any of the wanted events, for any number of sockets with any numbers: the
    /// operation of select, without its limits. `*ready` counts the bits set in all entries, 0 on
    /// timeout. A negative time waits without limit. After a failure `*ready` is 0 and so is each
    /// `ready`. Invalid: no event is wanted at all. NotSocket: one of them is not a socket.
    /// NoBuffers: no memory for so long a list.
    virtual unsigned int Poll(PollEntry * entries, unsigned int count, long long microseconds,
                              unsigned int * ready) = 0;

    /// Makes the socket non-blocking, or blocking again.
    virtual unsigned int SetNonBlocking(SocketHandle socket, bool isOn) = 0;
    /// The number of bytes that can be read without waiting. 0 after a failure.
    virtual unsigned int GetAvailable(SocketHandle socket, unsigned int * count) = 0;
    /// The value of OptionName::Error is an error number as from these calls.
    virtual unsigned int GetSockOpt(SocketHandle socket, int level, int name, int * value) = 0;
    virtual unsigned int SetSockOpt(SocketHandle socket, int level, int name, int value) = 0;
    virtual unsigned int GetLinger(SocketHandle socket, LingerTime * time) = 0;
    virtual unsigned int SetLinger(SocketHandle socket, LingerTime time) = 0;
    virtual unsigned int GetSockName(SocketHandle socket, SocketAddress * address) = 0;
    virtual unsigned int GetPeerName(SocketHandle socket, SocketAddress * address) = 0;

    /// A signal is polled for reading by one thread, among its sockets, and raised by another one
    /// to end that wait. It remains raised until it is closed. NoSocket after a failure.
    virtual unsigned int CreateSignal(SocketHandle * signal) = 0;
    /// Raising it again is harmless.
    virtual unsigned int RaiseSignal(SocketHandle signal) = 0;
    virtual unsigned int CloseSignal(SocketHandle signal) = 0;

    // Names. These block as long as the system's resolver does. A text that does not fit is a
    // failure.
    virtual unsigned int GetHostName(char * name, unsigned int size) = 0;
    /// The IPv4 addresses of a host for streams over TCP, with the canonical name. The list may be
    /// null without a failure, and is null after one; otherwise FreeAddrInfo frees it.
    virtual unsigned int GetAddrInfo(char const * name, AddressList * list) = 0;
    /// The entry at the place, which is not null; advances the place.
    virtual void ReadAddrInfo(AddressList * place, AddressInfo * entry) = 0;
    virtual void FreeAddrInfo(AddressList list) = 0;
    /// The name and the service of an address, with flags 0.
    virtual unsigned int GetNameInfo(SocketAddress const & address, char * host,
                                     unsigned int hostSize, char * service,
                                     unsigned int serviceSize) = 0;
    /// The older call: the name of a host.
    virtual unsigned int GetHostByAddr(unsigned char const (&address)[4], char * name,
                                       unsigned int size) = 0;
    /// The first address of a host.
    virtual unsigned int GetHostByName(char const * name, unsigned char (&address)[4]) = 0;

    /// The system's text for an error number, truncated to `size` units, not zero-terminated.
    /// Returns its length; 0 if there is none. It may end with a line end.
    virtual unsigned int FormatMessage(unsigned int error, char16_t * text, unsigned int size) = 0;
};

/// The calls in use: the platform's own, or those of SetSocketCalls.
SocketCalls & GetSocketCalls();
/// The platform's own calls.
SocketCalls & GetPlatformSocketCalls();
/// Replaces the calls in use; null restores the platform's own. Returns the earlier ones. Not while
/// another thread works with sockets.
SocketCalls & SetSocketCalls(SocketCalls * calls);

} // namespace IO::Socket
