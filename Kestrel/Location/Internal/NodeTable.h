#pragma once

#include <Kestrel/Location/Internal/GrowingTable.h>
#include <Kestrel/Location/Internal/SteadyTable.h>

#include <atomic>

namespace IO {

/// The nodes of the address tree, with additional data of each beside it.
///
/// Memory:  the growing block of the records, and the notes.
/// Threads: as the tree: under its lock, except for what Note documents as usable without it.
/// Failure: NoIndex, and nothing changed, when memory runs out.
class NodeTable {
public:
    /// The value of `parent` and `leftChild` of a node in the free list, to expose its use.
    static constexpr unsigned int Poison = 0xF4F3F2F1u;

    struct Record {
        unsigned int parent = NoIndex;     // null at the root
        unsigned int next = NoIndex;       // siblings in ascending order, except renamed ones
        unsigned int leftChild = NoIndex;  // the first of the children
        unsigned int name = NoIndex;       // in the name table
        unsigned int referenceCounter = 0; // addresses whose path goes through this node
    };

    /// Holds not yet included in the counters: in the lower half those of the node alone, in the
    /// upper those of the node together with one of the root. In one number, so that a thread that
    /// reads 0 has seen that there is neither kind. A thread that finds half of the range used
    /// empties it, long before other threads can have used the rest.
    using Copies = unsigned int;
    static constexpr Copies Copy = 1;
    static constexpr Copies CopyWithRoot = 1 << 16;
    static unsigned int CountAlone(Copies copies) { return copies % CopyWithRoot; }
    static unsigned int CountWithRoot(Copies copies) { return copies / CopyWithRoot; }
    /// One of a kind, or 0 if there is none.
    static Copies FindAlone(Copies copies) { return CountAlone(copies) != 0 ? Copy : 0; }
    static Copies FindWithRoot(Copies copies) {
        return CountWithRoot(copies) != 0 ? CopyWithRoot : 0;
    }
    static bool IsHalfFull(Copies copies) { return (copies & 0x80008000u) != 0; }

    /// Additional data that speeds the tree up. Hash and depth change only with the name of a node
    /// that has one holder, so each holder may read them, and change `copies`, without the lock.
    struct Note {
        /// Takes back the copy that `find` selects among all, and returns it, or 0. The thread that
        /// frees the node must see all that its holders did to it, hence the memory orders.
        template <typename Find>
        Copies TakeBack(Find const & find) {
            Copies all = copies.load(std::memory_order_acquire);
            Copies found;
            do
                found = find(all);
            while (found != 0 &&
                   !copies.compare_exchange_weak(all, all - found, std::memory_order_acq_rel,
                                                 std::memory_order_acquire));
            return found;
        }

        std::atomic<Copies> copies = 0;
        unsigned int hash = 0;        // of the address that ends here
        unsigned int depth = 0;       // parents up to the root
        unsigned int index = NoIndex; // see ChildIndex
    };

    unsigned int Take() {
        if (records.IsFull() && !notes.Fit(records.GetNextCapacity()))
            return NoIndex;
        unsigned int const node = records.Take();
        if (node == NoIndex && records.GetCapacity() == 0)
            notes.Destroy(); // there is still no tree
        if (records.GetFreeHead() != NoIndex)
            Prefetch(notes.Find(records.GetFreeHead()));
        return node;
    }

    /// Takes back a node that is no longer referenced.
    void Put(unsigned int node) {
        records[node].parent = Poison;
        records[node].leftChild = Poison;
        records.Put(node, node);
    }

    /// Prefetches the record, where the list of siblings is about to change.
    void PrefetchRecord(unsigned int node) const { records.PrefetchRecord(node); }
    /// Prefetches the note as well, where the node itself is about to change.
    void PrefetchNode(unsigned int node) const {
        records.PrefetchRecord(node);
        Prefetch(notes.Find(node));
    }

    void Destroy() {
        records.Destroy();
        notes.Destroy();
    }

    Record & operator[](unsigned int node) { return records[node]; }
    Record const & operator[](unsigned int node) const { return records[node]; }
    Note & GetNote(unsigned int node) const { return notes[node]; }
    /// Null when the tree of the node no longer exists.
    Note * FindNote(unsigned int node) const { return notes.Find(node); }

    /// Whether the index is that of a node in use. False for those of a destroyed tree, as far as
    /// that can be determined.
    bool IsLive(unsigned int node) const {
        return node < records.GetMark() && records[node].parent != Poison;
    }

    unsigned int GetCapacity() const { return records.GetCapacity(); }
    GrowingTable<Record> const & GetRecords() const { return records; }

private:
    GrowingTable<Record> records;
    SteadyTable<Note> notes; // at least as many as the capacity of the records
};

} // namespace IO
