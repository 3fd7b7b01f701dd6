#pragma once

#include <atomic>
#include <cstdint>

// The root's only access to the operating system's threads, time and process. Each platform
// implements all of it in its own folder.

namespace Mu::Platform {

inline constexpr unsigned long long Forever = ~0ull;

/// The system's state for threads that wait for one word; initially zeros, and never freed.
using WaitPlace = void * [2];

/// The calls that the system can refuse. A test replaces them while no other thread runs.
struct SystemCalls {
    /// Creates the system's objects for a lock. False: the system failed to.
    bool (*createLock)(WaitPlace & place);
    /// Blocks while `word` is `expected`, until a wake or for that many microseconds; may return
    /// spuriously. False: the system refused to wait.
    bool (*wait)(WaitPlace & place, std::atomic<unsigned int> & word, unsigned int expected,
                 unsigned long long microseconds);
    /// Called after the word was changed: wakes one of the waiting threads, or all.
    void (*wake)(WaitPlace & place, std::atomic<unsigned int> & word, bool all);
    /// Runs ThreadMain(argument) on a new thread and returns its handle; false: there is no new
    /// thread.
    bool (*startThread)(void * argument, std::uintptr_t * thread);
};
extern SystemCalls systemCalls;

/// The start of a new thread. Defined by the thread's own source.
void ThreadMain(void * argument);

/// Distinguishes threads that exist at the same time. Never 0.
#if defined(__x86_64__) && defined(__linux__)
inline std::uintptr_t GetThreadToken() { // as below, without a call: every lock needs it
    std::uintptr_t token;
    asm("mov %%fs:0, %0" : "=r"(token));
    return token;
}
#else
std::uintptr_t GetThreadToken();
#endif
/// Waits until the thread has ended, and frees its handle.
void JoinThread(std::uintptr_t thread);
/// Names the calling thread for debuggers; UTF-8.
void NameThread(char const * name);
/// Lets another thread run, if one is ready.
void YieldThread();

/// A zeroed block for the calling thread alone, freed when it ends; the same one each time. Null:
/// out of memory. Its content is not destroyed.
void * GetThreadStorage();
inline constexpr unsigned int ThreadStorageSize = 512;

unsigned int GetProcessId();
/// Milliseconds since 1970, UTC.
unsigned long long GetWallMilliseconds();
unsigned long long GetMonotonicMicroseconds();

struct LocalTime {
    unsigned int year, month, day, hour, minute, second; // month and day from 1
    int offset;                                          // minutes east of UTC
};
/// The user's local time of that many seconds since 1970, UTC.
LocalTime GetLocalTime(unsigned long long seconds);

/// Writes the text, which ends in a line break, to standard error, and aborts the process.
[[noreturn]] void StopProcess(char const * text);

/// Hints to the processor that this is a waiting loop.
inline void Pause() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#endif
}

} // namespace Mu::Platform
