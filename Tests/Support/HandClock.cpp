#include "Tests/Support/HandClock.h"

#include <Kestrel/Root/Internal/Parker.h>

namespace Tests {

HandClock::HandClock(unsigned long long wallMilliseconds) : start(wallMilliseconds * 1000) {
    Mu::SetClock(this);
}

HandClock::~HandClock() {
    Mu::SetClock(nullptr);
}

void HandClock::Advance(unsigned long long milliseconds) {
    std::lock_guard guard(mutex);
    passed += milliseconds * 1000;
}

void HandClock::SetWallMilliseconds(unsigned long long wallMilliseconds) {
    std::lock_guard guard(mutex);
    start = wallMilliseconds * 1000 - passed;
}

std::vector<unsigned long long> HandClock::GetSleeps() const {
    std::lock_guard guard(mutex);
    return sleeps;
}

unsigned long long HandClock::GetWallMilliseconds() {
    std::lock_guard guard(mutex);
    return (start + passed) / 1000;
}

unsigned long long HandClock::GetMonotonicMicroseconds() {
    std::lock_guard guard(mutex);
    return passed;
}

bool HandClock::WaitFor(Mu::Parker & parker, unsigned long long microseconds) {
    if (parker.IsWoken())
        return true;
    return Pass(microseconds);
}

bool HandClock::WaitFor(Mu::Waker &, unsigned long long microseconds) {
    return Pass(microseconds);
}

bool HandClock::Pass(unsigned long long microseconds) {
    if (inSleep)
        inSleep();
    std::lock_guard guard(mutex);
    passed += microseconds;
    sleeps.push_back(microseconds / 1000);
    return false;
}

} // namespace Tests
