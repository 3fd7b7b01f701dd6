#include <Kestrel/Root/Platform/ProcessEnd.h>

namespace Mu::Platform {

// They run on while statics end, until the process does.
bool AreOtherThreadsGone() {
    return false;
}

bool MayAwaitThreads() {
    return true;
}

} // namespace Mu::Platform
