#pragma once

#include <Kestrel/Root/Internal/Parker.h>
#include <Kestrel/Root/Threads/Thread.h>

namespace Mu {

/// The scope in which the current thread waits on a parker, from which an interruption wakes it if
/// requested.
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
    /// Returns true when the parker is woken, false on timeout.
    bool Wait(Timeout const & timeout);
    /// Consumes the interruption that has ended the wait, if one has.
    void ThrowIfInterrupted();
    void Interrupt() override { parker.Wake(); }

private:
    Parker parker;
    Thread * thread = nullptr; // the current one, if the wait is interruptible
};

/// Returns true when the parker is woken, false on timeout.
bool WaitAt(Parker & parker, Timeout const & timeout);

} // namespace Mu
