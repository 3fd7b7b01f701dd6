#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Threads/Lock.h>

namespace Mu {

class Parker;

/// The threads that wait for one condition, oldest first. The part of a Condition without the lock;
/// outside the root use a Condition.
///
/// Memory:  none; the waiters are on the stacks of the waiting threads.
/// Threads: any.
/// Failure: none.
class KESTREL_API WaitQueue {
public:
    /// A waiting thread, with the means to wake it.
    struct Waiter {
        Parker * parker;
        Waiter * next = nullptr;
    };

    constexpr WaitQueue() = default;
    WaitQueue(WaitQueue const &) = delete;
    WaitQueue & operator=(WaitQueue const &) = delete;

    void Append(Waiter & waiter);
    /// False: it was notified meanwhile. In either case no other thread accesses it any more.
    bool Remove(Waiter & waiter);
    void Notify();
    void NotifyAll();

private:
    Waiter * TakeFirst();

    LockCore lock;
    Waiter * first = nullptr;
    Waiter * last = nullptr;
};

} // namespace Mu
