#pragma once

#include <Kestrel/Root/Internal/CoreGuard.h>
#include <Kestrel/Root/Threads/Thread.h>
#include <Kestrel/Root/Threads/WaitQueue.h>

namespace Mu {

/// State shared by a Thread object and the thread that it started; the last of the two deletes it.
/// A thread that this library did not start has one in its own storage, which is not deleted.
class Thread::State : public Allocated {
public:
    /// For a thread that this library did not start.
    State();
    State(RunnableTask const & task, UniString const & name);

    void Keep() { owners.fetch_add(1, std::memory_order_relaxed); }
    void Release();

    /// False: the system could not create a thread.
    bool Start();
    bool IsStarted() const { return started; }
    bool HasEnded() const { return ended.load(std::memory_order_acquire); }
    /// False: the timeout came first.
    bool WaitForEnd(Timeout const & timeout, bool interruptible);
    /// Joins a thread that has ended. Later calls do nothing.
    void Gather();
    /// For a thread that outlives its owner: it is joined later, see below.
    void AddLeftBehind();

    void Interrupt(bool forEver);
    bool TakeInterruption();
    bool IsCanceled() const { return canceled.load(std::memory_order_acquire); }
    void BlockOn(Interruptible * interruptible);

    /// The main function of the thread.
    void Live();

    UniString const & GetName() const { return name; }
    unsigned int GetNumber() const { return number; }

    /// Joins those abandoned threads that have ended.
    static void GatherLeftBehind();

private:
    void RunTask();
    void End();

    std::atomic<unsigned int> owners = 1;
    RunnableTask task; // the thread's own; released after it has run
    UniString name;
    unsigned int number;
    std::uintptr_t handle = 0; // used by the owner alone, until it is abandoned
    bool started = false;      // likewise
    std::atomic<bool> gathered = false;
    State * nextLeftBehind = nullptr;

    std::atomic<bool> ended = false;
    WaitQueue waiters; // waiting for the end

    LockCore interruptionLock;           // held while blockedOn is called
    Interruptible * blockedOn = nullptr; // under interruptionLock
    std::atomic<bool> interrupted = false;
    std::atomic<bool> canceled = false;
};

/// The number of the current thread, which log lines show; 0 when out of memory.
unsigned int GetCurrentThreadNumber();

/// A number that no thread has had before.
unsigned int MakeThreadNumber();

} // namespace Mu
