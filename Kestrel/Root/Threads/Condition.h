#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Threads/Lock.h>
#include <Kestrel/Root/Threads/WaitQueue.h>
#include <Kestrel/Root/Time/Timeout.h>

namespace Mu {

/// Lets threads wait, inside a lock, for a change by another thread:
///
///     Mu::LockGuard guard(lock);
///     while (queue.IsEmpty())
///         filled.Wait();
///
/// Always wait in a loop: the condition may no longer hold when the waiter has the lock again.
///
/// Memory:  none.
/// Threads: any. Wait may be called only by the holder of the lock, which must hold it once: Wait
///          releases it once, so with a lock held twice no other thread could enter.
/// Failure: Mu::SynchronizationException if the lock cannot be taken again; it is not held then.
class KESTREL_API Condition {
public:
    explicit Condition(Lockable & givenLock) : lock(givenLock) {}
    Condition(Condition const &) = delete;
    Condition & operator=(Condition const &) = delete;

    /// Releases the lock, waits for a Notify, and takes the lock again.
    void Wait();
    /// Like Wait, but at most until the timeout. False: there was no notification in time.
    bool Wait(Timeout const & timeout);
    /// Like Wait, but an interruption of this thread ends it with Mu::InterruptedIOException. The
    /// lock is held then, as in every other case.
    void WaitInterruptibly();

    /// Wakes the thread that has been waiting longest, if any.
    void Notify() { queue.Notify(); }
    void NotifyAll() { queue.NotifyAll(); }

private:
    Lockable & lock;
    WaitQueue queue;
};

} // namespace Mu
