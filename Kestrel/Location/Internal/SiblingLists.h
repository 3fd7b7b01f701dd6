#pragma once

#include <Kestrel/Location/Internal/ChildIndex.h>
#include <Kestrel/Location/Internal/NameTable.h>
#include <Kestrel/Location/Internal/NodeTable.h>

namespace IO {

/// The children of each node, in their lists.
///
/// A list is in ascending order of the names by code unit, except where a node was renamed in
/// place: such a node stays where it is, so that a search may stop before a name that is there. The
/// twin that is made then does no harm, since addresses are compared by text.
///
/// Memory:  none, but for the index that long lists get.
/// Threads: as the tree: under its lock.
/// Failure: none.
class SiblingLists {
public:
    /// A list that had to be walked over more nodes than this gets an index.
    static constexpr unsigned int LongWalk = 24;

    SiblingLists(NodeTable & nodes, NameTable const & names)
        : nodes(nodes), names(names), index(nodes, names) {}

    /// Finds the place of the name, and whether the node there has it.
    bool Find(unsigned int parent, Mu::ConstSubstring const & key, SiblingPlace & place);
    /// The node, which knows its parent and has its name, goes where Find said.
    void Link(unsigned int node, SiblingPlace const & place);
    /// Not the root, which is in no list.
    void Unlink(unsigned int node);
    /// Has what Unlink needs to know of the node brought near, or Link of the node behind it; in
    /// two steps, of which the second needs what the first one brings.
    void SendWhere(unsigned int node) const { index.SendWhere(node); }
    void SendPlace(unsigned int node) const {
        if (index.Covers(nodes[node].parent))
            index.SendPlace(node);
    }
    /// Notes that the node got another name.
    void Rename(unsigned int node);

    /// Forgets all; the nodes are gone.
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
