#pragma once

#include <Kestrel/Location/Location.h>
#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Root/Text/UniString.h>

namespace IO::IPC {

class Connection;

/// What a server offers under a name: gets the messages of those who selected it and replies to
/// them.
///
///     void SeparatorArrived(Connection & connection) override {
///         EndPoint::InputSeparatorGuard const guard(connection);
///         Mu::String command;
///         if (connection.GetIChannel().Read(command) == NoError && command == "Add")
///             ...
///         connection.GetOChannel().WriteSeparator();
///     }
///
/// It writes a separator in every case, for the peer waits for one, and does not flush: the pool
/// sends. Not owned by the server; unregister it before it is destroyed.
///
/// Threads: the one that drives the pool, which a slow service holds up.
class KESTREL_API Service : public Mu::Allocated {
public:
    virtual ~Service();
    /// A whole message waits. May delete the server, and with it the connection; a connection that
    /// is lost meanwhile lives on until the call is over.
    virtual void SeparatorArrived(Connection & connection) = 0;

    /// What services are known by: the names of the local part with "/" between them.
    static Mu::UniString Loc2Name(Location const & location);
};

} // namespace IO::IPC
