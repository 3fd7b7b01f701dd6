#pragma once

#include <Kestrel/Root/Export.h>

#include <atomic>
#include <cstdint>

namespace Mu {

/// Finds the second thread in an object that is for one thread. A field of that object; copies and
/// assignments of the object leave it alone. It has one size in every build and looks only where
/// NDEBUG is not set. What it finds ends the process, with the two threads named on standard error.
///
/// Two rules to choose from, one for all operations of a class:
///  - `thread.Enter();` for an object that stays with the thread which used it first, until
///    Release() lets another one take it over;
///  - `Mu::ThreadCheck::Use use(thread);` for one that any thread may use, but one at a time.
class ThreadCheck {
public:
    constexpr ThreadCheck() = default;
    constexpr ThreadCheck(ThreadCheck const &) {}
    ThreadCheck & operator=(ThreadCheck const &) { return *this; }

    void Enter() {
#if !defined(NDEBUG)
        Bind(owner);
#endif
    }
    void Release() {
#if !defined(NDEBUG)
        owner.store(0, std::memory_order_relaxed);
#endif
    }

    /// The span of code in which the object is used; spans of one thread may lie inside each other.
    class Use {
    public:
        explicit Use([[maybe_unused]] ThreadCheck & check) {
#if !defined(NDEBUG)
            if (Bind(check.owner))
                bound = &check;
#endif
        }
        ~Use() {
            if (bound != nullptr)
                bound->Release();
        }
        Use(Use const &) = delete;
        Use & operator=(Use const &) = delete;

    private:
        ThreadCheck * bound = nullptr; // null when an outer span has it
    };

private:
    /// Whether the object was free and is the calling thread's now.
    KESTREL_API static bool Bind(std::atomic<std::uintptr_t> & owner);

    std::atomic<std::uintptr_t> owner = 0; // the token of a thread, or 0
};

} // namespace Mu
