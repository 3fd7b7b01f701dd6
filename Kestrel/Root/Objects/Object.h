#pragma once

#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/WindowsNames.h>

#include <cstddef>

namespace Mu {

class ClassInfo;
class IChannel;
class OChannel;

/// The base of all values that can be written to a channel and read back.
///
/// Memory:  `new` allocates from the root; a shortage throws Mu::OutOfMemoryException.
/// Threads: an object is used by one thread at a time.
/// Failure: statuses.
class KESTREL_API Object {
public:
    /// The class record for frames of this class.
    virtual ClassInfo const & GetClassInfo() const = 0;

    /// A copy on the heap, owned by the caller. Null, as here, for a class that cannot be copied
    /// through its base.
    virtual Object * Clone() const;

    virtual ~Object();

    /// Replaces the value by the next one in the channel.
    virtual MuErrCode Read(IChannel & channel);

    /// Writes the value so that Read of the same class restores it.
    virtual MuErrCode Write(OChannel & channel) const;

    /// Writes the value as text.
    virtual void Print(OChannel & channel) const;

    /// Writes the value as text for debugging. Calls Print, unless overridden.
    virtual void Dump(OChannel & channel) const;

    /// NoError if the invariants of the class hold.
    virtual MuErrCode CheckState() const;

    static void * operator new(std::size_t size);
    static void * operator new(std::size_t, void * place) noexcept { return place; }
    static void operator delete(void * block) noexcept;
    static void operator delete(void *, void *) noexcept {}
    static void * operator new[](std::size_t size);
    static void operator delete[](void * block) noexcept;

protected:
    Object() = default;
    Object(Object const &) = default;
    Object & operator=(Object const &) = default;
};

} // namespace Mu
