#include <Kestrel/Root/Threads/Event.h>

#include <Kestrel/Root/Internal/CoreGuard.h>

namespace Mu {

void EventSource::Attach(EventObserver & observer) {
    CoreGuard guard(lock);
    for (EventObserver const * each : observers)
        if (each == &observer)
            return;
    observers.Push(&observer);
}

void EventSource::Detach(EventObserver & observer) {
    CoreGuard guard(lock);
    for (unsigned int i = 0; i < observers.GetSize(); ++i) {
        if (observers[i] == &observer) {
            observers.Delete(i);
            return;
        }
    }
}

Array<EventObserver *> EventSource::EnumerateObservers() const {
    CoreGuard guard(lock);
    return observers;
}

} // namespace Mu
