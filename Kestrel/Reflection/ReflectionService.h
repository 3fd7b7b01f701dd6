#pragma once

#include <Kestrel/Root/Export.h>

namespace Mu {
class UniString;
}

namespace IO {

/// Makes everything that is registered with ReflectionManager accessible to inspectors over TCP.
///
/// IO::Init starts it and the last IO::End stops it. It uses the first free port of its range, so
/// ten processes of a machine can be inspected at a time. ReflectionClient is the client.
///
/// There is no access control: everyone who can reach the port can read everything that is
/// registered, and no one can change anything. By default the port is open on all addresses of the
/// machine, as inspectors on other machines expect; SetLoopbackOnly restricts it to this one. A
/// location of more than 2048 names does not exist.
///
/// Memory:  a thread for each connected inspector, the body of its current request, and the
///          response.
/// Threads: any. The settings are read when the service starts. Stopping it waits for hooks that
///          are running.
/// Failure: false.
class KESTREL_API ReflectionService {
public:
    static constexpr unsigned short FirstPort = 37770;
    static constexpr unsigned short LastPort = 37779;

    /// Starts it with the name by which an inspector identifies the process. False: no port is
    /// free, there are no resources for a thread, or it is already running.
    static bool Initialize(Mu::UniString const & ident);
    /// Stops it and closes all connections in any state.
    static void Terminate();
    /// 0 if it is not running.
    static unsigned short GetPort();

    /// Whether only this machine can connect.
    static void SetLoopbackOnly(bool isOn);
    /// The limit for the bytes of a request; a longer one closes its connection. 16 MiB by default.
    static void SetRequestLimit(unsigned int size);
    /// The limit for the bytes of a response; a longer one closes its connection. A short request
    /// can ask for the values of millions of names. 256 MiB by default.
    static void SetAnswerLimit(unsigned int size);
    /// The limit for connected inspectors; further ones wait until one disconnects. 64 by default.
    static void SetClientLimit(unsigned int count);
};

} // namespace IO
