#pragma once

#include <Kestrel/Location/Address.h>
#include <Kestrel/Location/Internal/AddressTree.h>

namespace IO {

/// The operations on the nodes of a location's two addresses that are frequent: copying, dropping
/// and writing as text. Clear takes one turn of the tree's lock for both, Drop one where it needs
/// any, and Copy takes none. JoinNames takes one, and reads the names in place.
///
/// The first node is that of the machine, usually the root: Copy and Drop are one atomic operation
/// then. None of these throws, except JoinNames where the lock fails; a failed allocation leaves
/// Address::NoNode.
struct AddressPair {
    /// One more hold on each.
    static void Copy(unsigned int network, unsigned int local) noexcept {
        if (network == Address::NoNode || local == Address::NoNode || !AddressTree::IsRoot(network))
            return CopyEach(network, local);
        AddressTree::CopyWithRoot(local);
    }

    /// Makes both those of the empty address, releasing what they held.
    static void Clear(unsigned int & network, unsigned int & local) noexcept;

    /// Releases a hold on each.
    static void Drop(unsigned int network, unsigned int local) noexcept {
        if (network == Address::NoNode || local == Address::NoNode || !AddressTree::IsRoot(network))
            return DropEach(network, local);
        if (!AddressTree::DropCopyWithRoot(local))
            DropWithRoot(local);
    }

    /// Appends the names of an address to the text, with `\` between them, with their attachments
    /// or without. ErrMemoryFull: the address is invalid, or the text holds some of the names.
    static MuErrCode JoinNames(unsigned int node, bool withAttachments, Mu::UniString * text);

private:
    static void CopyEach(unsigned int network, unsigned int local) noexcept;
    static void DropEach(unsigned int network, unsigned int local) noexcept;
    static void DropWithRoot(unsigned int local) noexcept;
};

} // namespace IO
