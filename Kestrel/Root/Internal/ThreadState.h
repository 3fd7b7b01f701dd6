#pragma once

#include <Kestrel/Root/Internal/CoreGuard.h>
#include <Kestrel/Root/Threads/Thread.h>
#include <Kestrel/Root/Threads/WaitQueue.h>

namespace Mu {

/// What a Thread object and the thread it started share; the last of the two deletes it. A thread
/// that this library did not start has one in its own storage, which nobody deletes.
class Thread::State : public Allocated {
public:
    /// For a thread that was not started here.
    State();
    State(RunnableTask const & task, UniString const & name);

    void Keep() { owners.fetch_add(1, std::memory_order_relaxed); }
    void Release();

    /// False: the system has no thread to give.
    bool Start();
    bool IsStarted() const { return started; }
    bool HasEnded() const { return ended.load(std::memory_order_acquire); }
    /// False: the timeout was over first.
    bool WaitForEnd(Timeout const & timeout, bool interruptible);
    /// For a thread that has ended; it leaves the system. Once, later calls do nothing.
    void Gather();
    /// The owner is gone and the thread runs on: somebody will gather it later.
    void LeaveBehind();

    void Interrupt(bool forEver);
    bool TakeInterruption();
    bool IsCanceled() const { return canceled.load(std::memory_order_acquire); }
    void BlockOn(Interruptible * interruptible);

    /// The whole life of the thread, on it.
    void Live();

    UniString const & GetName() const { return name; }
    unsigned int GetNumber() const { return number; }

    /// Gathers those left behind that have ended.
    static void GatherLeftBehind();

private:
    void RunTask();
    void End();

    std::atomic<unsigned int> owners = 1;
    RunnableTask task; // the thread's own; released when it has run
    UniString name;
    unsigned int number;
    std::uintptr_t handle = 0; // the system's; the owner's alone, until the thread was left behind
    bool started = false;      // alike
    std::atomic<bool> gathered = false;
    State * nextLeftBehind = nullptr;

    std::atomic<bool> ended = false;
    WaitQueue waiters; // for the end

    LockCore interruptionLock;           // held while blockedOn is called
    Interruptible * blockedOn = nullptr; // under interruptionLock
    std::atomic<bool> interrupted = false;
    std::atomic<bool> canceled = false;
};

/// The number of the current thread, which log lines show; 0 when there is no memory to keep one.
unsigned int GetCurrentThreadNumber();

/// A number that no thread had before.
unsigned int MakeThreadNumber();

} // namespace Mu
