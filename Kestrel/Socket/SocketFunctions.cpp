#include <Kestrel/Socket/SocketFunctions.h>

#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Socket/Internal/DottedText.h>
#include <Kestrel/Socket/Internal/FDSetImpl.h>
#include <Kestrel/Socket/Internal/SockAddrImpl.h>
#include <Kestrel/Socket/Platform/SocketCalls.h>

#include <atomic>

namespace IO::Socket {
namespace {

constinit std::atomic<SocketError> lastError = ConnectionRefused;

struct ErrorRow {
    unsigned int number;
    SocketError error;
};

constexpr ErrorRow errorRows[] = {
    {WSAError::ConnectionRefused, ConnectionRefused},
    {WSAError::AddressInUse, AddressInUse},
    {WSAError::NotConnected, NotConnected},
    {WSAError::ConnectionReset, ConnectionReset},
    {WSAError::WouldBlock, WouldBlock},
    {WSAError::InProgress, InProgress},
    {WSAError::Already, InProgress},
    {WSAError::IsConnected, AlreadyConnected},
};

SocketError ToError(unsigned int number) {
    for (ErrorRow const & row : errorRows)
        if (row.number == number)
            return row.error;
    return OtherSocketError;
}

int Fail(SocketError error) {
    lastError.store(error, std::memory_order_relaxed);
    return Error;
}

int Result(unsigned int number) {
    return number == WSAError::None ? NoError : Fail(ToError(number));
}

// The sockets of up to three sets, each of them once, with all events that are wanted of it.
class PollList {
public:
    void Add(FDSet const * set, unsigned char wanted) {
        if (set == nullptr)
            return;
        unsigned int guess = 0; // usually the sets have the same sockets in the same order
        for (SocketHandle const socket : static_cast<FDSetImpl const &>(*set))
            Find(socket, guess++).wanted |= wanted;
    }
    unsigned int Poll(long long microseconds, unsigned int * ready) {
        return GetSocketCalls().Poll(entries, count, microseconds, ready);
    }
    void Keep(FDSet * set, unsigned char event) const {
        if (set == nullptr)
            return;
        set->Zero();
        for (unsigned int i = 0; i < count; ++i)
            if (entries[i].ready & event)
                set->Add(entries[i].socket);
    }

private:
    PollEntry & Find(SocketHandle socket, unsigned int guess) {
        if (guess < count && entries[guess].socket == socket)
            return entries[guess];
        for (unsigned int i = 0; i < count; ++i)
            if (entries[i].socket == socket)
                return entries[i];
        entries[count] = {socket, 0, 0};
        return entries[count++];
    }

    unsigned int count = 0;
    PollEntry entries[3 * FDSet::Capacity];
};

} // namespace

int NetworkInit() {
    constexpr unsigned short version = 0x0202; // 2.2
    return Result(GetSocketCalls().WSAStartup(version));
}

int NetworkShutdown() {
    return Result(GetSocketCalls().WSACleanup());
}

// Kept: the steps are not checked; a bad socket fails at its first use.
unsigned long long Create() {
    constexpr int bufferSize = 32768;
    SocketCalls & calls = GetSocketCalls();
    SocketHandle made;
    calls.Socket(SocketType::Stream, &made);
    calls.SetNonBlocking(made, true);
    calls.SetSockOpt(made, OptionLevel::Socket, OptionName::ReceiveBufferSize, bufferSize);
    calls.SetSockOpt(made, OptionLevel::Socket, OptionName::SendBufferSize, bufferSize);
    return made;
}

int Close(unsigned long long socket) {
    return Result(GetSocketCalls().CloseSocket(socket));
}

bool InvalidSocket(unsigned long long socket) {
    return socket == NoSocket;
}

SocketError GetLastError() {
    return lastError.load(std::memory_order_relaxed);
}

int Bind(unsigned long long socket, unsigned int port) {
    SocketAddress const any{InternetFamily, static_cast<unsigned short>(port), {}};
    return Result(GetSocketCalls().Bind(socket, any));
}

int BindLoopback(unsigned long long socket, unsigned int port) {
    SocketAddress const loopback{InternetFamily, static_cast<unsigned short>(port), {127, 0, 0, 1}};
    return Result(GetSocketCalls().Bind(socket, loopback));
}

int Listen(unsigned long long socket) {
    return Result(GetSocketCalls().Listen(socket, 0x7FFFFFFF));
}

unsigned long long Accept(unsigned long long socket, SockAddr * peer) {
    SocketHandle accepted;
    SocketAddress * const from =
        peer != nullptr ? &static_cast<SockAddrImpl &>(*peer).address : nullptr;
    Result(GetSocketCalls().Accept(socket, &accepted, from));
    return accepted;
}

int Connect(unsigned long long socket, Mu::String const & host, unsigned int port) {
    SocketAddress address{InternetFamily, static_cast<unsigned short>(port), {}};
    if (HasZero(host))
        return Result(WSAError::HostNotFound); // the resolver would truncate it
    unsigned int const error = GetSocketCalls().GetHostByName(host.ToCStr(), address.address);
    if (error != WSAError::None) {
        unsigned int const number = InetAddr(host.ToCStr());
        if (number == NoInetAddr)
            return Result(error);
        ToBytes(number, address.address);
    }
    return Result(GetSocketCalls().Connect(socket, address));
}

int Send(unsigned long long socket, void const * data, unsigned int length, unsigned int * sent) {
    return Result(GetSocketCalls().Send(socket, static_cast<char const *>(data), length, sent));
}

int Recv(unsigned long long socket, void * data, unsigned int length, unsigned int * received) {
    unsigned int const error =
        GetSocketCalls().Recv(socket, static_cast<char *>(data), length, received);
    if (error == WSAError::None && *received == 0)
        return Fail(ConnectionClosed);
    return Result(error);
}

int Select(int * count, FDSet * read, FDSet * write, FDSet * except, int * seconds,
           int * microseconds) {
    *count = -1;
    int const wholeSeconds = seconds != nullptr ? *seconds : 0;
    int const rest = microseconds != nullptr ? *microseconds : 0;
    if (wholeSeconds < 0 || rest < 0)
        return Result(WSAError::Invalid);
    PollList list;
    list.Add(read, PollEvent::Read);
    list.Add(write, PollEvent::Write);
    list.Add(except, PollEvent::Except);
    unsigned int ready;
    unsigned int const error = list.Poll(wholeSeconds * 1000000ll + rest, &ready);
    if (error != WSAError::None)
        return Result(error);
    list.Keep(read, PollEvent::Read);
    list.Keep(write, PollEvent::Write);
    list.Keep(except, PollEvent::Except);
    *count = static_cast<int>(ready);
    return NoError;
}

int GetPeer(unsigned long long socket, Mu::String & host, unsigned int & port) {
    SocketAddress address;
    unsigned int const error = GetSocketCalls().GetPeerName(socket, &address);
    if (error != WSAError::None)
        return Result(error);
    host = InetNtoa(address.address);
    port = address.port;
    return NoError;
}

} // namespace IO::Socket
