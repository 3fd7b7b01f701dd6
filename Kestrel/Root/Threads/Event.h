#pragma once

#include <Kestrel/Root/Containers/Array.h>
#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Threads/Lock.h>

namespace Mu {

/// The base of observers of events. Derived classes define the notifications.
class KESTREL_API EventObserver {
public:
    virtual ~EventObserver() = default;
};

/// A list of observers. An observer is not owned, and detaches itself before it is destroyed.
///
/// Memory:  one list.
/// Threads: any.
/// Failure: Mu::OutOfMemoryException; the list is unchanged then.
class KESTREL_API EventSource {
public:
    EventSource() = default;
    EventSource(EventSource const &) = delete;
    EventSource & operator=(EventSource const &) = delete;

    /// Appends an observer, unless it is already in the list.
    void Attach(EventObserver & observer);
    /// Does nothing if the observer is not in the list.
    void Detach(EventObserver & observer);
    /// A copy of the list, in the order of attaching. Use such a copy for notifications, so that an
    /// observer may detach itself in the call.
    Array<EventObserver *> EnumerateObservers() const;

protected:
    ~EventSource() = default;

private:
    mutable LockCore lock;
    Array<EventObserver *> observers; // under lock
};

} // namespace Mu
