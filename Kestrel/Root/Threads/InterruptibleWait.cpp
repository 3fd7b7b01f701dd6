#include <Kestrel/Root/Internal/InterruptibleWait.h>

#include <Kestrel/Root/Errors/Exceptions.h>

namespace Mu {

InterruptibleWait::InterruptibleWait(bool interruptible) {
    if (!interruptible)
        return;
    thread = &Thread::GetCurrent();
    thread->BlockOn(this);
    if (!Thread::Interrupted())
        return;
    thread->BlockOn(nullptr); // the destructor will not run
    throw InterruptedIOException("Thread interrupted.", __FILE__, __LINE__, NoCauseException);
}

InterruptibleWait::~InterruptibleWait() {
    if (thread != nullptr)
        thread->BlockOn(nullptr);
}

bool InterruptibleWait::Wait(Timeout const & timeout) {
    return WaitAt(parker, timeout);
}

void InterruptibleWait::ThrowIfInterrupted() {
    if (thread != nullptr && Thread::Interrupted())
        throw InterruptedIOException("Thread interrupted.", __FILE__, __LINE__, NoCauseException);
}

bool WaitAt(Parker & parker, Timeout const & timeout) {
    if (!timeout.IsInfinite())
        return GetClock().WaitFor(parker, timeout.GetRemaining());
    parker.Wait();
    return true;
}

} // namespace Mu
