#include <Kestrel/Location/Internal/AddressPair.h>

#include <Kestrel/Location/Internal/AddressTree.h>
#include <Kestrel/Root/Exceptions.h>

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

static void Replace(AddressTree & tree, unsigned int & node, unsigned int source) {
    if (node == source)
        return;
    if (source != Address::NoNode)
        tree.AddRef(source);
    tree.Release(std::exchange(node, source));
}

void AddressPair::Copy(Address & first, Address const & firstSource, Address & second,
                       Address const & secondSource) noexcept {
    InTurn([&](AddressTree & tree) {
        Replace(tree, first.node, firstSource.node);
        Replace(tree, second.node, secondSource.node);
    });
}

void AddressPair::Clear(Address & first, Address & second) noexcept {
    InTurn([&](AddressTree & tree) {
        tree.Release(std::exchange(first.node, Address::NoNode));
        tree.Release(std::exchange(second.node, Address::NoNode));
        first.node = tree.HoldRoot();
        second.node = tree.HoldRoot();
    });
}

void AddressPair::Drop(Address & first, Address & second) noexcept {
    InTurn([&](AddressTree & tree) {
        tree.Release(std::exchange(first.node, Address::NoNode));
        tree.Release(std::exchange(second.node, Address::NoNode));
    });
}

} // namespace IO
