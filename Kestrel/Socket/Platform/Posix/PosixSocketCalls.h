#pragma once

#include <Kestrel/Socket/Platform/SocketCalls.h>

#include <atomic>

namespace IO::Socket {

/// The socket calls of Linux. SocketCalls documents what each does. Where Windows behaves
/// differently, that is emulated:
///
/// - A handle is a file descriptor, closed on exec; a signal is an eventfd.
/// - Starting and ending only count.
/// - A port can be bound again after its connections are over, as on Windows: the option for that
///   is set from Listen on, for accepted sockets, too, and from the Connect of a bound socket on.
/// - A buffer's size is reported as it was set, while Linux reports twice as much.
/// - A pending error of a socket makes it ready for Except, and for Read instead if earlier bytes
///   can still be read.
class PosixSocketCalls : public SocketCalls {
public:
    unsigned int WSAStartup(unsigned short version) override;
    unsigned int WSACleanup() override;
    unsigned int Socket(int type, SocketHandle * made) override;
    unsigned int CloseSocket(SocketHandle socket) override;
    unsigned int Shutdown(SocketHandle socket, int direction) override;
    unsigned int Bind(SocketHandle socket, SocketAddress const & address) override;
    unsigned int Listen(SocketHandle socket, int backlog) override;
    unsigned int Accept(SocketHandle socket, SocketHandle * accepted,
                        SocketAddress * peer) override;
    unsigned int Connect(SocketHandle socket, SocketAddress const & address) override;
    unsigned int Send(SocketHandle socket, char const * source, unsigned int count,
                      unsigned int * sent) override;
    unsigned int Recv(SocketHandle socket, char * destination, unsigned int count,
                      unsigned int * received) override;
    unsigned int Poll(PollEntry * entries, unsigned int count, long long microseconds,
                      unsigned int * ready) override;
    unsigned int SetNonBlocking(SocketHandle socket, bool isOn) override;
    unsigned int GetAvailable(SocketHandle socket, unsigned int * count) override;
    unsigned int GetSockOpt(SocketHandle socket, int level, int name, int * value) override;
    unsigned int SetSockOpt(SocketHandle socket, int level, int name, int value) override;
    unsigned int GetLinger(SocketHandle socket, LingerTime * time) override;
    unsigned int SetLinger(SocketHandle socket, LingerTime time) override;
    unsigned int GetSockName(SocketHandle socket, SocketAddress * address) override;
    unsigned int GetPeerName(SocketHandle socket, SocketAddress * address) override;
    unsigned int CreateSignal(SocketHandle * signal) override;
    unsigned int RaiseSignal(SocketHandle signal) override;
    unsigned int CloseSignal(SocketHandle signal) override;
    unsigned int GetHostName(char * name, unsigned int size) override;
    unsigned int GetAddrInfo(char const * name, AddressList * list) override;
    void ReadAddrInfo(AddressList * place, AddressInfo * entry) override;
    void FreeAddrInfo(AddressList list) override;
    unsigned int GetNameInfo(SocketAddress const & address, char * host, unsigned int hostSize,
                             char * service, unsigned int serviceSize) override;
    unsigned int GetHostByAddr(unsigned char const (&address)[4], char * name,
                               unsigned int size) override;
    unsigned int GetHostByName(char const * name, unsigned char (&address)[4]) override;
    unsigned int FormatMessage(unsigned int error, char16_t * text, unsigned int size) override;

private:
    std::atomic<unsigned int> starts{0};
};

} // namespace IO::Socket
