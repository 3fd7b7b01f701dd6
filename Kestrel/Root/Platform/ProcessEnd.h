#pragma once

namespace Mu::Platform {

/// Whether the system has ended all other threads of this process, as Windows does before it
/// unloads the modules. Their locks are never released, so nothing must wait for them, and memory
/// need not be freed.
bool AreOtherThreadsGone();

/// Whether the destruction of the library's statics may wait for threads to end. On Windows threads
/// cannot end before it is complete.
bool MayAwaitThreads();

} // namespace Mu::Platform
