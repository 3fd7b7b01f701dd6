#pragma once

#include <Kestrel/Socket/SocketImpl.h>

namespace IO::Socket {

/// Whether two handles stand for one socket; two empty ones do.
inline bool IsSame(SocketImpl::Reference const & a, SocketImpl::Reference const & b) {
    return a == b || (!a.IsNull() && !b.IsNull() && a->Equals(*b));
}

/// Calls `step`; when it throws, closes what it worked on.
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
