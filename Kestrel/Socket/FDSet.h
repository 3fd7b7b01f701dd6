#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Memory/Memory.h>

namespace IO::Socket {

/// A set of sockets for Select, which keeps only those that are ready.
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

    /// Removes all sockets.
    virtual void Zero() = 0;
    /// Adding a socket twice has no effect, nor has adding one to a full set.
    virtual void Add(unsigned long long socket) = 0;
    virtual bool IsSet(unsigned long long socket) const = 0;

    /// Returns an empty set, owned by the caller.
    static FDSet * New();

protected:
    FDSet() = default;
};

} // namespace IO::Socket
