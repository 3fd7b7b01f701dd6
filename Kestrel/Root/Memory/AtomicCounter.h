#pragma once

#include <Kestrel/Root/Export.h>

#include <atomic>

namespace Mu {

/// Both return the new value. Safe from any thread.
inline int AtomicIncrement(int volatile * value) {
    return std::atomic_ref<int>(*const_cast<int *>(value)).fetch_add(1) + 1;
}
inline int AtomicDecrement(int volatile * value) {
    return std::atomic_ref<int>(*const_cast<int *>(value)).fetch_sub(1) - 1;
}

inline int AtomicGet(int const volatile * value) {
    return std::atomic_ref<int>(*const_cast<int *>(value)).load();
}

/// Throws NullReferenceException, "Null reference.".
[[noreturn]] KESTREL_API void ThrowNullReference();

/// Counts atomically, for references that are used by several threads.
class AtomicCounter {
public:
    void Increment() { AtomicIncrement(&value); }
    /// Returns true for the last reference.
    bool Decrement() { return AtomicDecrement(&value) == 0; }
    int GetValue() const { return AtomicGet(&value); }

private:
    int value = 1;
};

} // namespace Mu
