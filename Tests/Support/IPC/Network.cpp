#include "Tests/Support/IPC/Network.h"

#include <Kestrel/IPC/Setup.h>
#include <Kestrel/Root/Time/Clock.h>

#include <algorithm>

namespace Tests {

using namespace IO::Socket;

Network::Network(unsigned int seed, Weather const & weather)
    : ForwardingSocketCalls(GetPlatformSocketCalls()), weather(weather), random(seed) {
    SetSocketCalls(this);
    IO::IPC::Setup::Instance().SetDataFolderLocation(IO::Location()); // nobody finds its servers
}

Network::~Network() {
    SetSocketCalls(nullptr);
}

unsigned long long Network::Now() const {
    return Mu::GetClock().GetMonotonicMicroseconds();
}

bool Network::Draw(unsigned int chance) {
    return chance != 0 && random() % 1000 < chance;
}

Network::Side * Network::Find(Handle socket) {
    auto const found = sockets.find(socket);
    return found != sockets.end() ? &found->second : nullptr;
}

// Numbers are given again at once, as a system does.
unsigned int Network::Socket(int, Handle * made) {
    Handle number = 3;
    while (sockets.count(number) != 0)
        ++number;
    sockets[number];
    *made = number;
    return 0;
}

unsigned int Network::CloseSocket(Handle socket) {
    Side * const side = Find(socket);
    if (side == nullptr)
        return WSAError::NotSocket;
    if (side->isListening)
        listening.erase(side->port);
    for (Handle const waiting : side->backlog)
        CloseSocket(waiting);
    if (Side * const peer = Find(side->peer)) {
        peer->peer = 0;
        if (side->incoming.empty())
            peer->isAtEnd = true;
        else
            peer->resetAt = std::min(peer->resetAt, Now()); // it will never be read
    }
    sockets.erase(socket);
    return 0;
}

unsigned int Network::Shutdown(Handle socket, int) {
    Side * const side = Find(socket);
    if (side == nullptr)
        return WSAError::NotSocket;
    side->isShut = true;
    if (Side * const peer = Find(side->peer))
        peer->isAtEnd = true;
    return 0;
}

unsigned int Network::Bind(Handle socket, SocketAddress const & address) {
    if (listening.count(address.port) != 0)
        return WSAError::AddressInUse;
    Find(socket)->port = address.port;
    return 0;
}

unsigned int Network::Listen(Handle socket, int) {
    Side & side = *Find(socket);
    side.isListening = true;
    listening[side.port] = socket;
    return 0;
}

unsigned int Network::Accept(Handle socket, Handle * accepted, SocketAddress *) {
    *accepted = NoSocket;
    Side & side = *Find(socket);
    if (side.backlog.empty())
        return WSAError::WouldBlock;
    *accepted = side.backlog.front();
    side.backlog.pop_front();
    return 0;
}

unsigned int Network::Connect(Handle socket, SocketAddress const & address) {
    Side * side = Find(socket);
    if (side->peer != 0 || side->up != 0)
        return Now() < side->up ? WSAError::Already : WSAError::IsConnected;
    if (isUnreachable) {
        side->up = ~0ull;
        return WSAError::WouldBlock;
    }
    auto const found = listening.find(address.port);
    if (found == listening.end())
        return WSAError::ConnectionRefused;
    Handle other;
    Socket(SocketType::Stream, &other);
    side = Find(socket);
    Side & accepted = *Find(other);
    side->peer = other;
    side->port = address.port;
    side->up = Now() + (Draw(weather.delay) ? random() % 100000 : 0) + 1;
    accepted.peer = socket;
    accepted.up = 1;
    accepted.isServers = true;
    Find(found->second)->backlog.push_back(other);
    return WSAError::WouldBlock;
}

std::size_t Network::CountIncoming(Side const & side) const {
    std::size_t count = 0;
    for (Piece const & piece : side.incoming)
        count += piece.bytes.size();
    return count;
}

void Network::ResetBoth(Side & side, unsigned long long when) {
    side.resetAt = std::min(side.resetAt, when);
    if (Side * const peer = Find(side.peer))
        peer->resetAt = std::min(peer->resetAt, when);
}

unsigned int Network::Send(Handle socket, char const * source, unsigned int count,
                           unsigned int * sent) {
    *sent = 0;
    Side * const side = Find(socket);
    if (side == nullptr)
        return WSAError::NotSocket;
    Side * const peer = Find(side->peer);
    if (side->isShut)
        return WSAError::Shutdown;
    if (side->resetAt <= Now() || peer == nullptr)
        return WSAError::ConnectionReset;
    std::size_t const held = CountIncoming(*peer);
    if (held >= weather.window || Draw(weather.full))
        return WSAError::WouldBlock;
    unsigned int room = static_cast<unsigned int>(weather.window - held);
    room = std::min(room, count);
    if (room > 1 && Draw(weather.part))
        room = 1 + static_cast<unsigned int>(random() % room);
    *sent = room;
    ++sends;
    if (Draw(weather.reset))
        ResetBoth(*side, Now());
    if (Draw(weather.silent))
        ResetBoth(*side, Now() + 1000000 + random() % 2000000);
    if (side->resetAt != ~0ull)
        return 0; // on its way to nowhere
    (side->isServers ? toClients : toServers).append(source, room);
    unsigned int arriving = room;
    if (Draw(weather.cut)) {
        arriving = static_cast<unsigned int>(random() % room);
        peer->isAtEnd = true;
        peer->peer = 0;
        side->isAtEnd = true;
        side->peer = 0;
    }
    unsigned long long due = Now() + (Draw(weather.delay) ? random() % 100000 : 0);
    if (!peer->incoming.empty())
        due = std::max(due, peer->incoming.back().due);
    if (arriving != 0)
        peer->incoming.push_back({std::string(source, arriving), due});
    return 0;
}

unsigned int Network::Recv(Handle socket, char * destination, unsigned int count,
                           unsigned int * received) {
    *received = 0;
    ++receives;
    Side * const side = Find(socket);
    if (side == nullptr)
        return WSAError::NotSocket;
    if (side->resetAt <= Now())
        return WSAError::ConnectionReset;
    if (side->isShut)
        return 0;
    if (side->incoming.empty())
        return side->isAtEnd ? 0 : WSAError::WouldBlock;
    unsigned int most = count;
    if (most > 1 && Draw(weather.part))
        most = 1 + static_cast<unsigned int>(random() % std::min(most, 40u));
    while (*received < most && !side->incoming.empty() && side->incoming.front().due <= Now()) {
        std::string & bytes = side->incoming.front().bytes;
        unsigned int const piece =
            std::min(most - *received, static_cast<unsigned int>(bytes.size()));
        bytes.copy(destination + *received, piece);
        *received += piece;
        bytes.erase(0, piece);
        if (bytes.empty())
            side->incoming.pop_front();
    }
    return *received != 0 ? 0 : WSAError::WouldBlock;
}

unsigned char Network::GetReady(Side const & side) {
    if (side.isListening)
        return side.backlog.empty() ? 0 : PollEvent::Read;
    if (side.resetAt <= Now())
        return PollEvent::Read | PollEvent::Write | PollEvent::Except;
    unsigned int ready = 0;
    if (side.isShut || (side.incoming.empty() ? side.isAtEnd : side.incoming.front().due <= Now()))
        ready |= PollEvent::Read;
    Side const * const peer = Find(side.peer);
    if (side.up != 0 && side.up <= Now() &&
        (peer == nullptr || CountIncoming(*peer) < weather.window))
        ready |= PollEvent::Write;
    return static_cast<unsigned char>(ready);
}

// Never waits: the clock does.
unsigned int Network::Poll(PollEntry * entries, unsigned int count, long long,
                           unsigned int * ready) {
    ++polls;
    *ready = 0;
    for (unsigned int i = 0; i < count; ++i)
        entries[i].ready = 0;
    for (unsigned int i = 0; i < count; ++i) {
        Side * const side = Find(entries[i].socket);
        if (side == nullptr)
            return WSAError::NotSocket;
        entries[i].ready = entries[i].wanted & GetReady(*side);
        *ready += entries[i].ready != 0;
    }
    return 0;
}

unsigned int Network::GetPeerName(Handle socket, SocketAddress * address) {
    Side * const side = Find(socket);
    if (side == nullptr || side->peer == 0)
        return WSAError::NotConnected;
    unsigned int const port = side->isServers ? 5000 : side->port;
    *address = {InternetFamily, static_cast<unsigned short>(port), {127, 0, 0, 1}};
    return 0;
}

unsigned int Network::GetHostByName(char const *, unsigned char (&address)[4]) {
    unsigned char const loopback[4] = {127, 0, 0, 1};
    std::copy_n(loopback, 4, address);
    return 0;
}

} // namespace Tests
