#include <Kestrel/Root/Threads/WaitQueue.h>

#include <Kestrel/Root/Internal/CoreGuard.h>
#include <Kestrel/Root/Internal/Parker.h>

namespace Mu {

void WaitQueue::Append(Waiter & waiter) {
    CoreGuard guard(lock);
    waiter.next = nullptr;
    (first == nullptr ? first : last->next) = &waiter;
    last = &waiter;
}

bool WaitQueue::Remove(Waiter & waiter) {
    CoreGuard guard(lock);
    Waiter * before = nullptr;
    for (Waiter * each = first; each != nullptr; before = each, each = each->next) {
        if (each != &waiter)
            continue;
        (before == nullptr ? first : before->next) = waiter.next;
        if (last == &waiter)
            last = before;
        return true;
    }
    return false;
}

// The waiter is woken inside the lock: it calls Remove before its parker is destroyed.
void WaitQueue::Notify() {
    CoreGuard guard(lock);
    if (Waiter * const waiter = TakeFirst())
        waiter->parker->Wake();
}

void WaitQueue::NotifyAll() {
    CoreGuard guard(lock);
    while (Waiter * const waiter = TakeFirst())
        waiter->parker->Wake();
}

WaitQueue::Waiter * WaitQueue::TakeFirst() {
    Waiter * const taken = first;
    if (taken != nullptr)
        first = taken->next;
    return taken;
}

} // namespace Mu
