#pragma once

#include <Kestrel/Location/Internal/ChildIndex.h>
#include <Kestrel/Location/Internal/NameTable.h>
#include <Kestrel/Location/Internal/NodeTable.h>

namespace IO {

/// The children of each node, in their lists.
///
/// A list is in ascending order of the names by code unit, except where a node was renamed in
/// place: such a node keeps its position, so that a search may stop before a name that exists. The
/// duplicate that is then created does no harm, since addresses are compared by text.
///
/// Memory:  none, except for the index that long lists get.
/// Threads: as the tree: under its lock.
/// Failure: none.
class SiblingLists {
public:
    /// A list in which a walk passed more nodes than this gets an index.
    static constexpr unsigned int LongWalk = 24;

    SiblingLists(NodeTable & nodes, NameTable const & names)
        : nodes(nodes), names(names), index(nodes, names) {}

    /// Finds the place of the name, and whether the node there has it.
    bool Find(unsigned int parent, Mu::ConstSubstring const & key, SiblingPlace & place);
    /// Links the node, which has its parent and name, at the place that Find returned.
    void Link(unsigned int node, SiblingPlace const & place);
    /// Not for the root, which is in no list.
    void Unlink(unsigned int node);
    /// Prefetches what Unlink reads of the node, or Link of the node behind it. Reads its note.
    void PrefetchPlace(unsigned int node) const {
        if (index.Covers(nodes[node].parent))
            index.PrefetchPlace(node);
    }
    /// To be called when the node got another name.
    void Rename(unsigned int node);

    /// Forgets all nodes, which no longer exist.
    void Destroy() { index.Destroy(); }

    /// How many names searches have compared since the start.
    unsigned long long GetComparisonCount() const {
        return comparisons + index.GetComparisonCount();
    }

private:
    bool Walk(unsigned int parent, Mu::ConstSubstring const & key, SiblingPlace & place);
    unsigned int WalkTo(unsigned int node);

    NodeTable & nodes;
    NameTable const & names;
    ChildIndex index;
    unsigned long long comparisons = 0;
};

} // namespace IO
