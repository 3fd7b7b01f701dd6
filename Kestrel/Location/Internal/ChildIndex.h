#pragma once

#include <Kestrel/Location/Internal/NameTable.h>
#include <Kestrel/Location/Internal/NodeTable.h>

namespace IO {

/// The place in a list of siblings where a name is, or should be.
struct SiblingPlace {
    unsigned int previous = NoIndex; // the last smaller node; null: at the head
    unsigned int at = NoIndex;       // the first that is not smaller; null: at the end
};

/// Finds a place among very many siblings without walking their list.
///
/// The list is authoritative. For a parent that has an index, its children are also kept, in the
/// order of the list, in a B-tree of blocks. Each entry of an upper block holds the greatest name
/// below it. A search descends into the first entry whose greatest name is not smaller than the
/// key, and that needs no order among the names: where nodes were renamed in place and the list is
/// in disorder, the index still finds exactly the place at which the plain walk stops.
///
/// An entry contains a piece of its name, from behind the prefix that all siblings share: eight
/// units of one byte each, or four of two as soon as one of the names needs them. So a search
/// usually reads a few blocks and no name.
///
/// Memory:  about 18 bytes for each child that is in an index, and 13 where they were appended in
///          order. A parent loses its index when memory runs out; the walk does without.
/// Threads: as the tree: under its lock.
/// Failure: none; an index exists or not.
class ChildIndex {
public:
    ChildIndex(NodeTable & nodes, NameTable const & names) : nodes(nodes), names(names) {}

    bool Covers(unsigned int parent) const { return IsTop(nodes.GetNote(parent).index); }

    /// Builds an index over the children; there is none when memory runs out.
    void Build(unsigned int parent);

    // The rest is for children of a parent that has an index.

    /// Whether the node at the place has the very name.
    bool Find(unsigned int parent, Mu::ConstSubstring const & key, SiblingPlace & place);
    /// The node was linked into the list at the place that Find returned for its name.
    void Link(unsigned int node);
    /// The node is about to be removed from the list. Returns the one before it.
    unsigned int Unlink(unsigned int node);
    /// As documented for SiblingLists.
    void PrefetchPlace(unsigned int node) const;

    /// The node got another name and kept its place.
    void Rename(unsigned int node);

    void Destroy();

    /// How many names the searches have compared since the start.
    unsigned long long GetComparisonCount() const { return comparisons; }

private:
    static constexpr unsigned int LeafSize = 44;
    static constexpr unsigned int UpperSize = LeafSize / 2;
    static constexpr unsigned int MaxDepth =
        16; // each further level takes 11 times as many insertions

    struct Block {
        unsigned int next = NoIndex; // in the free list
        unsigned int up = NoIndex;   // null at the top
        unsigned int leaf = NoIndex; // of the top: the leaf that the parent itself is in
        unsigned int count = 0;
        bool isLeaf = true;
        bool isWide = false;               // of the top: the form of the keys in all blocks
        unsigned char prefix = 0;          // the same
        unsigned int nodes[LeafSize] = {}; // in a leaf: the children; else: the greatest below, in
                                           // the first half, and the blocks below in the second
        unsigned long long keys[LeafSize] = {}; // of the names of `nodes`

        unsigned int GetMost() const { return isLeaf ? LeafSize : UpperSize; }
        unsigned int * GetBelow() { return nodes + UpperSize; }
        unsigned int const * GetBelow() const { return nodes + UpperSize; }
    };

    struct Entry {
        unsigned long long key;
        unsigned int node;
        unsigned int below;
    };

    struct Key {
        unsigned long long start;
        Mu::ConstSubstring text;
    };

    // The piece of a name in the index.
    Key MakeKey(unsigned int parent, Mu::ConstSubstring const & text) const;
    unsigned long long MakeKey(unsigned int parent, unsigned int node) const;
    void FitShape(unsigned int parent, unsigned int child, Mu::ConstSubstring const & text);
    void SetShape(unsigned int parent, unsigned int prefix, bool isWide);
    void RenewKeys(unsigned int parent, unsigned int block);
    int Compare(Block const & block, unsigned int at, Key const & key) const;
    int CompareEntries(Block const & block, unsigned int a, unsigned int b) const;

    // Navigation.
    void PrefetchBlock(unsigned int block) const;
    unsigned int FindIn(Block const & block, Key const & key, int & order);
    unsigned int GetLast(unsigned int block) const;
    unsigned int GetBefore(unsigned int block, unsigned int at) const;
    unsigned int GetPlace(unsigned int block) const;
    static unsigned int IndexOf(unsigned int const * list, unsigned int wanted);

    // A node's note holds its leaf in the index of its parent or, marked, the top of the index over
    // its own children, which then holds that leaf.
    static constexpr unsigned int TopMark = 0x80000000u;
    static bool IsTop(unsigned int index) { return index != NoIndex && (index & TopMark) != 0; }
    unsigned int GetTop(unsigned int parent) const {
        return nodes.GetNote(parent).index & ~TopMark;
    }
    void SetTop(unsigned int parent, unsigned int top);
    void RemoveTop(unsigned int parent);
    unsigned int GetLeaf(unsigned int node) const;
    void SetLeaf(unsigned int node, unsigned int leaf);

    // Changes.
    bool Append(unsigned int parent, unsigned int node);
    unsigned int Insert(unsigned int block, unsigned int at, Entry entry);
    bool TakeSpares(unsigned int block, unsigned int * spares);
    void StartBlock(unsigned int block, unsigned int up, bool isLeaf);
    void PutTop(unsigned int block, unsigned int below);
    void CopyShape(unsigned int from, unsigned int to);
    void Split(unsigned int block, unsigned int kept, unsigned int right);
    void PutEntry(unsigned int block, unsigned int at, Entry const & entry);
    void EraseEntry(unsigned int block, unsigned int at);
    Entry GetSummary(unsigned int block) const;
    void Refresh(unsigned int block);
    void LowerTop(unsigned int parent);
    void Drop(unsigned int parent);
    void FreeBelow(unsigned int block);

    NodeTable & nodes;
    NameTable const & names;
    GrowingTable<Block, 4> blocks;
    unsigned long long comparisons = 0;
};

} // namespace IO
