#pragma once

#include <Kestrel/Root/Export.h>

namespace Mu {

class Parker;

/// The time, and the only way to let it pass. The library asks no other clock and waits nowhere
/// else, so that a test which puts a clock of its own here sees every wait and sleeps in none.
///
/// Threads: any.
/// Failure: none; a wait may end early, never late by more than the system's own delay.
class KESTREL_API Clock {
public:
    virtual ~Clock() = default;
    /// Milliseconds since 1970-01-01, 0:00 UTC. May jump when somebody sets the clock.
    virtual unsigned long long GetWallMilliseconds() = 0;
    /// Microseconds since some moment in the past. Never goes back.
    virtual unsigned long long GetMonotonicMicroseconds() = 0;
    /// Waits until `parker` is woken, which answers true, or the time is over. All sleeps and
    /// waits with a limit end here.
    virtual bool WaitFor(Parker & parker, unsigned long long microseconds) = 0;
};

/// The clock in use; the system's, unless a test has put its own.
KESTREL_API Clock & GetClock();
/// Null brings the system's clock back. The clock stays the caller's and must outlive its use.
KESTREL_API void SetClock(Clock * clock);

/// Sleeps that nothing interrupts.
class KESTREL_API ClockManager {
public:
    /// Nothing happens for 0, a negative number, or what is no number.
    void Sleep(double seconds) const;
};

inline constexpr ClockManager clockManager;

} // namespace Mu
