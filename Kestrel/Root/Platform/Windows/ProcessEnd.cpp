#include <Kestrel/Root/Platform/ProcessEnd.h>

#include <windows.h>

// Of ntdll, since Windows Vista; not in the headers.
extern "C" BOOLEAN NTAPI RtlDllShutdownInProgress(void);

namespace Mu::Platform {

bool AreOtherThreadsGone() {
    return RtlDllShutdownInProgress() != FALSE;
}

bool MayAwaitThreads() {
    return false;
}

} // namespace Mu::Platform
