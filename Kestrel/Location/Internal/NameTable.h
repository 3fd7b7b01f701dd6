#pragma once

#include <Kestrel/Location/Internal/GrowingTable.h>
#include <Kestrel/Root/Text/Substring.h>

#include <algorithm>
#include <bit>
#include <cstring>

namespace IO {

/// The texts of the address tree, each a chain of chunks of 30 units.
///
/// A name is the index of its first chunk. Texts end at the chain's end or at the first zero unit,
/// so none holds a zero unit. Nearly all names of real paths fit into one chunk, which is one line
/// of the processor's cache.
///
/// Memory:  one growing block; none while it holds no name.
/// Threads: as the tree: under its lock.
/// Failure: NoIndex, and nothing changed, when memory runs out.
class NameTable {
public:
    static constexpr unsigned int ChunkSize = 30;

    struct Record {
        unsigned short units[ChunkSize] = {}; // a zero unit ends a text that does not fill them
        unsigned int next = NoIndex;
    };

    unsigned int Store(Mu::ConstSubstring const & text);
    /// Frees the name's chunks; the last name also frees the table's memory.
    void Release(unsigned int name);
    void Destroy();
    /// Prefetches the name, before it is compared or released.
    void PrefetchName(unsigned int name) const { chunks.PrefetchRecord(name); }

    /// Below 0, 0 or above 0 for a stored name before, equal to or after the key, by code units.
    int Compare(unsigned int name, Mu::ConstSubstring const & key) const;
    /// The same for two stored names.
    int CompareNames(unsigned int first, unsigned int second) const;

    unsigned int GetLength(unsigned int name) const;
    /// Copies all of the name, without a terminator.
    void Copy(unsigned int name, unsigned short * to) const;
    /// Copies the units of one chunk and returns how many they are. Writes over ChunkSize units.
    unsigned int CopyChunk(unsigned int chunk, unsigned short * to) const;
    /// The units of the name's first chunk; all of the name when there are fewer than 30.
    Mu::ConstSubstring GetStart(unsigned int name) const;

    /// How many names are stored.
    unsigned int GetCount() const { return count; }
    GrowingTable<Record> const & GetChunks() const { return chunks; }

    /// The number of leading units that the two runs have in common.
    static unsigned int CountEqual(unsigned short const * a, unsigned short const * b,
                                   unsigned int count);

private:
    static unsigned int CountUsed(Record const & chunk);

    GrowingTable<Record> chunks;
    unsigned int count = 0;
};

// Tests four units at a time, up to those that contain the zero.
inline unsigned int NameTable::CountUsed(Record const & chunk) {
    constexpr unsigned long long Ones = 0x0001000100010001, Highest = 0x8000800080008000;
    unsigned int used = 0;
    for (; used + 4 <= ChunkSize; used += 4) {
        unsigned long long four;
        std::memcpy(&four, chunk.units + used, sizeof four);
        // The lowest bit is exact: only above a zero may another unit be taken for one.
        unsigned long long const zeros = (four - Ones) & ~four & Highest;
        if (zeros != 0 && std::endian::native == std::endian::little)
            return used + static_cast<unsigned int>(std::countr_zero(zeros)) / 16;
        if (zeros != 0)
            break;
    }
    while (used < ChunkSize && chunk.units[used] != 0)
        ++used;
    return used;
}

inline unsigned int NameTable::CopyChunk(unsigned int chunk, unsigned short * to) const {
    // A fixed size is faster than the exact one.
    std::memcpy(to, chunks[chunk].units, sizeof Record::units);
    return CountUsed(chunks[chunk]);
}

} // namespace IO
