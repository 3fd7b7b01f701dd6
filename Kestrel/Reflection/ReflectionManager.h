#pragma once

#include <Kestrel/Location/RelativeLocation.h>
#include <Kestrel/Reflection/Reflectable.h>
#include <Kestrel/Root/Export.h>

#include <concepts>
#include <type_traits>
#include <typeinfo>

namespace IO {

/// A row of the table: which object serves which location.
struct ReflectionEntry {
    RelativeLocation location;
    Reflectable * reflectable; ///< not owned
};

/// The table of all Reflectable objects of the process that are visible from outside.
///
/// A class registers in its constructor and unregisters first thing in its destructor. Afterwards
/// the object is not queried any more: Unregister waits for queries of other threads that are in
/// progress. So do not unregister while holding a lock that a hook of the object takes. A hook may
/// call every operation here. If a hook unregisters an object, possibly its own, the call does not
/// wait, as this could deadlock.
///
/// Memory:  a table, which is freed with its last row.
/// Threads: any, also before main and after it. No lock is held while code of a host runs.
/// Failure: false, including for a shortage of memory.
class KESTREL_API ReflectionManager {
public:
    /// Receives the registered objects.
    class KESTREL_API Enumerator {
    public:
        virtual ~Enumerator();
        /// Return true to continue. Meanwhile no other thread can unregister the object.
        virtual bool Visit(RelativeLocation const & location, Reflectable * reflectable);
    };

    /// With `check`, a location that equals, contains or is below a registered one is refused.
    static bool Register(RelativeLocation const & location, Reflectable * reflectable, bool check);
#if defined(__cpp_rtti)
    /// The same, with the object's class. Objects of exactly this class that do not override
    /// GetAttributeValues are queried for the values of many things with one walk through their
    /// tree.
    template <std::convertible_to<Reflectable *> Pointer>
    requires std::is_pointer_v<Pointer>
    static bool Register(RelativeLocation const & location, Pointer reflectable, bool check) {
        using Class = std::remove_pointer_t<Pointer>;
        return Add(location, reflectable, check, LeavesValues<Class> ? &typeid(Class) : nullptr);
    }
#endif

    /// Removes the object from the table. Null does nothing.
    // Kept: of two adjacent rows of one object, the second remains.
    static void Unregister(Reflectable * reflectable);

    /// The object that was registered first at the location or above it; `*relative`, which may be
    /// null, receives the rest of the location. Null: there is none. The object is not kept alive:
    /// for callers that know that it exists.
    static Reflectable * Find(RelativeLocation const & location, RelativeLocation * relative);

    /// In the order of registration, including objects that are registered meanwhile. False: the
    /// enumerator is null or has stopped.
    static bool Enumerate(Enumerator * enumerator);

private:
    template <typename Class>
    static constexpr bool LeavesValues = requires {
        { &Class::GetAttributeValues } -> std::same_as<decltype(&Reflectable::GetAttributeValues)>;
    };
    static bool Add(RelativeLocation const & location, Reflectable * reflectable, bool check,
                    std::type_info const * treeWalker);
};

} // namespace IO
