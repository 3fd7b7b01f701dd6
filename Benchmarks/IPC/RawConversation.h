#pragma once

#include <arpa/inet.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <signal.h>
#include <string>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

// The twin of the pool's conversations: the calls of the system, with nothing around them.

namespace Bench {

constexpr unsigned int RequestSize = 32;
constexpr int BufferSize = 32768; // what the library's sockets have

struct Answer {
    static constexpr unsigned int Large = 1 << 20;
};

inline void Check(bool isGood, int line = __builtin_LINE()) {
    if (isGood)
        return;
    std::fprintf(stderr, "line %d: %s\n", line, std::strerror(errno));
    std::abort();
}

inline void PutSize(char * request, unsigned int size) {
    std::memset(request, 'q', RequestSize);
    std::memcpy(request, &size, sizeof(size));
}

inline unsigned int GetSize(char const * request) {
    unsigned int size;
    std::memcpy(&size, request, sizeof(size));
    Check(size <= Answer::Large);
    return size;
}

inline void SetBuffers(int socket, int size) {
    Check(::setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &size, sizeof(size)) == 0);
    Check(::setsockopt(socket, SOL_SOCKET, SO_RCVBUF, &size, sizeof(size)) == 0);
}

inline sockaddr_in MakeAddress(unsigned int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<unsigned short>(port));
    return address;
}

inline void SetNoDelay(int socket) {
    int const on = 1;
    Check(::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on)) == 0);
}

inline int Connect(unsigned int port, int bufferSize) {
    int const made = ::socket(AF_INET, SOCK_STREAM, 0);
    SetBuffers(made, bufferSize);
    sockaddr_in const address = MakeAddress(port);
    Check(::connect(made, reinterpret_cast<sockaddr const *>(&address), sizeof(address)) == 0);
    SetNoDelay(made);
    return made;
}

inline void SendAll(int socket, char const * data, std::size_t size) {
    while (size > 0) {
        ssize_t const sent = ::send(socket, data, size, MSG_NOSIGNAL);
        if (sent < 0 && errno == EAGAIN) {
            pollfd one{socket, POLLOUT, 0};
            ::poll(&one, 1, -1);
            continue;
        }
        Check(sent > 0);
        data += sent;
        size -= static_cast<std::size_t>(sent);
    }
}

/// False: the peer has gone.
inline bool ReceiveAll(int socket, char * data, std::size_t size) {
    while (size > 0) {
        ssize_t const got = ::recv(socket, data, size, 0);
        if (got <= 0)
            return false;
        data += got;
        size -= static_cast<std::size_t>(got);
    }
    return true;
}

inline int Listen(int bufferSize, unsigned int * port) {
    int const listening = ::socket(AF_INET, SOCK_STREAM, 0);
    SetBuffers(listening, bufferSize);
    sockaddr_in address = MakeAddress(0);
    auto * const general = reinterpret_cast<sockaddr *>(&address);
    socklen_t size = sizeof(address);
    Check(::bind(listening, general, size) == 0 && ::listen(listening, 1000) == 0 &&
          ::getsockname(listening, general, &size) == 0);
    *port = ntohs(address.sin_port);
    return listening;
}

/// One peer after the other, by calls that block.
template <typename TellPort>
void ServeBlocking(int bufferSize, TellPort tellPort) {
    unsigned int port;
    int const listening = Listen(bufferSize, &port);
    tellPort(port);
    std::vector<char> const answer(Answer::Large, 'a');
    for (;;) {
        int const peer = ::accept(listening, nullptr, nullptr);
        Check(peer >= 0);
        SetNoDelay(peer);
        char request[RequestSize];
        while (ReceiveAll(peer, request, RequestSize))
            SendAll(peer, answer.data(), GetSize(request));
        ::close(peer);
    }
}

/// All peers at once, on one thread.
template <typename TellPort>
void ServeByPoll(TellPort tellPort) {
    unsigned int port;
    int const listening = Listen(BufferSize, &port);
    tellPort(port);
    std::vector<char> const answer(Answer::Large, 'a');
    std::vector<char> buffer(BufferSize);
    std::vector<pollfd> list{{listening, POLLIN, 0}};
    for (;;) {
        Check(::poll(list.data(), list.size(), -1) > 0);
        std::size_t const before = list.size();
        for (std::size_t i = 1; i < before; ++i) {
            if (list[i].revents == 0)
                continue;
            ssize_t const got = ::recv(list[i].fd, buffer.data(), buffer.size(), 0);
            if (got <= 0) {
                ::close(list[i].fd);
                list[i].fd = -1;
                continue;
            }
            for (ssize_t at = 0; at < got; at += RequestSize) // whole ones, as they are sent
                SendAll(list[i].fd, answer.data(), GetSize(buffer.data() + at));
        }
        if (list[0].revents != 0) {
            int const peer = ::accept4(listening, nullptr, nullptr, SOCK_NONBLOCK);
            Check(peer >= 0);
            SetNoDelay(peer);
            list.push_back({peer, POLLIN, 0});
        }
        std::erase_if(list, [](pollfd const & one) { return one.fd < 0; });
    }
}

/// One client, by calls that block.
class RawAsker {
public:
    RawAsker(unsigned int port, int bufferSize) : socket(Connect(port, bufferSize)) {}
    ~RawAsker() { ::close(socket); }
    RawAsker(RawAsker const &) = delete;
    RawAsker & operator=(RawAsker const &) = delete;

    void Ask(unsigned int size) {
        char request[RequestSize];
        PutSize(request, size);
        SendAll(socket, request, RequestSize);
        Check(ReceiveAll(socket, answer.data(), size));
    }

private:
    int socket;
    std::vector<char> answer = std::vector<char>(Answer::Large);
};

/// Peers that connect and say nothing.
class IdleCrowd {
public:
    IdleCrowd(unsigned int port, unsigned int count) {
        rlimit limit{};
        ::getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = limit.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &limit);
        for (unsigned int i = 0; i < count; ++i)
            sockets.push_back(Connect(port, BufferSize));
    }
    ~IdleCrowd() {
        for (int const socket : sockets)
            ::close(socket);
    }
    IdleCrowd(IdleCrowd const &) = delete;
    IdleCrowd & operator=(IdleCrowd const &) = delete;

protected:
    std::vector<int> sockets;
};

/// Many clients at once on one thread, by poll; each asks again whenever it has an answer.
class RawCrowd : public IdleCrowd {
public:
    /// `framed`: speaks as the pool does.
    RawCrowd(unsigned int port, unsigned int count, bool framed = false)
        : IdleCrowd(port, count), framed(framed), missing(count) {
        using namespace std::string_literals;
        for (int const socket : sockets) {
            list.push_back({socket, POLLIN, 0});
            std::string const greeting = "D\2\0\0\0WWSLD\14\0\0\0\10\0\0\0Answers\0"s;
            if (framed)
                SendAll(socket, greeting.data(), greeting.size());
        }
        char size[RequestSize];
        PutSize(size, RequestSize);
        request.assign(size, RequestSize);
        if (framed)
            request = "D\40\0\0\0"s + request + "S";
    }

    void Ask(unsigned int count) {
        unsigned int left = count;
        unsigned int under = 0;
        auto const ask = [&](std::size_t i) {
            if (left == 0)
                return;
            --left;
            ++under;
            missing[i] = static_cast<unsigned int>(request.size());
            SendAll(sockets[i], request.data(), request.size());
        };
        for (std::size_t i = 0; i < sockets.size(); ++i)
            ask(i);
        char buffer[RequestSize + 6];
        while (under > 0) {
            Check(::poll(list.data(), list.size(), -1) > 0);
            for (std::size_t i = 0; i < list.size(); ++i) {
                if (list[i].revents == 0)
                    continue;
                ssize_t const got = ::recv(sockets[i], buffer, missing[i], 0);
                Check(got > 0);
                missing[i] -= static_cast<unsigned int>(got);
                if (missing[i] == 0) {
                    --under;
                    ask(i);
                }
            }
        }
    }

private:
    bool framed;
    std::string request;
    std::vector<unsigned int> missing;
    std::vector<pollfd> list;
};

/// A process of its own, which serves on the port that it has reported until it is ended.
struct Child {
    template <typename Work>
    explicit Child(Work work) {
        int ends[2];
        Check(::pipe(ends) == 0);
        process = ::fork();
        Check(process >= 0);
        if (process == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            ::close(ends[0]);
            rlimit limit{};
            ::getrlimit(RLIMIT_NOFILE, &limit);
            limit.rlim_cur = limit.rlim_max;
            ::setrlimit(RLIMIT_NOFILE, &limit);
            work([&](unsigned int number) {
                Check(::write(ends[1], &number, sizeof(number)) == sizeof(number));
                ::close(ends[1]);
            });
        }
        ::close(ends[1]);
        Check(::read(ends[0], &port, sizeof(port)) == sizeof(port));
        ::close(ends[0]);
    }
    ~Child() {
        ::kill(process, SIGKILL);
        ::waitpid(process, nullptr, 0);
    }
    Child(Child const &) = delete;
    Child & operator=(Child const &) = delete;

    unsigned int port = 0;

private:
    pid_t process;
};

} // namespace Bench
