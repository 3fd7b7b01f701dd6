#include <Kestrel/Location/Internal/AddressPair.h>

#include <Kestrel/Location/Internal/AddressTree.h>
#include <Kestrel/Location/Internal/Guard.h>
#include <Kestrel/Location/Internal/PathNodes.h>
#include <Kestrel/Root/Errors/Exceptions.h>

#include <iterator>

namespace IO {

// Runs the operation with the lock held. If the lock fails, the addresses are unchanged: new ones
// without a node, old ones with theirs.
template <typename Operation>
static void InTurn(Operation const & operation) noexcept {
    try {
        AddressTree::Turn const tree;
        operation(*tree);
    } catch (Mu::SynchronizationException const &) {
    }
}

void AddressPair::CopyEach(unsigned int network, unsigned int local) noexcept {
    for (unsigned int const node : {network, local})
        if (node != Address::NoNode)
            AddressTree::Copy(node);
}

void AddressPair::Clear(unsigned int & network, unsigned int & local) noexcept {
    InTurn([&](AddressTree & tree) {
        tree.Drop(std::exchange(network, Address::NoNode));
        tree.Drop(std::exchange(local, Address::NoNode));
        network = tree.HoldRoot();
        local = tree.HoldRoot();
    });
}

// Where both are copies, the lock is not needed.
void AddressPair::DropEach(unsigned int network, unsigned int local) noexcept {
    bool const holdsNetwork = network != Address::NoNode && !AddressTree::DropCopy(network);
    bool const holdsLocal = local != Address::NoNode && !AddressTree::DropCopy(local);
    if (holdsNetwork || holdsLocal)
        InTurn([&](AddressTree & tree) {
            tree.Drop(holdsNetwork ? network : NoIndex);
            tree.Drop(holdsLocal ? local : NoIndex);
        });
}

void AddressPair::DropWithRoot(unsigned int local) noexcept {
    InTurn([local](AddressTree & tree) { tree.DropWithRoot(local); });
}

namespace {

// Joins names in a buffer of its own first: a text that grows by each of them would cost more than
// all else.
class NameJoiner {
public:
    explicit NameJoiner(Mu::UniString * text) : text(text) {}

    void Separate() {
        MakeRoom(1);
        units[size++] = u'\\';
    }
    void AppendStored(NameTable const & names, unsigned int name) {
        for (; name != NoIndex; name = names.GetChunks()[name].next) {
            MakeRoom(NameTable::ChunkSize);
            size += names.CopyChunk(name, units + size);
        }
    }
    void Append(Mu::ConstSubstring const & name) {
        Flush();
        text->Append(name);
    }
    void Flush() {
        text->Append(Mu::ConstSubstring(units, size));
        size = 0;
    }

private:
    void MakeRoom(unsigned int count) {
        if (std::size(units) - size < count)
            Flush();
    }

    Mu::UniString * text;
    unsigned int size = 0;
    unsigned short units[512];
};

void Join(unsigned int node, bool withAttachments, NameJoiner & joiner) {
    AddressTree::Turn const tree;
    NameTable const & names = tree->GetNames();
    PathNodes const path(*tree, node);
    for (unsigned int i = 0; i < path.GetLength(); ++i) {
        if (i != 0)
            joiner.Separate();
        unsigned int const name = tree->GetNodes()[path[i]].name;
        if (withAttachments || names.GetChunks()[name].units[0] != ':') {
            joiner.AppendStored(names, name);
        } else {
            Mu::UniString bare;
            tree->ReadName(path[i], bare);
            joiner.Append(bare);
        }
    }
}

} // namespace

MuErrCode AddressPair::JoinNames(unsigned int node, bool withAttachments, Mu::UniString * text) {
    if (node == Address::NoNode)
        return ErrMemoryFull;
    return WithoutException([&] {
        NameJoiner joiner(text);
        Join(node, withAttachments, joiner);
        joiner.Flush();
        return NoError;
    });
}

} // namespace IO
