#include <Kestrel/Root/Threads/Condition.h>

#include <Kestrel/Root/Internal/InterruptibleWait.h>

namespace Mu {

void Condition::Wait() {
    Wait(Timeout());
}

bool Condition::Wait(Timeout const & timeout) {
    Parker parker;
    WaitQueue::Waiter waiter{&parker};
    queue.Append(waiter);
    lock.Leave();
    WaitAt(parker, timeout);
    bool const notified = !queue.Remove(waiter);
    lock.Enter();
    return notified;
}

// A notification that coincides with an interruption counts, so that it is not lost. The
// interruption then takes effect in the next blocking call.
void Condition::WaitInterruptibly() {
    InterruptibleWait wait(true);
    WaitQueue::Waiter waiter{&wait.GetParker()};
    queue.Append(waiter);
    lock.Leave();
    wait.Wait(Timeout());
    bool const notified = !queue.Remove(waiter);
    lock.Enter();
    if (!notified)
        wait.ThrowIfInterrupted();
}

} // namespace Mu
