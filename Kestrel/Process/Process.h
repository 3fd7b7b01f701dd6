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
//          then, and a walk continues behind the current process.
// Threads: one walk at a time in a process, as its position is shared and not locked. GetPid and
//          GetActualProcess may be called from any thread.
// Failure: statuses. A descriptor is changed only if the status is NoError; null returns Error.

namespace IO::Process {

/// The number of this process.
KESTREL_API int GetPid();

/// Describes this process. The name is that of the program file as spelt in its path, without the
/// extension; the parent's number is 0. Always NoError, except for a null descriptor: if the system
/// does not report the program's location, the name is empty and the path is unhealthy.
KESTREL_API int GetActualProcess(Descriptor * descriptor);

/// Starts a walk over the processes of this machine and describes the first one. Processes whose
/// program this user may not read, and on Linux kernel threads and processes that have ended, are
/// left out. The name is the program's file name in lower case, with its extension. The order is
/// the system's.
///
/// On Windows this takes a snapshot: processes that start later are not included. Error: there are
/// no processes, or the system could not be queried. A walk in progress is abandoned in any case.
KESTREL_API int GetFirstProcess(Descriptor * descriptor);

/// Describes the next process of the walk. Error at its end, and without a walk.
///
/// The end of the walk releases its system resources; an unfinished walk holds them until the next
/// GetFirstProcess.
KESTREL_API int GetNextProcess(Descriptor * descriptor);

} // namespace IO::Process
