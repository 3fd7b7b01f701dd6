#pragma once

#include <Kestrel/Root/Time/Clock.h>

namespace Mu {

/// A moment to measure from. Made for timerManager.
class Timer {
private:
    friend class TimerManager;
    unsigned long long start = 0; // monotonic microseconds
};

/// Starts timers and reads them.
///
/// Threads: any; one timer belongs to one thread at a time.
class TimerManager {
public:
    void Start(Timer & timer) const { timer.start = GetClock().GetMonotonicMicroseconds(); }
    double GetElapsedSeconds(Timer const & timer) const {
        return static_cast<double>(GetClock().GetMonotonicMicroseconds() - timer.start) / 1e6;
    }
};

inline constexpr TimerManager timerManager;

} // namespace Mu
