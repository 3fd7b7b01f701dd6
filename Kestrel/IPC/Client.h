#pragma once

#include <Kestrel/IPC/ClientObserver.h>
#include <Kestrel/IPC/EndPoint.h>
#include <Kestrel/Location/Location.h>
#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Threads/Event.h>

namespace IO::IPC {

/// The calling end of a connection to a service.
///
///     Client client;
///     client.Connect(Location("ipc://localhost:65000/Calculator"));
///     client.GetOChannel().Write(Mu::String("Add"));
///     client.GetOChannel().WriteSeparator();
///     if (client.WaitNextSeparator(5.0) == NoError) {
///         EndPoint::InputSeparatorGuard const guard(client);
///         client.GetIChannel().Read(answer);
///     }
///
/// Connect does not wait for the connection; what is written before it stands is lost, so drive the
/// pool until GetConnectState says Connected, or write in ClientObserver::ClientConnected.
///
/// Memory:  its channels.
/// Threads: the one that drives the pool.
/// Failure: Error when a connection cannot be begun. What fails later notifies the observers and
///          shows in GetConnectState and IsOk. After it the client may connect again; what the
///          earlier connection left unread is dropped then.
class KESTREL_API Client : public EndPoint, public Mu::EventSource {
public:
    enum ConnectState : int { NotConnected = 0, Connecting = 1, Connected = 2 };

    Client();
    /// Disconnects.
    ~Client() override;

    bool AlwaysWrite() const override;
    void ProcessWrite() override;
    void ProcessError() override;

    /// To scheme://host:port/service. NoError: the connection stands or is under way. Error: there
    /// is one already, the location names no host and port, or it failed at once.
    MuErrCode Connect(Location const & location);
    void Disconnect();
    ConnectState GetConnectState() const { return mState; }
    Location const & GetPendingConnectLocation() const { return mLocation; }
    /// How long a connection may take, at most a day. 30 at first.
    void SetConnectTimeout(int seconds);
    /// Messages go to that service from the next one on. While connected only. The status of a
    /// location that is not healthy; nothing is selected then.
    MuErrCode SelectService(Location const & location);
    // Not owned; an observer detaches itself before it is destroyed.
    void Attach(ClientObserver & observer) { EventSource::Attach(observer); }
    void Detach(ClientObserver & observer) { EventSource::Detach(observer); }
    /// Checks whether the connection is established now. For the pool.
    void ProcessPendingConnect();

    /// Host and port of the location's URL. Error: it has no port.
    static MuErrCode InterpretAddress(Location const & location, Mu::String & host, int & port);

private:
    void Greet();
    template <typename Notify>
    void NotifyObservers(Notify notify);

    ConnectState mState = NotConnected;
    int mConnectStart = 0; // TIGetTime
    int mConnectTimeout = 0;
    bool mWritten = false;
    Mu::String mHost;
    int mPort = 0;
    Location mLocation;
    Life life;
};

} // namespace IO::IPC
