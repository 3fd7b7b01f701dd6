#pragma once

#include <Kestrel/Root/Platform/SystemCalls.h>

namespace Mu {

/// One thread waits here until another wakes it. A wake before the wait counts, and is never reset,
/// so each wait needs a parker of its own, usually on its stack. The waking thread does so inside a
/// lock that the waiter takes before its parker is destroyed.
///
/// Threads: one waits, any wake.
class Parker {
public:
    constexpr Parker() = default;
    Parker(Parker const &) = delete;
    Parker & operator=(Parker const &) = delete;

    bool IsWoken() const { return word.load(std::memory_order_acquire) != 0; }

    void Wait() {
        while (!IsWoken())
            Platform::systemCalls.wait(place, word, 0, Platform::Forever);
    }

    /// For clocks; others use the clock to wait. May return early.
    void WaitBriefly(unsigned long long microseconds) {
        if (!IsWoken())
            Platform::systemCalls.wait(place, word, 0, microseconds);
    }

    void Wake() {
        word.store(1, std::memory_order_release);
        Platform::systemCalls.wake(place, word, true);
    }

private:
    std::atomic<unsigned int> word = 0;
    Platform::WaitPlace place = {};
};

} // namespace Mu
