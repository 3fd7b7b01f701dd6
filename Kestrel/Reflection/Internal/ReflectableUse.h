#pragma once

#include <Kestrel/Location/RelativeLocation.h>

#include <cstdint>
#include <typeinfo>

namespace IO {

class Reflectable;

/// Looks up an object for a query, and keeps it registered while the query runs: unregistering it
/// on another thread waits for the end of the use.
///
/// Memory:  none. Uses are linked through the stacks of the querying threads.
/// Threads: created and destroyed on one thread.
/// Failure: null, as for ReflectionManager::Find.
class ReflectableUse {
public:
    explicit ReflectableUse(RelativeLocation const & location);
    ~ReflectableUse();
    ReflectableUse(ReflectableUse const &) = delete;
    ReflectableUse & operator=(ReflectableUse const &) = delete;

    /// Waits until the present uses of the object have ended. Not to be called within a use, for
    /// which another thread could be waiting in turn.
    static void WaitForEnd(Reflectable const * reflectable);

    Reflectable * Get() const { return reflectable; }
    /// The part of the location below the object.
    RelativeLocation const & GetRest() const { return rest; }
    /// Whether the object is known not to override GetAttributeValues.
    bool WalksTree() const;

private:
    friend class ReflectionTable;
    ReflectableUse() = default;

    Reflectable * reflectable = nullptr; // null: not in the chain
    RelativeLocation rest;
    std::type_info const * treeWalker = nullptr; // the row's
    std::uintptr_t thread = 0;
    unsigned long long number = 0; // increasing with each use
    ReflectableUse * next = nullptr;
};

} // namespace IO
