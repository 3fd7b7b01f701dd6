#pragma once

#include <Kestrel/Socket/Platform/SocketCalls.h>

namespace IO::Socket {

/// Forwards every call to others, so that a derived class can change one operation.
///
/// Memory, threads and failure are those of the calls below.
class ForwardingSocketCalls : public SocketCalls {
public:
    /// `below` must outlive this.
    explicit ForwardingSocketCalls(SocketCalls & below) : below(&below) {}

    SocketCalls & GetBelow() const { return *below; }
    void SetBelow(SocketCalls & calls) { below = &calls; }

    unsigned int WSAStartup(unsigned short version) override { return below->WSAStartup(version); }
    unsigned int WSACleanup() override { return below->WSACleanup(); }
    unsigned int Socket(int type, SocketHandle * made) override {
        return below->Socket(type, made);
    }
    unsigned int CloseSocket(SocketHandle socket) override { return below->CloseSocket(socket); }
    unsigned int Shutdown(SocketHandle socket, int direction) override {
        return below->Shutdown(socket, direction);
    }
    unsigned int Bind(SocketHandle socket, SocketAddress const & address) override {
        return below->Bind(socket, address);
    }
    unsigned int Listen(SocketHandle socket, int backlog) override {
        return below->Listen(socket, backlog);
    }
    unsigned int Accept(SocketHandle socket, SocketHandle * accepted,
                        SocketAddress * peer) override {
        return below->Accept(socket, accepted, peer);
    }
    unsigned int Connect(SocketHandle socket, SocketAddress const & address) override {
        return below->Connect(socket, address);
    }
    unsigned int Send(SocketHandle socket, char const * source, unsigned int count,
                      unsigned int * sent) override {
        return below->Send(socket, source, count, sent);
    }
    unsigned int Recv(SocketHandle socket, char * destination, unsigned int count,
                      unsigned int * received) override {
        return below->Recv(socket, destination, count, received);
    }
    unsigned int Poll(PollEntry * entries, unsigned int count, long long microseconds,
                      unsigned int * ready) override {
        return below->Poll(entries, count, microseconds, ready);
    }
    unsigned int SetNonBlocking(SocketHandle socket, bool isOn) override {
        return below->SetNonBlocking(socket, isOn);
    }
    unsigned int GetAvailable(SocketHandle socket, unsigned int * count) override {
        return below->GetAvailable(socket, count);
    }
    unsigned int GetSockOpt(SocketHandle socket, int level, int name, int * value) override {
        return below->GetSockOpt(socket, level, name, value);
    }
    unsigned int SetSockOpt(SocketHandle socket, int level, int name, int value) override {
        return below->SetSockOpt(socket, level, name, value);
    }
    unsigned int GetLinger(SocketHandle socket, LingerTime * time) override {
        return below->GetLinger(socket, time);
    }
    unsigned int SetLinger(SocketHandle socket, LingerTime time) override {
        return below->SetLinger(socket, time);
    }
    unsigned int GetSockName(SocketHandle socket, SocketAddress * address) override {
        return below->GetSockName(socket, address);
    }
    unsigned int GetPeerName(SocketHandle socket, SocketAddress * address) override {
        return below->GetPeerName(socket, address);
    }
    unsigned int CreateSignal(SocketHandle * signal) override {
        return below->CreateSignal(signal);
    }
    unsigned int RaiseSignal(SocketHandle signal) override { return below->RaiseSignal(signal); }
    unsigned int CloseSignal(SocketHandle signal) override { return below->CloseSignal(signal); }
    unsigned int GetHostName(char * name, unsigned int size) override {
        return below->GetHostName(name, size);
    }
    unsigned int GetAddrInfo(char const * name, AddressList * list) override {
        return below->GetAddrInfo(name, list);
    }
    void ReadAddrInfo(AddressList * place, AddressInfo * entry) override {
        return below->ReadAddrInfo(place, entry);
    }
    void FreeAddrInfo(AddressList list) override { return below->FreeAddrInfo(list); }
    unsigned int GetNameInfo(SocketAddress const & address, char * host, unsigned int hostSize,
                             char * service, unsigned int serviceSize) override {
        return below->GetNameInfo(address, host, hostSize, service, serviceSize);
    }
    unsigned int GetHostByAddr(unsigned char const (&address)[4], char * name,
                               unsigned int size) override {
        return below->GetHostByAddr(address, name, size);
    }
    unsigned int GetHostByName(char const * name, unsigned char (&address)[4]) override {
        return below->GetHostByName(name, address);
    }
    unsigned int FormatMessage(unsigned int error, char16_t * text, unsigned int size) override {
        return below->FormatMessage(error, text, size);
    }

private:
    SocketCalls * below;
};

} // namespace IO::Socket
