#pragma once

#include <Kestrel/Location/RelativeLocation.h>

#include <cstdint>
#include <typeinfo>

namespace IO {

class Reflectable;

/// Looks an object up for a question, and keeps it registered while the question runs: unregistering
/// it on another thread waits for the end of the use.
///
/// Memory:  none. Uses are chained through the stacks of those who ask.
/// Threads: made and ended on one thread.
/// Failure: null, as for ReflectionManager::Find.
class ReflectableUse {
public:
    explicit ReflectableUse(RelativeLocation const & location);
    ~ReflectableUse();
    ReflectableUse(ReflectableUse const &) = delete;
    ReflectableUse & operator=(ReflectableUse const &) = delete;

    /// Waits until the uses of the object that there are now have ended. Not in a use of one's own: it
    /// could be waited for in turn.
    static void WaitForEnd(Reflectable const * reflectable);

    Reflectable * Get() const { return reflectable; }
    /// What of the location goes on below the object.
    RelativeLocation const & GetRest() const { return rest; }
    /// Whether the object is known to leave GetAttributeValues to Reflectable.
    bool WalksTree() const;

private:
    friend class ReflectionTable;
    ReflectableUse() = default;

    Reflectable * reflectable = nullptr; // null: not in the chain
    RelativeLocation rest;
    std::type_info const * treeWalker = nullptr; // the row's
    std::uintptr_t thread = 0;
    unsigned long long number = 0; // rising with the uses
    ReflectableUse * next = nullptr;
};

} // namespace IO
