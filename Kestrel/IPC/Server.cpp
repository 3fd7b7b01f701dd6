#include <Kestrel/IPC/Server.h>

#include <Kestrel/IPC/CommunicatorPool.h>
#include <Kestrel/IPC/Connection.h>
#include <Kestrel/IPC/ProcessInfoProvider.h>
#include <Kestrel/IPC/Service.h>
#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Streams/OChannel.h>
#include <Kestrel/Socket/Platform/SocketCalls.h>
#include <Kestrel/Socket/SocketFunctions.h>

#include <utility>

namespace IO::IPC {

namespace {
constinit int accepting = 0; // passes that are in Accept
}

Service::~Service() = default;

Mu::UniString Service::Loc2Name(Location const & location) {
    Mu::UniString text;
    Name name;
    unsigned int const length = location.GetLocalLength();
    for (unsigned int i = 0; i < length; ++i) {
        if (location.GetLocalName(i, &name) != NoError)
            Mu::ThrowOutOfMemory(); // a part of a name may be that of another service
        if (i != 0)
            text.Append("/");
        text.Append(name.ToString());
    }
    return text;
}

Server::Server() = default;

Server::~Server() {
    while (!connections.empty()) {
        Connection * const connection = connections.begin()->second;
        connections.erase(connections.begin());
        connection->server = nullptr;
        delete connection;
    }
    Stop();
}

int Server::Bind(unsigned int number) const {
    if (!isLoopbackOnly)
        return Socket::Bind(socket, number);
    return Socket::BindLoopback(socket, number);
}

MuErrCode Server::GiveUp() {
    if (!Socket::InvalidSocket(socket))
        Socket::Close(socket);
    port = 0;
    if (CommunicatorPool::Instance().GetServers().Contains(this))
        CommunicatorPool::Instance().UnRegisterServer(this);
    return Error;
}

MuErrCode Server::Start(unsigned int firstPort, unsigned int lastPort) {
    CommunicatorPool & pool = CommunicatorPool::Instance();
    pool.UnRegister(this); // if the server runs, the pool must not keep its old socket
    socket = Socket::Create();
    if (Socket::InvalidSocket(socket))
        return GiveUp();
    port = firstPort;
    while (port <= lastPort && Bind(port) != NoError) {
        if (Socket::GetLastError() != Socket::AddressInUse || port == lastPort)
            return GiveUp();
        ++port;
    }
    // Not every system chooses an address for an unbound socket, and none chooses the loopback.
    if (firstPort > lastPort && Bind(0) != NoError)
        return GiveUp();
    if (Socket::Listen(socket) != NoError)
        return GiveUp();
    if (port == 0)
        port = GetChosenPort();
    try {
        pool.RegisterServer(this);
    } catch (Mu::OutOfMemoryException const &) {
        GiveUp();
        throw;
    }
    return NoError;
}

unsigned int Server::GetChosenPort() const {
    Socket::SocketAddress address{};
    static_cast<void>(Socket::GetSocketCalls().GetSockName(socket, &address));
    return address.port;
}

void Server::Stop() {
    if (!IsRunning())
        return;
    Socket::Close(socket);
    CommunicatorPool::Instance().UnRegisterServer(this);
    port = 0;
}

void Server::ProcessRead() {
    if (accepting > 0)
        return; // a pass during the construction of a connection
    struct Accepting {
        Accepting() { ++accepting; }
        ~Accepting() { --accepting; }
    } const guard;
    Accept();
}

void Server::Accept() {
    // If the peer has disconnected before, there is nothing to accept; the next pass tries again.
    unsigned long long const accepted = Socket::Accept(socket, nullptr);
    if (Socket::InvalidSocket(accepted) && Socket::GetLastError() == Socket::OtherSocketError)
        CommunicatorPool::Instance().isShortOfSockets = true;
    if (Socket::InvalidSocket(accepted) || connections.find(accepted) != connections.end())
        return;
    Socket::GetSocketCalls().SetSockOpt(accepted, Socket::OptionLevel::TCP,
                                        Socket::OptionName::NoDelay, 1);
    try {
        auto const place = connections.emplace(accepted, nullptr).first;
        try {
            place->second = new Connection(this, accepted);
        } catch (Mu::OutOfMemoryException const &) {
            connections.erase(accepted);
            throw;
        }
    } catch (Mu::OutOfMemoryException const &) {
        Socket::Close(accepted);
        throw;
    }
}

void Server::ProcessWrite() {
    // A listening socket has nothing to write.
}

void Server::ProcessError() {
    Stop();
}

void Server::RegisterService(Location const & location, Service * service) {
    Mu::UniString const name = Service::Loc2Name(location);
    services.Set(name, service);
    ChangeService(name, service);
    ProcessInfoProvider::RenewServicesFile();
}

void Server::UnregisterService(Location const & location) {
    Mu::UniString const name = Service::Loc2Name(location);
    services.Delete(name);
    ChangeService(name, nullptr);
    ProcessInfoProvider::RenewServicesFile();
}

void Server::ChangeService(Mu::UniString const & name, Service * now) {
    for (auto const & [handle, connection] : connections)
        if (connection != nullptr)
            connection->ChangeService(name, now);
}

void Server::UnregisterConnection(Connection * connection) {
    auto const found = connections.find(connection->GetSocket());
    if (found != connections.end() && found->second == connection)
        connections.erase(found);
}

void Server::Write(Mu::OChannel & channel) const {
    channel.Write(port);
    channel.Write(services.GetSize());
    for (auto const & [name, service] : services)
        channel.Write(name);
}

} // namespace IO::IPC
