#pragma once

#include <atomic>
#include <cstdint>

// The root's only way to what the operating system has for threads, time and the process. Each
// platform implements all of it in its own folder.

namespace Mu::Platform {

inline constexpr unsigned long long Forever = ~0ull;

/// What the system needs to let threads wait for one word; zeros at first, and nothing to undo.
using WaitPlace = void * [2];

/// What the system can refuse. A test puts its own functions here, while no other thread runs.
struct SystemCalls {
    /// Creates the system's objects for a lock. False: the system could not.
    bool (*createLock)(WaitPlace & place);
    /// Blocks while `word` is `expected`, until a wake or for so many microseconds; may return for
    /// no reason. False: the system refused to wait.
    bool (*wait)(WaitPlace & place, std::atomic<unsigned int> & word, unsigned int expected,
                 unsigned long long microseconds);
    /// After the word was changed: wakes one of the waiting threads, or all.
    void (*wake)(WaitPlace & place, std::atomic<unsigned int> & word, bool all);
    /// Runs ThreadMain(argument) on a new thread and returns its handle; false: there is none.
    bool (*startThread)(void * argument, std::uintptr_t * thread);
};
extern SystemCalls systemCalls;

/// Where a new thread begins. The threads' own source has it.
void ThreadMain(void * argument);

/// Distinguishes threads that live at the same time. Never 0.
#if defined(__x86_64__) && defined(__linux__)
inline std::uintptr_t GetThreadToken() { // as below, without a call: every lock asks for it
    std::uintptr_t token;
    asm("mov %%fs:0, %0" : "=r"(token));
    return token;
}
#else
std::uintptr_t GetThreadToken();
#endif
/// Waits until the thread is gone, and frees its handle.
void JoinThread(std::uintptr_t thread);
/// Names the calling thread for debuggers; UTF-8.
void NameThread(char const * name);
/// Lets another thread run, if one is ready.
void YieldThread();

/// A zeroed block for the calling thread alone, freed when it ends; the same one each time. Null:
/// no memory. What is put there is not destroyed.
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
/// The user's time of so many seconds since 1970, UTC.
LocalTime GetLocalTime(unsigned long long seconds);

/// Writes the text, which ends in a line break, to standard error, and aborts the process.
[[noreturn]] void StopProcess(char const * text);

/// Hints to the processor that this is a loop that waits.
inline void Pause() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#endif
}

} // namespace Mu::Platform
