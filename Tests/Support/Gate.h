#pragma once

#include <condition_variable>
#include <mutex>

namespace Tests {

/// Closed until somebody opens it; threads of a test wait here for each other. Of the standard
/// library's parts, since those of the library are what is tested.
class Gate {
public:
    void Open() {
        std::lock_guard guard(mutex);
        open = true;
        opened.notify_all(); // inside, since who waits may take the gate down next
    }

    void Wait() {
        std::unique_lock guard(mutex);
        opened.wait(guard, [this] { return open; });
    }

    bool IsOpen() {
        std::lock_guard guard(mutex);
        return open;
    }

private:
    std::mutex mutex;
    std::condition_variable opened;
    bool open = false;
};

} // namespace Tests
