#include "Tests/Support/FileSystem/SystemCallCount.h"

#if defined(__linux__)
#include <csignal>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace Tests {

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define KESTREL_SANITIZED
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define KESTREL_SANITIZED
#endif

#if defined(__linux__) && !defined(KESTREL_SANITIZED)

namespace {

// A call that the work does not make itself stands before and behind it.
constexpr long Marker = SYS_getppid;

[[noreturn]] void RunTraced(std::function<void()> const & work) {
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0)
        _exit(1);
    raise(SIGSTOP);
    syscall(Marker);
    work();
    syscall(Marker);
    _exit(0);
}

// Lets the child go on to where it enters or leaves its next call.
bool Step(pid_t child, int * status) {
    return ptrace(PTRACE_SYSCALL, child, nullptr, nullptr) == 0 &&
           waitpid(child, status, 0) == child && WIFSTOPPED(*status);
}

// Each call stops its process twice: as it enters, where it counts, and as it leaves.
long long CountStops(pid_t child) {
    long long count = 0;
    int markers = 0;
    int status = 0;
    // Without the option a stop does not tell what it is for.
    if (ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD) != 0)
        return -1;
    while (Step(child, &status)) {
        __ptrace_syscall_info info = {};
        if (ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof(info), &info) <= 0)
            return -1;
        if (info.op != PTRACE_SYSCALL_INFO_ENTRY)
            continue;
        if (info.entry.nr == Marker)
            ++markers;
        else if (markers == 1)
            ++count;
    }
    return markers == 2 && WIFEXITED(status) ? count : -1;
}

} // namespace

long long CountSystemCalls(std::function<void()> const & work) {
    pid_t const child = fork();
    if (child == 0)
        RunTraced(work);
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child)
        return -1;
    long long const count = WIFSTOPPED(status) ? CountStops(child) : -1;
    if (count < 0 && !WIFEXITED(status)) {
        kill(child, SIGKILL);
        waitpid(child, &status, 0);
    }
    return count;
}

#else

long long CountSystemCalls(std::function<void()> const & /*work*/) {
    return -1;
}

#endif

} // namespace Tests
