#pragma once

#include <Kestrel/Location/Address.h>

namespace IO {

/// Works on two addresses at once, for a location, which has two of them and is copied and dropped
/// more often than anything else. Clear takes one turn of the tree's lock for both, Drop one where it
/// needs any, and Copy takes none unless a target held something.
///
/// Made for members that were constructed with Address::Unset, which takes no lock. None of these
/// throws; a shortage leaves the address invalid.
struct AddressPair {
    /// Makes each target a copy of its source, releasing what it held before.
    static void Copy(Address & first, Address const & firstSource, Address & second,
                     Address const & secondSource) noexcept;

    /// Makes both the empty address, releasing what they held.
    static void Clear(Address & first, Address & second) noexcept;

    /// Releases both and leaves them without a node, so that their destructors have nothing to do.
    static void Drop(Address & first, Address & second) noexcept;
};

} // namespace IO
