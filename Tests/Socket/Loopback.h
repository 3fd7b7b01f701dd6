#pragma once

#include <Kestrel/Socket/ServerSocket.h>

#include <string>

namespace Tests {

/// Two ends of a connection of this machine to itself.
struct Connection {
    Connection()
        : Connection(IO::Socket::ServerSocket(0, 5, IO::Socket::InternetAddress::Loopback)) {}

    IO::Socket::Socket client;
    IO::Socket::Socket server;

private:
    explicit Connection(IO::Socket::ServerSocket listening)
        : client(IO::Socket::InternetAddress::Loopback, listening.GetLocalPort()),
          server(*listening.Accept()) {}
};

/// The name and the text of what `call` throws; empty when it throws nothing of ours.
template <typename Call>
std::string Describe(Call call) {
    try {
        call();
    } catch (Mu::MuException const & exception) {
        return exception.GetName() + std::string(": ") + exception.GetMessage();
    }
    return std::string();
}

} // namespace Tests
