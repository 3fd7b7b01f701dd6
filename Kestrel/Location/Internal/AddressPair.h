#pragma once

#include <Kestrel/Location/Address.h>

namespace IO {

/// What a location, which has two addresses, does with them where it is copied, dropped and written
/// as text more often than anything else. Clear takes one turn of the tree's lock for both, Drop one
/// where it needs any, and Copy takes none unless a target held something. JoinNames takes one, and
/// reads the names where they lie.
///
/// Made for members that were constructed with Address::Unset, which takes no lock. None of these
/// throws, but JoinNames where the lock fails; a shortage leaves the address invalid.
struct AddressPair {
    /// Makes each target a copy of its source, releasing what it held before.
    static void Copy(Address & first, Address const & firstSource, Address & second,
                     Address const & secondSource) noexcept;

    /// Makes both the empty address, releasing what they held.
    static void Clear(Address & first, Address & second) noexcept;

    /// Releases both and leaves them without a node, so that their destructors have nothing to do.
    static void Drop(Address & first, Address & second) noexcept;

    /// Appends the names of one address to the text, with `\` between them, with their attachments
    /// or without. ErrMemoryFull: the address is invalid, or the text holds some of the names.
    static MuErrCode JoinNames(Address const & names, bool withAttachments, Mu::UniString * text);
};

} // namespace IO
