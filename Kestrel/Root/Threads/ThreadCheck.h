#pragma once

#include <Kestrel/Root/Export.h>

#include <atomic>
#include <cstdint>

namespace Mu {

/// Detects a second thread in an object that is used by one thread. It is a field of that object,
/// which copies and assignments do not copy. It has the same size in every build and checks only if
/// NDEBUG is not defined. A violation ends the process, with the two threads on standard error.
///
/// There are two rules, one of which applies to all operations of a class: - `thread.Enter();` for
/// an object that is bound to the thread that uses it first, until Release()
///    lets another one take over;
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

    /// The scope in which the object is used; scopes of one thread may nest.
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
        ThreadCheck * bound = nullptr; // null if an outer scope has it
    };

private:
    /// Whether the object was free; it is bound to the calling thread then.
    KESTREL_API static bool Bind(std::atomic<std::uintptr_t> & owner);

    std::atomic<std::uintptr_t> owner = 0; // the identification of a thread, or 0
};

} // namespace Mu
