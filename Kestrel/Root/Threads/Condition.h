#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Threads/Lock.h>
#include <Kestrel/Root/Threads/WaitQueue.h>
#include <Kestrel/Root/Time/Timeout.h>

namespace Mu {

/// Lets threads wait, inside a lock, for something that another thread will bring about:
///
///     Mu::LockGuard guard(lock);
///     while (queue.IsEmpty())
///         filled.Wait();
///
/// Always in a loop: what the waiter was woken for may be gone when it has the lock again.
///
/// Memory:  none.
/// Threads: any. Wait only by the holder of the lock, which holds it once: a lock that was entered
///          twice is left once, and nobody else could get in.
/// Failure: Mu::SynchronizationException when the lock cannot be taken again; it is not held then.
class KESTREL_API Condition {
public:
    explicit Condition(Lockable & givenLock) : lock(givenLock) {}
    Condition(Condition const &) = delete;
    Condition & operator=(Condition const &) = delete;

    /// Leaves the lock, waits for a Notify, and takes the lock again.
    void Wait();
    /// As Wait, but not beyond the timeout. False: there was no notification in time.
    bool Wait(Timeout const & timeout);
    /// As Wait, but an interruption of this thread ends it with Mu::InterruptedIOException. The
    /// lock is held then, as in every other case.
    void WaitInterruptibly();

    /// Wakes the thread that has waited longest, if one waits.
    void Notify() { queue.Notify(); }
    void NotifyAll() { queue.NotifyAll(); }

private:
    Lockable & lock;
    WaitQueue queue;
};

} // namespace Mu
