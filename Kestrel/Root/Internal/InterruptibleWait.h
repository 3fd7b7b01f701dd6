#pragma once

#include <Kestrel/Root/Internal/Parker.h>
#include <Kestrel/Root/Threads/Thread.h>

namespace Mu {

/// The span in which the current thread waits at a parker, where an interruption wakes it if it
/// wants that.
///
/// Failure: Mu::InterruptedIOException from the constructor, when the thread was interrupted before
///          it could block, and from ThrowIfInterrupted.
class InterruptibleWait final : public Interruptible {
public:
    explicit InterruptibleWait(bool interruptible);
    ~InterruptibleWait() override;
    InterruptibleWait(InterruptibleWait const &) = delete;
    InterruptibleWait & operator=(InterruptibleWait const &) = delete;

    Parker & GetParker() { return parker; }
    /// Until the parker is woken, which returns true, or the timeout is over.
    bool Wait(Timeout const & timeout);
    /// Takes the interruption that has ended the wait, if one has.
    void ThrowIfInterrupted();
    void Interrupt() override { parker.Wake(); }

private:
    Parker parker;
    Thread * thread = nullptr; // the current one, if the wait is interruptible
};

/// Until the parker is woken, which returns true, or the timeout is over.
bool WaitAt(Parker & parker, Timeout const & timeout);

} // namespace Mu
