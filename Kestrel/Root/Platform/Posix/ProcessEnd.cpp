#include <Kestrel/Root/Platform/ProcessEnd.h>

namespace Mu::Platform {

// Other threads run while statics are destroyed, until the process ends.
bool AreOtherThreadsGone() {
    return false;
}

bool MayAwaitThreads() {
    return true;
}

} // namespace Mu::Platform
