#pragma once

#include <Kestrel/Location/Location.h>
#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Root/Text/UniString.h>

namespace IO::IPC {

class Connection;

/// What a server offers under a name: receives the messages of the clients that selected it and
/// responds to them.
///
///     void SeparatorArrived(Connection & connection) override {
///         EndPoint::InputSeparatorGuard const guard(connection);
///         Mu::String command;
///         if (connection.GetIChannel().Read(command) == NoError && command == "Add")
///             ...
///         connection.GetOChannel().WriteSeparator();
///     }
///
/// It must write a separator in every case, as the peer waits for one, and need not flush: the pool
/// sends. Not owned by the server; unregister it before it is destroyed.
///
/// Threads: the one that drives the pool, which a slow service blocks.
class KESTREL_API Service : public Mu::Allocated {
public:
    virtual ~Service();
    /// A whole message is waiting. May delete the server, and with it the connection; a connection
    /// that is lost during the call is deleted after it.
    virtual void SeparatorArrived(Connection & connection) = 0;

    /// The name of a service: the names of the local part, separated by "/".
    static Mu::UniString Loc2Name(Location const & location);
};

} // namespace IO::IPC
