#pragma once

#include <Kestrel/IPC/EndPoint.h>
#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Text/UniString.h>

namespace IO::IPC {

class Server;
class Service;

/// The server's end of an accepted connection. Checks the sign that the peer starts with, follows
/// its service selections, and passes each message to the selected service.
///
/// Lives on the heap; created by Server, and deleted when the peer disconnects, or with the server.
class KESTREL_API Connection : public EndPoint {
public:
    enum State : int {
        WaitingForSign = 0, ///< the first message contains the peer's platform
        InService = 1,      ///< a message is being handled
        Idle = 2
    };

    /// Idle and without an owner.
    Connection();
    /// Takes the socket, registers with the pool and reads the available data.
    Connection(Server * server, unsigned long long socket);
    ~Connection() override;

    /// Deletes the object: at once, or when the service that handles a message returns.
    void ProcessError() override;
    void SeparatorArrived() override;
    /// Selects the service of that name; the current one remains selected if there is none.
    void LocationArrived(Location const & location) override;

    State GetState() const { return state; }

private:
    friend class Server;

    void TakeSign();
    void HandleMessage();
    void GiveUp();
    void SetState(State next);
    /// The name now belongs to another service, or, with null, to none.
    void ChangeService(Mu::UniString const & name, Service * now);

    State state;
    Server * server;
    Service * service = nullptr;
    Mu::UniString serviceName; // by which the peer selected the service
    bool isEnding = false;     // lost while a service handles a message
    Life life;
};

} // namespace IO::IPC
