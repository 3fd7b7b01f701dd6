#include "Tests/Support/FaultSweep.h"

#if defined(_WIN32)
#include <windows.h>

#include <tlhelp32.h>
#else
#include <filesystem>
#endif

namespace Tests {

#if defined(_WIN32)

long long CountHandles() {
    DWORD count = 0;
    return GetProcessHandleCount(GetCurrentProcess(), &count) ? static_cast<long long>(count) : 0;
}

long long CountThreads() {
    HANDLE const snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    if (snapshot == INVALID_HANDLE_VALUE)
        return 0;
    long long count = 0;
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry))
        if (entry.th32OwnerProcessID == GetCurrentProcessId())
            ++count;
    CloseHandle(snapshot);
    return count;
}

#else

namespace {
long long CountEntries(char const * folder) {
    long long count = 0;
    for ([[maybe_unused]] auto const & entry : std::filesystem::directory_iterator(folder))
        ++count;
    return count;
}
} // namespace

long long CountHandles() {
    return CountEntries("/proc/self/fd");
}
long long CountThreads() {
    return CountEntries("/proc/self/task");
}

#endif

} // namespace Tests
