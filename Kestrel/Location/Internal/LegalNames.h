#pragma once

#include <Kestrel/Location/Location.h>
#include <Kestrel/Root/Errors/Exceptions.h>

namespace IO {

// For validators: whether `check` returns true for each name of a healthy location, asked up to the
// first no. A name that memory leaves unread is thrown as Mu::OutOfMemoryException, since "illegal"
// would be remembered.

template <typename Check>
bool AllNetworkNames(Location const & location, Check const & check) {
    Name name;
    for (unsigned int i = 0, count = location.GetNetworkLength(); i < count; ++i) {
        if (location.GetNetworkName(i, &name) != NoError)
            Mu::ThrowOutOfMemory();
        if (!check(name))
            return false;
    }
    return true;
}

/// `check` gets the index too.
template <typename Check>
bool AllLocalNames(Location const & location, Check const & check) {
    Name name;
    for (unsigned int i = 0, count = location.GetLocalLength(); i < count; ++i) {
        if (location.GetLocalName(i, &name) != NoError)
            Mu::ThrowOutOfMemory();
        if (!check(i, name))
            return false;
    }
    return true;
}

} // namespace IO
