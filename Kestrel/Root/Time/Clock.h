#pragma once

#include <Kestrel/Root/Export.h>

namespace Mu {

class Parker;

/// What can end a sleep before its time, besides another thread: something that a system call waits
/// for, such as bytes on a socket.
class KESTREL_API Waker {
public:
    virtual ~Waker() = default;
    /// Waits until it is there, which returns true, or the time is over. Called by clocks only.
    virtual bool Wait(unsigned long long microseconds) = 0;
};

/// The time, and the only way to let it pass. The library asks no other clock and waits nowhere
/// else, so that a test which puts a clock of its own here sees every wait and sleeps in none.
///
/// Threads: any.
/// Failure: none; a wait may end early, never late by more than the system's own delay.
class KESTREL_API Clock {
public:
    virtual ~Clock() = default;
    /// Milliseconds since 1970-01-01, 0:00 UTC. May jump when the clock is set.
    virtual unsigned long long GetWallMilliseconds() = 0;
    /// Microseconds since some moment in the past. Never decreases.
    virtual unsigned long long GetMonotonicMicroseconds() = 0;
    /// Waits until `parker` is woken, which returns true, or the time is over. All sleeps and
    /// waits with a limit end here.
    virtual bool WaitFor(Parker & parker, unsigned long long microseconds) = 0;
    /// Lets `waker` wait, for at most so long; its result. A clock moved by hand lets the time pass
    /// by hand instead.
    virtual bool WaitFor(Waker & waker, unsigned long long microseconds);
};

/// The clock in use; the system's, unless a test has put its own.
KESTREL_API Clock & GetClock();
/// Null brings the system's clock back. The clock stays the caller's and must outlive its use.
KESTREL_API void SetClock(Clock * clock);

/// Sleeps.
class KESTREL_API ClockManager {
public:
    /// Nothing happens for 0, a negative number, or what is no number.
    void Sleep(double seconds) const;
    /// The same, but over as soon as `waker` says so.
    void Sleep(double seconds, Waker & waker) const;
};

inline constexpr ClockManager clockManager;

} // namespace Mu
