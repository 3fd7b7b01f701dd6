#pragma once

#include <Kestrel/Root/Time/Clock.h>

namespace Mu {

/// A starting time for measurements with timerManager.
class Timer {
private:
    friend class TimerManager;
    unsigned long long start = 0; // monotonic microseconds
};

/// Starts and reads timers.
///
/// Threads: any; one timer is used by one thread at a time.
class TimerManager {
public:
    void Start(Timer & timer) const { timer.start = GetClock().GetMonotonicMicroseconds(); }
    double GetElapsedSeconds(Timer const & timer) const {
        return static_cast<double>(GetClock().GetMonotonicMicroseconds() - timer.start) / 1e6;
    }
};

inline constexpr TimerManager timerManager;

} // namespace Mu
