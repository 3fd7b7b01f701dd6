#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Types.h>

namespace Mu {
class UniString;
}

namespace IO {

// The library's lifetime in a process, and a host's part in it.
//
// The library's objects are created when it is loaded and destroyed when it is unloaded, in the
// order of Library.cpp. A host that uses more than values, files and channels, such as the
// library's threads, calls Init before and End afterwards:
//
//
//     if (IO::Init(false, "") != IO::NoError)
//         return 1;
//     ...
//     IO::End();
//
// Pairs nest and are counted: the first Init starts, the last End ends, and a further Init starts
// again. After the last End, when the host's threads have ended and its objects are destroyed, a
// host may unload the library and load it again, as often as it likes.
//
// Threads: any.

/// The first one does, in this order:
///
/// 1. The settings file "Kestrel.Config" in the folder of the application is read. A missing one is
///    reported in the log; no setting has an effect as yet.
/// 2. Threads are prepared.
/// 3. With `reflection`, the service that shows the inside of the process to inspectors is started,
///    under the name `ident`: see ReflectionService. Without a free port it is left out, which is
///    no failure; ReflectionService::GetPort is 0 then.
///
/// Error: the system has no room for threads; this call needs no End. If a thread is interrupted
/// while it waits for the settings file, its next blocking call throws Mu::InterruptedIOException.
KESTREL_API MuErrCode Init(bool reflection, Mu::UniString const & ident);

/// The last one undoes that in reverse: connected inspectors are disconnected, whatever they are
/// doing. Waits for the hooks that are serving them, and for threads that are leaving the library's
/// code. Without an Init it does nothing. A process may end without it, also while it is inspected;
/// a host that unloads the library must call it, since its threads would otherwise run on in
/// unloaded code.
KESTREL_API void End();

} // namespace IO
