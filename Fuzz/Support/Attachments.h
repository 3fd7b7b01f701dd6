#pragma once

#include <Kestrel/Location/Location.h>

namespace Fuzz {

/// A name that reads as one with an attachment in front of it, when it is stored again: it loses what
/// stands there.
inline bool LooksAttached(IO::Name const & name) {
    return name.GetLength() >= 3 && name[0] == ':' && name[1] == ':' && name[2] == '<';
}

/// Whether one of the names does that `getName` answers to indices from 0 on.
template <typename GetName>
bool AnyAttached(GetName getName) {
    IO::Name name;
    for (unsigned int i = 0; getName(i, &name) == IO::NoError; ++i)
        if (LooksAttached(name))
            return true;
    return false;
}

/// Whether one of the names of an address or a relative location does.
template <typename Path>
bool HasAttached(Path const & path) {
    return AnyAttached([&](unsigned int i, IO::Name * name) { return path.GetName(i, name); });
}
inline bool HasAttached(IO::Location const & path) {
    return AnyAttached(
               [&](unsigned int i, IO::Name * name) { return path.GetLocalName(i, name); }) ||
           AnyAttached(
               [&](unsigned int i, IO::Name * name) { return path.GetNetworkName(i, name); });
}

} // namespace Fuzz
