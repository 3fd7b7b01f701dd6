#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Root/Text/String.h>

namespace IO::Socket {

/// The address of a peer, filled in by the Accept function.
///
/// Memory:  one block of the root.
/// Threads: one at a time.
/// Failure: Mu::OutOfMemoryException.
class KESTREL_API SockAddr : public Mu::Allocated {
public:
    virtual ~SockAddr();

    /// The address in dotted form; 0.0.0.0 until it is filled in.
    virtual Mu::String GetHostAddress() const = 0;

    /// Returns an empty address, owned by the caller.
    static SockAddr * New();

protected:
    SockAddr() = default;
    SockAddr(SockAddr const &) = default;
    SockAddr & operator=(SockAddr const &) = default;
};

} // namespace IO::Socket
