#pragma once

#include <Kestrel/IPC/ClientObserver.h>
#include <Kestrel/IPC/EndPoint.h>
#include <Kestrel/Location/Location.h>
#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Threads/Event.h>

namespace IO::IPC {

/// The client's end of a connection to a service.
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
/// Connect does not wait until the connection is established; data written before that is lost, so
/// drive the pool until GetConnectState returns Connected, or write in
/// ClientObserver::ClientConnected.
///
/// Memory:  its channels.
/// Threads: the one that drives the pool.
/// Failure: Error if a connection cannot be started. Later failures are reported to the observers
///          and by GetConnectState and IsOk. The client may then connect again, which discards
///          unread data of the earlier connection.
class KESTREL_API Client : public EndPoint, public Mu::EventSource {
public:
    enum ConnectState : int { NotConnected = 0, Connecting = 1, Connected = 2 };

    Client();
    /// Disconnects.
    ~Client() override;

    bool AlwaysWrite() const override;
    void ProcessWrite() override;
    void ProcessError() override;

    /// Connects to scheme://host:port/service. NoError: the connection is established or in
    /// progress. Error: there already is one, the location has no host or port, or the attempt
    /// failed at once.
    MuErrCode Connect(Location const & location);
    void Disconnect();
    ConnectState GetConnectState() const { return mState; }
    Location const & GetPendingConnectLocation() const { return mLocation; }
    /// The time limit for establishing a connection, at most a day; 30 seconds by default.
    void SetConnectTimeout(int seconds);
    /// Selects the service that receives the messages from the next one on. Only while connected.
    /// Returns the status of an unhealthy location, and selects nothing then.
    MuErrCode SelectService(Location const & location);
    // Not owned; an observer detaches itself before it is destroyed.
    void Attach(ClientObserver & observer) { EventSource::Attach(observer); }
    void Detach(ClientObserver & observer) { EventSource::Detach(observer); }
    /// Checks whether the connection is established now. Called by the pool.
    void ProcessPendingConnect();

    /// The host and port of the location's URL. Error: it has no port.
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
