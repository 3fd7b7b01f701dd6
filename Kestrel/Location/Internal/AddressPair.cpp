#include <Kestrel/Location/Internal/AddressPair.h>

#include <Kestrel/Location/Internal/AddressTree.h>
#include <Kestrel/Root/Errors/Exceptions.h>

namespace IO {

// Runs the operation with the lock held. A lock that fails leaves the addresses as they are: new
// ones without a node, old ones with theirs.
template <typename Operation>
static void InTurn(Operation const & operation) noexcept {
    try {
        AddressTree::Turn const tree;
        operation(*tree);
    } catch (Mu::SynchronizationException const &) {
    }
}

void AddressPair::Copy(Address & first, Address const & firstSource, Address & second,
                       Address const & secondSource) noexcept {
    first = firstSource;
    second = secondSource;
}

void AddressPair::Clear(Address & first, Address & second) noexcept {
    InTurn([&](AddressTree & tree) {
        tree.Drop(std::exchange(first.node, Address::NoNode));
        tree.Drop(std::exchange(second.node, Address::NoNode));
        first.node = tree.HoldRoot();
        second.node = tree.HoldRoot();
    });
}

// Mostly both are copies, and then there is no turn to wait for.
void AddressPair::Drop(Address & first, Address & second) noexcept {
    unsigned int const a = std::exchange(first.node, Address::NoNode);
    unsigned int const b = std::exchange(second.node, Address::NoNode);
    bool const holdsFirst = a != Address::NoNode && !AddressTree::DropCopy(a);
    bool const holdsSecond = b != Address::NoNode && !AddressTree::DropCopy(b);
    if (holdsFirst || holdsSecond)
        InTurn([&](AddressTree & tree) {
            tree.Drop(holdsFirst ? a : NoIndex);
            tree.Drop(holdsSecond ? b : NoIndex);
        });
}

} // namespace IO
