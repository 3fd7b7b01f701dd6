#pragma once

#include <Kestrel/Socket/Platform/ForwardingSocketCalls.h>

#include <deque>
#include <map>
#include <random>
#include <string>

namespace Tests {

/// Chances in a thousand, for each call where the thing can happen.
struct Weather {
    unsigned int part = 0;       ///< a send or receive takes only a part
    unsigned int delay = 0;      ///< bytes are on the way for up to 0.1 s
    unsigned int full = 0;       ///< a send finds no room
    unsigned int cut = 0;        ///< the connection ends somewhere within what is sent
    unsigned int reset = 0;      ///< both ends are reset, and what is on the way is lost
    unsigned int silent = 0;     ///< all is lost from now on, and both are reset seconds later
    unsigned int window = 65536; ///< bytes that may be on the way
};

/// A network in memory in the place of the system's during its life: both ends of each connection in
/// one process, time by the library's clock. What may go wrong on the way is drawn from one seed.
class Network final : public IO::Socket::ForwardingSocketCalls {
public:
    using Handle = IO::Socket::SocketHandle;

    explicit Network(unsigned int seed = 1, Weather const & weather = Weather());
    ~Network() override;

    std::size_t CountSockets() const { return sockets.size(); }
    /// What went from clients to servers, and back, in order.
    std::string toServers;
    std::string toClients;
    unsigned int polls = 0;
    unsigned int sends = 0; ///< that took something
    unsigned int receives = 0;
    Weather weather;
    bool isUnreachable = false; ///< no connection comes to stand, nor fails

    unsigned int Socket(int type, Handle * made) override;
    unsigned int CloseSocket(Handle socket) override;
    unsigned int Shutdown(Handle socket, int direction) override;
    unsigned int Bind(Handle socket, IO::Socket::SocketAddress const & address) override;
    unsigned int Listen(Handle socket, int backlog) override;
    unsigned int Accept(Handle socket, Handle * accepted,
                        IO::Socket::SocketAddress * peer) override;
    unsigned int Connect(Handle socket, IO::Socket::SocketAddress const & address) override;
    unsigned int Send(Handle socket, char const * source, unsigned int count,
                      unsigned int * sent) override;
    unsigned int Recv(Handle socket, char * destination, unsigned int count,
                      unsigned int * received) override;
    unsigned int Poll(IO::Socket::PollEntry * entries, unsigned int count, long long microseconds,
                      unsigned int * ready) override;
    unsigned int SetNonBlocking(Handle, bool) override { return 0; }
    unsigned int SetSockOpt(Handle, int, int, int) override { return 0; }
    unsigned int GetPeerName(Handle socket, IO::Socket::SocketAddress * address) override;
    unsigned int GetHostByName(char const * name, unsigned char (&address)[4]) override;

private:
    struct Piece {
        std::string bytes;
        unsigned long long due;
    };
    struct Side {
        bool isListening = false;
        bool isServers = false; // accepted
        unsigned short port = 0;
        std::deque<Handle> backlog;
        Handle peer = 0;           // 0: none, or gone
        unsigned long long up = 0; // when a connection that was asked for stands
        std::deque<Piece> incoming;
        bool isAtEnd = false; // nothing comes behind `incoming`
        bool isShut = false;
        unsigned long long resetAt = ~0ull;
    };

    unsigned long long Now() const;
    bool Draw(unsigned int chance);
    Side * Find(Handle socket);
    std::size_t CountIncoming(Side const & side) const;
    unsigned char GetReady(Side const & side);
    void ResetBoth(Side & side, unsigned long long when);

    std::mt19937 random;
    std::map<Handle, Side> sockets;
    std::map<unsigned short, Handle> listening;
};

} // namespace Tests
