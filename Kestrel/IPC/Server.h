#pragma once

#include <Kestrel/IPC/Communicator.h>
#include <Kestrel/Location/Location.h>
#include <Kestrel/Root/Containers/HashTable.h>
#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Text/UniString.h>

#include <map>

namespace Mu {
class OChannel;
}

namespace IO::IPC {

class Connection;
class Service;

/// Listens on a TCP port and offers services, which clients select by name.
///
///     Server server;
///     server.SetLoopbackOnly(true);
///     server.RegisterService(Location("Calculator"), &calculator);
///     server.Start(65000, 65100);
///
/// Without SetLoopbackOnly, everybody who reaches this machine may connect, and nobody is asked who
/// he is.
///
/// Memory:  its tables and its connections. Mu::OutOfMemoryException on shortage.
/// Threads: the one that drives the pool.
/// Failure: Start returns Error, and Socket::GetLastError says why. A listening socket in error stops
///          the server.
class KESTREL_API Server : public Communicator {
public:
    using ServiceMap = Mu::HashTable<Mu::UniString, Service *>;

    Server();
    /// Ends its connections, and stops.
    ~Server() override;

    void ProcessRead() override;
    void ProcessWrite() override;
    void ProcessError() override;

    /// Listens on the first port of the range that is free; for 0, on one that the system chooses.
    /// Error: none is, or the system refused.
    // Kept: with firstPort above lastPort the system chooses the port, and GetPort returns firstPort
    // all the same. A server that runs gets a new socket, and the old one stays open.
    MuErrCode Start(unsigned int firstPort, unsigned int lastPort);
    /// Existing connections continue.
    void Stop();
    bool IsRunning() const { return port != 0; }
    /// 0: it does not run.
    unsigned int GetPort() const { return port; }
    /// Whether only programs of this machine can connect. False at first; counts from the next Start
    /// on.
    void SetLoopbackOnly(bool isOn) { isLoopbackOnly = isOn; }
    bool IsLoopbackOnly() const { return isLoopbackOnly; }

    /// Under the name that Service::Loc2Name makes of the location; a service that has it already is
    /// replaced, also for the connections that selected it. Not owned. Writes the services file of
    /// this process, as do Start, Stop and UnregisterService.
    void RegisterService(Location const & location, Service * service);
    /// Connections that selected it by this name get no answers from then on.
    void UnregisterService(Location const & location);
    ServiceMap & GetServiceMap() { return services; }

    /// The port, the number of services and their names. The statuses are not checked.
    void Write(Mu::OChannel & channel) const;

private:
    friend class Connection;
    using ConnectionMap =
        std::map<unsigned long long, Connection *, std::less<>,
                 Mu::StdAllocator<std::pair<unsigned long long const, Connection *>>>;

    void UnregisterConnection(Connection * connection);
    void ChangeService(Mu::UniString const & name, Service * now);
    int Bind(unsigned int number) const;
    MuErrCode GiveUp();
    unsigned int GetChosenPort() const;
    void Accept();

    unsigned int port = 0;
    ConnectionMap connections; // owned
    ServiceMap services;
    bool isLoopbackOnly = false;
};

} // namespace IO::IPC
