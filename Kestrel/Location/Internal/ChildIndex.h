#pragma once

#include <Kestrel/Location/Internal/NameTable.h>
#include <Kestrel/Location/Internal/NodeTable.h>

namespace IO {

/// Finds a place among very many siblings without walking their list.
///
/// The list stays the truth. For a parent that has an index, its children also form a balanced
/// binary tree whose order is that of the list, whatever the names: so a node renamed in place,
/// which may stand out of order, keeps its place, and the index finds exactly the place at which
/// the plain walk would have stopped. Each subtree counts the nodes in it that stand behind a
/// greater name; where there are none a search goes straight down, else it looks left first.
///
/// A node remembers four units of its name behind the beginning that all its siblings share, so
/// that a step down mostly costs one line of the cache and no look at a text.
///
/// Memory:  32 bytes for each node of the tree, once any parent has an index. A parent loses its
///          index when that memory cannot be had; the walk does without.
/// Threads: as the tree: under its lock.
/// Failure: none; an index is there or not.
class ChildIndex {
public:
    ChildIndex(NodeTable & nodes, NameTable const & names) : nodes(nodes), names(names) {}

    bool Covers(unsigned int parent) const { return nodes.GetNote(parent).top != NoIndex; }

    /// Makes an index over the children; without the memory for it there is none.
    void Build(unsigned int parent);

    // The rest is for children of a parent that has an index.

    /// The first in the list that is not smaller than the key, or NoIndex.
    unsigned int Find(unsigned int parent, Mu::ConstSubstring const & key);
    unsigned int GetLast(unsigned int parent) const;
    unsigned int GetPrevious(unsigned int node) const { return links[node].previous; }

    /// The node was put into the list at the place that Find told for its name, behind `previous`.
    void Link(unsigned int node, unsigned int previous);
    /// The node is about to be taken out of the list.
    void Unlink(unsigned int node);
    /// The node got another name and kept its place.
    void Rename(unsigned int node);

    void Destroy() { links.Destroy(); }

    /// How many nodes the searches looked at since the start.
    unsigned long long GetComparisonCount() const { return comparisons; }

private:
    struct Links {
        unsigned long long key = 0; // the four units, the first one highest, zeros behind the end
        unsigned int left = NoIndex;
        unsigned int right = NoIndex;
        unsigned int up = NoIndex;       // null at the top
        unsigned int previous = NoIndex; // in the list
        unsigned int falls : 31 = 0;     // nodes from here down that stand behind a greater name
        unsigned int isFall : 1 = 0;     // this one does
        unsigned int prefix = 0;         // as a parent: units that all children begin with alike
    };
    static_assert(sizeof(Links) == 32);

    struct Key {
        unsigned long long start;
        Mu::ConstSubstring text;
    };

    bool IsSmaller(unsigned int node, Key const & key);
    unsigned int FindBelow(unsigned int node, Key const & key);
    void FitPrefix(unsigned int parent, unsigned int child, Mu::ConstSubstring const & text);
    void SetKey(unsigned int node, unsigned int prefix);
    void Attach(unsigned int node, unsigned int previous, unsigned int next);
    unsigned int & SlotOf(unsigned int node);
    void RotateUp(unsigned int node);
    void SetFall(unsigned int node, bool isFall);
    bool IsBehindGreater(unsigned int node) const;
    unsigned int CountFalls(unsigned int node) const;
    unsigned int GetUpperChild(unsigned int node) const;

    NodeTable & nodes;
    NameTable const & names;
    TableBlock<Links> links;
    unsigned long long comparisons = 0;
};

} // namespace IO
