#pragma once

#include <Kestrel/Socket/SocketImpl.h>

namespace IO::Socket {

/// Whether two handles refer to one socket; two empty ones do.
inline bool IsSame(SocketImpl::Reference const & a, SocketImpl::Reference const & b) {
    return a == b || (!a.IsNull() && !b.IsNull() && a->Equals(*b));
}

/// Calls `step`; closes the socket when it throws.
template <typename Step>
void OrClose(SocketImpl::Reference const & impl, Step step) {
    try {
        step();
    } catch (...) {
        impl->Close();
        throw;
    }
}

} // namespace IO::Socket
