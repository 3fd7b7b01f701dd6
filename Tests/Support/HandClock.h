#pragma once

#include <Kestrel/Root/Time/Clock.h>

#include <functional>
#include <mutex>
#include <vector>

namespace Tests {

/// Stands in for the library's clock during its life. Time stays where it is until a test moves it,
/// or something sleeps: a sleep, or a wait with a limit, is over at once, moves the clock by all of
/// its length and is recorded. A wait for what has happened already takes no time.
class HandClock final : public Mu::Clock {
public:
    /// The default is some morning in March 2026.
    explicit HandClock(unsigned long long wallMilliseconds = 1772355600123ull);
    ~HandClock() override;
    HandClock(HandClock const &) = delete;
    HandClock & operator=(HandClock const &) = delete;

    void Advance(unsigned long long milliseconds);
    void SetWallMilliseconds(unsigned long long wallMilliseconds);
    /// The lengths of all sleeps and waits so far, in milliseconds.
    std::vector<unsigned long long> GetSleeps() const;
    /// Called in the middle of each of them.
    std::function<void()> inSleep;

    unsigned long long GetWallMilliseconds() override;
    unsigned long long GetMonotonicMicroseconds() override;
    bool WaitFor(Mu::Parker & parker, unsigned long long microseconds) override;
    bool WaitFor(Mu::Waker & waker, unsigned long long microseconds) override;

private:
    bool Pass(unsigned long long microseconds);

    mutable std::mutex mutex;
    unsigned long long start;               // wall time at monotonic 0, in microseconds
    unsigned long long passed = 0;          // microseconds
    std::vector<unsigned long long> sleeps; // milliseconds
};

} // namespace Tests
