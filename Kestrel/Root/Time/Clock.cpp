#include <Kestrel/Root/Time/Clock.h>

#include <Kestrel/Root/Internal/Parker.h>

namespace Mu {

namespace {

class SystemClock final : public Clock {
public:
    using Clock::WaitFor;
    unsigned long long GetWallMilliseconds() override { return Platform::GetWallMilliseconds(); }

    unsigned long long GetMonotonicMicroseconds() override {
        return Platform::GetMonotonicMicroseconds();
    }

    bool WaitFor(Parker & parker, unsigned long long microseconds) override {
        unsigned long long const start = GetMonotonicMicroseconds();
        for (;;) {
            if (parker.IsWoken())
                return true;
            unsigned long long const passed = GetMonotonicMicroseconds() - start;
            if (passed >= microseconds)
                return false;
            parker.WaitBriefly(microseconds - passed);
        }
    }
};

// Never destroyed: threads may still query the time while the process ends.
union Immortal {
    constexpr Immortal() : clock() {}
    ~Immortal() {}
    SystemClock clock;
};

constinit Immortal systemClock;
constinit std::atomic<Clock *> presentClock = &systemClock.clock;

// Bounded by more than the lifetime of any process, and within the range of a clock's arithmetic.
unsigned long long ToMicroseconds(double seconds) {
    constexpr double LongestSleep = 1e9;
    return static_cast<unsigned long long>((seconds < LongestSleep ? seconds : LongestSleep) * 1e6);
}

} // namespace

Clock & GetClock() {
    return *presentClock.load(std::memory_order_acquire);
}

void SetClock(Clock * clock) {
    presentClock.store(clock != nullptr ? clock : &systemClock.clock, std::memory_order_release);
}

bool Clock::WaitFor(Waker & waker, unsigned long long microseconds) {
    return waker.Wait(microseconds);
}

void ClockManager::Sleep(double seconds) const {
    if (!(seconds > 0))
        return;
    Parker parker;
    GetClock().WaitFor(parker, ToMicroseconds(seconds));
}

void ClockManager::Sleep(double seconds, Waker & waker) const {
    if (seconds > 0)
        GetClock().WaitFor(waker, ToMicroseconds(seconds));
}

} // namespace Mu
