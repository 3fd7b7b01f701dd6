#include <Kestrel/Root/Clock.h>

#include <Kestrel/Root/Internal/Parker.h>

namespace Mu {

namespace {

class SystemClock final : public Clock {
public:
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

// Never destroyed: threads may still ask for the time while the process ends.
union Immortal {
    constexpr Immortal() : clock() {}
    ~Immortal() {}
    SystemClock clock;
};

constinit Immortal systemClock;
constinit std::atomic<Clock *> presentClock = &systemClock.clock;

// Longer than any process lives; a number that the arithmetic of a clock can bear.
constexpr double LongestSleep = 1e9;

} // namespace

Clock & GetClock() {
    return *presentClock.load(std::memory_order_acquire);
}

void SetClock(Clock * clock) {
    presentClock.store(clock != nullptr ? clock : &systemClock.clock, std::memory_order_release);
}

void ClockManager::Sleep(double seconds) const {
    if (!(seconds > 0))
        return;
    Parker parker;
    double const bounded = seconds < LongestSleep ? seconds : LongestSleep;
    GetClock().WaitFor(parker, static_cast<unsigned long long>(bounded * 1e6));
}

} // namespace Mu
