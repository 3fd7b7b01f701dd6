#pragma once

#include <Kestrel/Location/Internal/GrowingTable.h>

namespace IO {

/// The nodes of the address tree, with what is remembered of each beside it.
///
/// Memory:  two growing blocks of one capacity.
/// Threads: as the tree: under its lock.
/// Failure: NoIndex, and nothing changed, when memory runs out.
class NodeTable {
public:
    /// What `parent` and `leftChild` of a node in the free list hold, to expose its use.
    static constexpr unsigned int Poison = 0xF4F3F2F1u;

    struct Record {
        unsigned int parent = NoIndex;     // null at the root
        unsigned int next = NoIndex;       // siblings are in ascending order, but for renamed ones
        unsigned int leftChild = NoIndex;  // the first of the children
        unsigned int name = NoIndex;       // in the name table
        unsigned int referenceCounter = 0; // addresses whose path goes through this node
    };

    /// All that could be worked out again from the records, at a cost.
    struct Note {
        unsigned int hash = 0;      // of the address that ends here
        unsigned int depth = 0;     // parents up to the root
        unsigned int top = NoIndex; // of the index over the children, where there is one
    };

    unsigned int Take() {
        if (records.IsFull() && !notes.Fit(records.GetNextCapacity()))
            return NoIndex;
        unsigned int const node = records.Take();
        if (node == NoIndex && records.GetCapacity() == 0)
            notes.Destroy(); // there is still no tree
        return node;
    }

    /// Gives back a node that nothing leads to any more.
    void Put(unsigned int node) {
        records[node].parent = Poison;
        records[node].leftChild = Poison;
        records.Put(node, node);
    }

    void Destroy() {
        records.Destroy();
        notes.Destroy();
    }

    Record & operator[](unsigned int node) { return records[node]; }
    Record const & operator[](unsigned int node) const { return records[node]; }
    Note & GetNote(unsigned int node) { return notes[node]; }
    Note const & GetNote(unsigned int node) const { return notes[node]; }

    /// Whether the index is that of a node in use. False for those of a tree that is gone, as far
    /// as that can be told.
    bool IsLive(unsigned int node) const {
        return node < records.GetMark() && records[node].parent != Poison;
    }

    unsigned int GetCapacity() const { return records.GetCapacity(); }
    GrowingTable<Record> const & GetRecords() const { return records; }

private:
    GrowingTable<Record> records;
    TableBlock<Note> notes; // at least the capacity of the records
};

} // namespace IO
