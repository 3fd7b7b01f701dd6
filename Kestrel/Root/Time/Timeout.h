#pragma once

#include <Kestrel/Root/Time/Clock.h>

namespace Mu {

/// A moment until which something waits, so that a row of waits shares one limit.
///
/// Threads: any, as a value.
class Timeout {
public:
    /// Never over.
    Timeout() = default;
    /// Over so many milliseconds from now.
    explicit Timeout(unsigned int milliseconds)
        : end(GetClock().GetMonotonicMicroseconds() + 1000ull * milliseconds) {}

    bool IsInfinite() const { return end == Never; }
    bool IsOver() const { return GetRemaining() == 0; }
    /// Microseconds; the largest number for one that is never over.
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
