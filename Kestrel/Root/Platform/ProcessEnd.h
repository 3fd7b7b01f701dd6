#pragma once

namespace Mu::Platform {

/// Whether the system has ended all other threads of this process, as Windows does before it unloads
/// the modules. What they held stays held, so nobody must be waited for, and memory may stay.
bool AreOtherThreadsGone();

/// Whether the end of the library's statics may wait for threads to end. On Windows those could not
/// end before it is over.
bool MayAwaitThreads();

} // namespace Mu::Platform
