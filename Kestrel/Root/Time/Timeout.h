#pragma once

#include <Kestrel/Root/Time/Clock.h>

namespace Mu {

/// A deadline, so that several waits can share one limit.
///
/// Threads: any, as a value.
class Timeout {
public:
    /// Never expires.
    Timeout() = default;
    /// Expires after the milliseconds.
    explicit Timeout(unsigned int milliseconds)
        : end(GetClock().GetMonotonicMicroseconds() + 1000ull * milliseconds) {}

    bool IsInfinite() const { return end == Never; }
    bool IsOver() const { return GetRemaining() == 0; }
    /// In microseconds; the largest number for one that never expires.
    unsigned long long GetRemaining() const {
        if (IsInfinite())
            return Never;
        unsigned long long const now = GetClock().GetMonotonicMicroseconds();
        return now < end ? end - now : 0;
    }

private:
    static constexpr unsigned long long Never = ~0ull;

    unsigned long long end = Never;
};

} // namespace Mu
