#pragma once

#include <Kestrel/Process/Descriptor.h>

// The processes of this machine. To enumerate them once:
//
//     IO::Process::Descriptor process;
//     for (int status = IO::Process::GetFirstProcess(&process); status == IO::NoError;
//          status = IO::Process::GetNextProcess(&process))
//         ...
//
// Memory:  the descriptor's. Mu::OutOfMemoryException on shortage; the descriptor is unchanged
//          then, and a walk goes on behind the process that was met.
// Threads: one walk at a time in a process, for there is one place where it keeps how far it came,
//          and no lock on it. GetPid and GetActualProcess may be called from any thread.
// Failure: statuses. A descriptor is changed only when the status is NoError; a null one is Error.

namespace IO::Process {

/// The number of this process.
KESTREL_API int GetPid();

/// Describes this process. The name is that of the program file as its path spells it, without the
/// extension; the parent's number is 0. Always NoError, but for a null descriptor: when the system
/// does not report where the program lies, the name is empty and the path is not healthy.
KESTREL_API int GetActualProcess(Descriptor * descriptor);

/// Starts a walk over the processes of this machine and describes the first one. Processes whose
/// program this user may not read, and on Linux threads of the kernel and processes that ended, are
/// left out. The name is the program's file name in lower case, with its extension. The order is
/// the system's.
///
/// The look is taken here: on Windows, processes that start later are not in it.
/// Error: there is none, or the system did not let itself be asked. A walk that ran before is given
/// up in any case.
KESTREL_API int GetFirstProcess(Descriptor * descriptor);

/// The next process of the walk. Error at its end, and without a walk.
///
/// The end gives back what the walk holds of the system; a walk that is left earlier holds it until
/// the next GetFirstProcess.
KESTREL_API int GetNextProcess(Descriptor * descriptor);

} // namespace IO::Process
