#pragma once

#include <Kestrel/Root/Export.h>

namespace Mu {

class Parker;

/// What can end a sleep early, besides another thread: an event that a system call waits for, such
/// as data on a socket.
class KESTREL_API Waker {
public:
    virtual ~Waker() = default;
    /// Waits until the event, which returns true, or until the time is over. Called by clocks only.
    virtual bool Wait(unsigned long long microseconds) = 0;
};

/// The time, and the only way to wait for it. The library uses no other clock and waits nowhere
/// else, so that tests that replace it control every wait and never sleep.
///
/// Threads: any.
/// Failure: none; a wait may end early, and late only by the system's own delay.
class KESTREL_API Clock {
public:
    virtual ~Clock() = default;
    /// Milliseconds since 1970-01-01, 0:00 UTC. May jump if the clock is set.
    virtual unsigned long long GetWallMilliseconds() = 0;
    /// Microseconds since an arbitrary time. Never decreases.
    virtual unsigned long long GetMonotonicMicroseconds() = 0;
    /// Waits until `parker` is woken, which returns true, or until the time is over. All sleeps and
    /// limited waits use this.
    virtual bool WaitFor(Parker & parker, unsigned long long microseconds) = 0;
    /// Lets `waker` wait for at most this time, and returns its result. A manual clock advances the
    /// time itself instead.
    virtual bool WaitFor(Waker & waker, unsigned long long microseconds);
};

/// The clock in use; the system's, unless a test has replaced it.
KESTREL_API Clock & GetClock();
/// Null restores the system's clock. The clock is not owned and must exist while it is in use.
KESTREL_API void SetClock(Clock * clock);

/// Sleeping.
class KESTREL_API ClockManager {
public:
    /// Returns at once for 0, negative numbers and NaN.
    void Sleep(double seconds) const;
    /// The same, but ends early if `waker` reports its event.
    void Sleep(double seconds, Waker & waker) const;
};

inline constexpr ClockManager clockManager;

} // namespace Mu
