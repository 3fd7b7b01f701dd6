#pragma once

#include <Kestrel/Location/RelativeLocation.h>
#include <Kestrel/Reflection/Reflectable.h>
#include <Kestrel/Root/Export.h>

#include <concepts>
#include <type_traits>
#include <typeinfo>

namespace IO {

/// Which object serves which location.
struct ReflectionEntry {
    RelativeLocation location;
    Reflectable * reflectable; ///< not owned
};

/// Knows every Reflectable of the process that is to be seen from outside.
///
/// A class registers itself in its constructor and unregisters in its destructor, first thing: from
/// then on nobody asks it any more, for Unregister waits for the questions of other threads that are
/// under way in the object. So do not unregister while holding a lock that a hook of the object
/// takes. A hook may call everything here; where it unregisters an object, itself included, it does
/// not wait, since it could be waited for in turn.
///
/// Memory:  a table, which is freed with its last row.
/// Threads: any, also before main and behind it. No lock is held while a host's code runs.
/// Failure: false. A shortage is one of its reasons.
class KESTREL_API ReflectionManager {
public:
    /// Gets what is registered.
    class KESTREL_API Enumerator {
    public:
        virtual ~Enumerator();
        /// True to continue. The object is not unregistered by another thread meanwhile.
        virtual bool Visit(RelativeLocation const & location, Reflectable * reflectable);
    };

    /// With `check`, a location at, above or below a registered one is refused.
    static bool Register(RelativeLocation const & location, Reflectable * reflectable, bool check);
#if defined(__cpp_rtti)
    /// The same for whoever knows the class. Objects of that very class, where it leaves
    /// GetAttributeValues to Reflectable, are asked for the values of many things with one walk
    /// through their tree.
    template <std::convertible_to<Reflectable *> Pointer>
    requires std::is_pointer_v<Pointer>
    static bool Register(RelativeLocation const & location, Pointer reflectable, bool check) {
        using Class = std::remove_pointer_t<Pointer>;
        return Add(location, reflectable, check, LeavesValues<Class> ? &typeid(Class) : nullptr);
    }
#endif

    /// Takes the object out of the table. Null does nothing.
    // Kept: of two rows of one object that lie side by side, the second stays.
    static void Unregister(Reflectable * reflectable);

    /// The object that was registered first at the location or above it, and in `*relative`, which
    /// may be null, what of the location goes on below. Null: there is none. Nothing keeps the object
    /// alive: for threads that know that it lives.
    static Reflectable * Find(RelativeLocation const & location, RelativeLocation * relative);

    /// In order of registration. What is registered meanwhile comes, too. False: a null enumerator,
    /// or it did not go on.
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
