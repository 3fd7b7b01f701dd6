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
/// Without SetLoopbackOnly, everyone who can reach this machine can connect; there is no
/// authentication.
///
/// Memory:  its tables and its connections. Mu::OutOfMemoryException on shortage.
/// Threads: the one that drives the pool.
/// Failure: Start returns Error, and Socket::GetLastError returns the cause. An error of the
///          listening socket stops the server.
class KESTREL_API Server : public Communicator {
public:
    using ServiceMap = Mu::HashTable<Mu::UniString, Service *>;

    Server();
    /// Closes its connections, and stops.
    ~Server() override;

    void ProcessRead() override;
    void ProcessWrite() override;
    void ProcessError() override;

    /// Listens on the first free port of the range; for 0, on one that the system chooses. Error:
    /// no port is free, or the system refused.
    // Kept: if firstPort is above lastPort, the system chooses the port, and GetPort returns
    // firstPort nevertheless. Starting a running server opens a new socket and leaves the old one
    // open.
    MuErrCode Start(unsigned int firstPort, unsigned int lastPort);
    /// Existing connections continue.
    void Stop();
    bool IsRunning() const { return port != 0; }
    /// 0 if it is not running.
    unsigned int GetPort() const { return port; }
    /// Whether only programs on this machine can connect. False by default; takes effect at the
    /// next Start.
    void SetLoopbackOnly(bool isOn) { isLoopbackOnly = isOn; }
    bool IsLoopbackOnly() const { return isLoopbackOnly; }

    /// Registers a service under the name that Service::Loc2Name makes of the location, and
    /// replaces the service that has it, also for the connections that selected it. Not owned.
    /// Writes the services file of this process, as do Start, Stop and UnregisterService.
    void RegisterService(Location const & location, Service * service);
    /// Connections that selected the service by this name get no responses from then on.
    void UnregisterService(Location const & location);
    ServiceMap & GetServiceMap() { return services; }

    /// Writes the port, the number of services and their names. The statuses are not checked.
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
