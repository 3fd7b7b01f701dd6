#pragma once

#include <Kestrel/Location/Internal/Prefetch.h>
#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Root/Types.h>

namespace IO {

/// The null of all indices into the tables of the address tree.
inline constexpr unsigned int NoIndex = 0xFFFFFFFFu;

/// A relocatable block of records that is addressed by index.
///
/// Indices stay valid when it grows, references and pointers do not.
///
/// Memory:  one handle of the root's, none before the first Fit.
/// Threads: one at a time.
/// Failure: false, and nothing changed, when memory runs out.
template <typename Record>
class TableBlock {
public:
    TableBlock() = default;
    ~TableBlock() { Destroy(); }
    TableBlock(TableBlock const &) = delete;
    TableBlock & operator=(TableBlock const &) = delete;

    /// Makes room for `count` records; new ones are uninitialised.
    bool Fit(unsigned int count) {
        if (count <= capacity)
            return true;
        std::size_t const size = std::size_t{count} * sizeof(Record);
        if (handle == nullptr)
            handle = BMAllocateHandle(size, 0, 0);
        else if (!BMReallocHandle(handle, size))
            return false;
        if (handle == nullptr)
            return false;
        records = reinterpret_cast<Record *>(*handle);
        capacity = count;
        return true;
    }

    void Destroy() {
        if (handle != nullptr)
            BMKillHandle(&handle);
        records = nullptr;
        capacity = 0;
    }

    unsigned int GetCapacity() const { return capacity; }
    Record & operator[](unsigned int index) { return records[index]; }
    Record const & operator[](unsigned int index) const { return records[index]; }

private:
    BMHandle handle = nullptr;
    Record * records = nullptr; // the current address of the handle's block
    unsigned int capacity = 0;
};

/// A table that hands out records one by one and takes them back.
///
/// Returned records are chained through their `next` and handed out first. A record that is handed
/// out has the value that its last user left, or the default.
template <typename Record, unsigned int FirstCapacity = 64>
class GrowingTable {
public:
    /// NoIndex: out of memory, and nothing changed. The record to be handed out next is prefetched,
    /// since returned ones may be anywhere.
    unsigned int Take() {
        if (freeHead != NoIndex) {
            unsigned int const index = freeHead;
            freeHead = block[index].next;
            PrefetchRecord(freeHead);
            return index;
        }
        if (IsFull() && !Grow())
            return NoIndex;
        new (&block[mark]) Record; // only now, so that records never handed out stay untouched
        return mark++;
    }

    /// Takes back a chain of records, from the first through `next` to the last.
    void Put(unsigned int first, unsigned int last) {
        block[last].next = freeHead;
        freeHead = first;
    }

    /// The next size of the table: it doubles while it is small and grows by a sixteenth then, up to
    /// the limit of the indices. Systems move large blocks without copying them.
    unsigned int GetNextCapacity() const {
        constexpr unsigned int largestToDouble = 512 * 1024 / sizeof(Record);
        unsigned int const capacity = block.GetCapacity();
        if (capacity == 0)
            return FirstCapacity;
        unsigned int const more = capacity < largestToDouble ? capacity : capacity / 16;
        return more <= NoIndex - capacity ? capacity + more : capacity;
    }

    /// Whether the next Take has to grow the table.
    bool IsFull() const { return freeHead == NoIndex && mark == block.GetCapacity(); }

    void Destroy() {
        block.Destroy();
        mark = 0;
        freeHead = NoIndex;
    }

    unsigned int GetCapacity() const { return block.GetCapacity(); }
    /// How many records were handed out at least once; those at and past it never were.
    unsigned int GetMark() const { return mark; }
    unsigned int GetFreeHead() const { return freeHead; }
    Record & operator[](unsigned int index) { return block[index]; }
    Record const & operator[](unsigned int index) const { return block[index]; }
    /// Prefetches the record, if there is one.
    void PrefetchRecord(unsigned int index) const {
        if (index < mark)
            Prefetch(&block[index]);
    }

private:
    bool Grow() {
        unsigned int const next = GetNextCapacity();
        return next > block.GetCapacity() && block.Fit(next);
    }

    TableBlock<Record> block;
    unsigned int mark = 0;
    unsigned int freeHead = NoIndex;
};

} // namespace IO
