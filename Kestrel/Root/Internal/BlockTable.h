#pragma once

#include <Kestrel/Root/Memory/Memory.h>

#include <cstddef>
#include <cstdint>

namespace Mu {

/// The addresses and sizes of blocks, looked up by address. Allocates its own memory by the calls
/// that are passed to it, which must always be the same.
///
/// Threads: one at a time.
/// Failure: false when out of memory; the table is unchanged.
class BlockTable {
public:
    constexpr BlockTable() = default;
    BlockTable(BlockTable const &) = delete;
    BlockTable & operator=(BlockTable const &) = delete;

    bool Insert(void * block, std::size_t size, MemoryCalls const & calls);
    /// False: the block is unknown.
    bool Remove(void * block, std::size_t * size);
    bool CopyTo(BlockTable & empty, MemoryCalls const & calls) const;
    void Clear(MemoryCalls const & calls);

    /// Calls `visit(block, size)` until it returns false.
    template <typename Visitor>
    void Enumerate(Visitor const & visit) const {
        for (std::size_t i = 0; i < capacity; ++i)
            if (entries[i].block != nullptr && !visit(entries[i].block, entries[i].size))
                return;
    }

private:
    struct Entry {
        void * block; // null: free
        std::size_t size;
    };

    std::size_t GetHome(void const * block) const;
    std::size_t Find(void const * block) const;
    bool Resize(std::size_t newCapacity, MemoryCalls const & calls);

    Entry * entries = nullptr;
    std::size_t capacity = 0; // a power of two, or 0
    std::size_t count = 0;    // below three quarters of the capacity
};

} // namespace Mu
