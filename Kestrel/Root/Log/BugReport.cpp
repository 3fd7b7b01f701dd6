#include <Kestrel/Root/Log/BugReport.h>

#include <Kestrel/Root/Threads/Lock.h>

#include <cstring>

namespace {

constexpr unsigned int PathSize = 1024;

constinit Mu::SpinLock pathLock; // held only for one copy, so that a reporter gets it soon
constinit char currentPath[PathSize] = {};
constinit char previousPath[PathSize] = {};

bool Copy(char const * from, char * to, std::size_t capacity) {
    std::size_t const length = from != nullptr ? std::strlen(from) : 0;
    bool const fits = length > 0 && length < capacity;
    if (fits)
        std::memcpy(to, from, length + 1);
    else if (capacity > 0)
        to[0] = 0;
    return fits;
}

} // namespace

void BugRep_SetLogFileLocations(char const * current, char const * previous) {
    Mu::LockGuard guard(pathLock);
    Copy(current, currentPath, PathSize);
    Copy(previous, previousPath, PathSize);
}

bool BugRep_GetCurrentLogFile(char * path, unsigned int capacity) {
    Mu::LockGuard guard(pathLock);
    return Copy(currentPath, path, capacity);
}

bool BugRep_GetPreviousLogFile(char * path, unsigned int capacity) {
    Mu::LockGuard guard(pathLock);
    return Copy(previousPath, path, capacity);
}
