#include <Kestrel/Root/Platform/SystemCalls.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <linux/futex.h>
#include <pthread.h>
#include <sched.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

namespace Mu::Platform {

namespace {

// A futex is the word itself; nothing has to be created.
bool CreateLock(WaitPlace &) {
    return true;
}

bool Wait(WaitPlace &, std::atomic<unsigned int> & word, unsigned int expected,
          unsigned long long microseconds) {
    timespec limit{};
    limit.tv_sec = static_cast<time_t>(microseconds / 1000000);
    limit.tv_nsec = static_cast<long>(microseconds % 1000000) * 1000;
    timespec const * const limitOrNone = microseconds == Forever ? nullptr : &limit;
    long const result = syscall(SYS_futex, reinterpret_cast<unsigned int *>(&word),
                                FUTEX_WAIT_PRIVATE, expected, limitOrNone, nullptr, 0);
    return result == 0 || errno == EAGAIN || errno == EINTR || errno == ETIMEDOUT;
}

// The word may no longer exist if this was the last use of a lock; the kernel tolerates that.
void Wake(WaitPlace &, std::atomic<unsigned int> & word, bool all) {
    syscall(SYS_futex, reinterpret_cast<unsigned int *>(&word), FUTEX_WAKE_PRIVATE,
            all ? 0x7FFFFFFF : 1, nullptr, nullptr, 0);
}

void * RunThread(void * argument) {
    ThreadMain(argument);
    return nullptr;
}

bool StartThread(void * argument, std::uintptr_t * thread) {
    pthread_t handle;
    if (pthread_create(&handle, nullptr, RunThread, argument) != 0)
        return false;
    *thread = static_cast<std::uintptr_t>(handle);
    return true;
}

// Without a destructor, so that the library can be unloaded while the thread runs on.
alignas(16) thread_local unsigned char threadStorage[ThreadStorageSize];

} // namespace

constinit SystemCalls systemCalls = {CreateLock, Wait, Wake, StartThread};

#if !defined(__x86_64__) || !defined(__linux__)
std::uintptr_t GetThreadToken() {
    return static_cast<std::uintptr_t>(pthread_self());
}
#endif

void JoinThread(std::uintptr_t thread) {
    pthread_join(static_cast<pthread_t>(thread), nullptr);
}

void NameThread(char const * name) {
    char part[16] = {}; // the longest that the system accepts, with the terminator
    std::strncpy(part, name, sizeof part - 1);
    pthread_setname_np(pthread_self(), part);
}

void YieldThread() {
    sched_yield();
}

void * GetThreadStorage() {
    return threadStorage;
}

unsigned int GetProcessId() {
    return static_cast<unsigned int>(getpid());
}

unsigned long long GetWallMilliseconds() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<unsigned long long>(now.tv_sec) * 1000 +
           static_cast<unsigned long long>(now.tv_nsec) / 1000000;
}

unsigned long long GetMonotonicMicroseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<unsigned long long>(now.tv_sec) * 1000000 +
           static_cast<unsigned long long>(now.tv_nsec) / 1000;
}

LocalTime GetLocalTime(unsigned long long seconds) {
    time_t const time = static_cast<time_t>(seconds);
    tm local{};
    localtime_r(&time, &local);
    LocalTime result{};
    result.year = static_cast<unsigned int>(local.tm_year + 1900);
    result.month = static_cast<unsigned int>(local.tm_mon + 1);
    result.day = static_cast<unsigned int>(local.tm_mday);
    result.hour = static_cast<unsigned int>(local.tm_hour);
    result.minute = static_cast<unsigned int>(local.tm_min);
    result.second = static_cast<unsigned int>(local.tm_sec);
    result.offset = static_cast<int>(local.tm_gmtoff / 60);
    return result;
}

void StopProcess(char const * text) {
    [[maybe_unused]] ssize_t const written = write(STDERR_FILENO, text, std::strlen(text));
    std::abort();
}

} // namespace Mu::Platform
