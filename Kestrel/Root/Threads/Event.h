#pragma once

#include <Kestrel/Root/Containers/Array.h>
#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Threads/Lock.h>

namespace Mu {

/// The base of observers that are notified of events. The notifications stand in the classes
/// derived from it.
class KESTREL_API EventObserver {
public:
    virtual ~EventObserver() = default;
};

/// Keeps its observers. An observer is not owned, and detaches itself before it is destroyed.
///
/// Memory:  one list.
/// Threads: any.
/// Failure: Mu::OutOfMemoryException; the list is unchanged then.
class KESTREL_API EventSource {
public:
    EventSource() = default;
    EventSource(EventSource const &) = delete;
    EventSource & operator=(EventSource const &) = delete;

    /// Behind those that are there. One that is there already is not added again.
    void Attach(EventObserver & observer);
    /// One that is not there is no failure.
    void Detach(EventObserver & observer);
    /// A copy of the list, in the order of attaching. Notify from such a copy, so that an
    /// observer may detach itself in the call.
    Array<EventObserver *> EnumerateObservers() const;

protected:
    ~EventSource() = default;

private:
    mutable LockCore lock;
    Array<EventObserver *> observers; // under lock
};

} // namespace Mu
