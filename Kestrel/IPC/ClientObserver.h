#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Threads/Event.h>

namespace IO {
class Location;
}

namespace IO::IPC {

class Client;

/// Is notified when a client connects and disconnects, from within Connect, Disconnect or a pass of
/// the pool. May detach itself and delete the client in the call.
class KESTREL_API ClientObserver : public Mu::EventObserver {
public:
    virtual void ClientConnected(Client & client, Location const & location) = 0;
    /// `whileConnecting`: the connection was never established.
    virtual void ClientDisconnected(Client & client, bool whileConnecting) = 0;
};

} // namespace IO::IPC
