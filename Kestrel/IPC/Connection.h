#pragma once

#include <Kestrel/IPC/EndPoint.h>
#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Text/UniString.h>

namespace IO::IPC {

class Server;
class Service;

/// The server's end of an accepted connection. Looks at the sign that the peer begins with, follows
/// its selections, and hands each message to the selected service.
///
/// On the heap; made by Server, and deleted when the peer goes, or with the server.
class KESTREL_API Connection : public EndPoint {
public:
    enum State : int {
        WaitingForSign = 0, ///< the first message carries the peer's platform
        InService = 1,      ///< a message is being handled
        Idle = 2
    };

    /// Idle and unowned.
    Connection();
    /// Takes the socket, registers with the pool and reads what is there.
    Connection(Server * server, unsigned long long socket);
    ~Connection() override;

    /// Deletes the object: at once, or when the service that works on it returns.
    void ProcessError() override;
    void SeparatorArrived() override;
    /// Selects the service of that name; the earlier selection stays when there is none.
    void LocationArrived(Location const & location) override;

    State GetState() const { return state; }

private:
    friend class Server;

    void TakeSign();
    void HandleMessage();
    void GiveUp();
    void SetState(State next);
    /// The name stands for another service now, or, with null, for none.
    void ChangeService(Mu::UniString const & name, Service * now);

    State state;
    Server * server;
    Service * service = nullptr;
    Mu::UniString serviceName; // by which the peer selected it
    bool isEnding = false;     // lost while in service
    Life life;
};

} // namespace IO::IPC
