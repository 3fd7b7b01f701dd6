#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Memory/Memory.h>

namespace IO::Socket {

/// A set of sockets for Select, which leaves in it those that are ready.
///
/// It holds 64 sockets, whatever their numbers are.
///
/// Memory:  one block of the root.
/// Threads: one at a time.
/// Failure: Mu::OutOfMemoryException, from New.
class KESTREL_API FDSet : public Mu::Allocated {
public:
    static constexpr unsigned int Capacity = 64;

    FDSet(FDSet const &) = delete;
    FDSet & operator=(FDSet const &) = delete;
    virtual ~FDSet();

    /// Empty again.
    virtual void Zero() = 0;
    /// Once is enough. A full set stays as it is.
    virtual void Add(unsigned long long socket) = 0;
    virtual bool IsSet(unsigned long long socket) const = 0;

    /// An empty one, owned by the caller.
    static FDSet * New();

protected:
    FDSet() = default;
};

} // namespace IO::Socket
