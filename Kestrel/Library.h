#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Types.h>

namespace Mu {
class UniString;
}

namespace IO {

// The library's life in a process, and a host's part in it.
//
// Everything that the library keeps is made when it is loaded and unmade when it is unloaded, in one
// order that stands in Library.cpp. A host that wants more than values, files and channels, such as
// threads of the library's, says so by Init before and by End behind:
//
//     if (IO::Init(false, "") != IO::NoError)
//         return 1;
//     ...
//     IO::End();
//
// Pairs nest and are counted: the first Init starts, the last End ends, and a further Init starts
// again. Behind the last End, when the threads that the host made have ended and its objects are
// gone, a host may unload the library and load it again, as often as it likes.
//
// Threads: any.

/// At the first one, in this order:
///
/// 1. The settings file "Kestrel.Config" in the folder of the application is read. A missing one is
///    reported in the log; no setting changes anything as yet.
/// 2. Threads are made ready.
/// 3. When `reflection` asks for it, the service that shows the inside of the process to inspectors is
///    started, under the name `ident`: see ReflectionService. Without a free port it is left out,
///    which is no failure; ReflectionService::GetPort is 0 then.
///
/// Error: the system has no room for threads; this call needs no End. A thread that is interrupted
/// while it waits for the settings file meets Mu::InterruptedIOException in its next blocking call.
KESTREL_API MuErrCode Init(bool reflection, Mu::UniString const & ident);

/// At the last one takes that back in reverse: inspectors that are connected are cut off, whatever they
/// are doing. Waits for the hooks that are answering them, and for those threads that are on their way
/// out of the library's code. One without an Init does nothing. A process may end without it, also
/// while it is inspected; a host that unloads the library may not, since its threads would run on in
/// code that is gone.
KESTREL_API void End();

} // namespace IO
