#pragma once

#include <Kestrel/Root/Export.h>

namespace Mu {
class UniString;
}

namespace IO {

/// Lets inspectors look into this process over TCP: at all that is registered with
/// ReflectionManager.
///
/// IO::Init starts it and the last IO::End ends it. It takes the first free port of its range, so
/// that ten processes of a machine can be inspected at a time; ReflectionClient asks it.
///
/// There is no access control: everybody who reaches the port can read all that is registered, and
/// nobody can change anything. By default the port is open on all addresses of the machine, as
/// inspectors of other machines expect it; SetLoopbackOnly keeps it to this one. Nothing is found
/// at a location of more than 2048 names.
///
/// Memory:  a thread for each inspector that is connected, the body of its present request, and the
///          answer.
/// Threads: any. The settings are read when the service starts. Ending it waits for hooks that
///          are being asked.
/// Failure: false.
class KESTREL_API ReflectionService {
public:
    static constexpr unsigned short FirstPort = 37770;
    static constexpr unsigned short LastPort = 37779;

    /// Starts it, with the name by which an inspector distinguishes the process from others. False:
    /// no port is free, there is no thread or memory for it, or it runs already.
    static bool Initialize(Mu::UniString const & ident);
    /// Ends it with all connections, in whatever they are.
    static void Terminate();
    /// 0 while it does not run.
    static unsigned short GetPort();

    /// Whether only this machine can connect.
    static void SetLoopbackOnly(bool isOn);
    /// Bytes of a request, at most; a longer one ends its connection. 16 MiB at first.
    static void SetRequestLimit(unsigned int size);
    /// Bytes of an answer, at most; a longer one ends its connection. A short request can ask for the
    /// values of millions of names. 256 MiB at first.
    static void SetAnswerLimit(unsigned int size);
    /// Inspectors at a time; further ones wait until one goes. 64 at first.
    static void SetClientLimit(unsigned int count);
};

} // namespace IO
