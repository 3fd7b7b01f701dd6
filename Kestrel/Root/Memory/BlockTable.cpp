#include <Kestrel/Root/Internal/BlockTable.h>

#include <algorithm>

namespace Mu {

std::size_t BlockTable::GetHome(void const * block) const {
    std::uint64_t const spread = reinterpret_cast<std::uintptr_t>(block) * 0x9E3779B97F4A7C15ull;
    return static_cast<std::size_t>(spread >> 32) & (capacity - 1);
}

// The index of the block, or where it would be inserted.
std::size_t BlockTable::Find(void const * block) const {
    std::size_t place = GetHome(block);
    while (entries[place].block != nullptr && entries[place].block != block)
        place = (place + 1) & (capacity - 1);
    return place;
}

bool BlockTable::Resize(std::size_t newCapacity, MemoryCalls const & calls) {
    BlockTable larger;
    larger.entries = static_cast<Entry *>(calls.allocate(newCapacity * sizeof(Entry)));
    if (larger.entries == nullptr)
        return false;
    larger.capacity = newCapacity;
    std::fill_n(larger.entries, newCapacity, Entry{});
    Enumerate([&](void * block, std::size_t size) {
        larger.entries[larger.Find(block)] = {block, size};
        return true;
    });
    if (entries != nullptr)
        calls.free(entries);
    entries = larger.entries;
    capacity = newCapacity;
    return true;
}

bool BlockTable::Insert(void * block, std::size_t size, MemoryCalls const & calls) {
    if (count + 1 > capacity / 4 * 3 && !Resize(std::max<std::size_t>(capacity * 2, 1024), calls))
        return false;
    Entry & entry = entries[Find(block)];
    count += entry.block == nullptr;
    entry = {block, size};
    return true;
}

// Fills the gap: the entries after it in the same run move up, though none to before its home.
bool BlockTable::Remove(void * block, std::size_t * size) {
    if (capacity == 0 || block == nullptr)
        return false;
    std::size_t gap = Find(block);
    if (entries[gap].block == nullptr)
        return false;
    *size = entries[gap].size;
    --count;
    std::size_t const mask = capacity - 1;
    for (std::size_t each = (gap + 1) & mask; entries[each].block != nullptr;
         each = (each + 1) & mask) {
        std::size_t const home = GetHome(entries[each].block);
        if (((each - home) & mask) >= ((each - gap) & mask)) {
            entries[gap] = entries[each];
            gap = each;
        }
    }
    entries[gap] = {};
    return true;
}

bool BlockTable::CopyTo(BlockTable & empty, MemoryCalls const & calls) const {
    if (capacity == 0)
        return true;
    empty.entries = static_cast<Entry *>(calls.allocate(capacity * sizeof(Entry)));
    if (empty.entries == nullptr)
        return false;
    std::copy_n(entries, capacity, empty.entries);
    empty.capacity = capacity;
    empty.count = count;
    return true;
}

void BlockTable::Clear(MemoryCalls const & calls) {
    if (entries != nullptr)
        calls.free(entries);
    entries = nullptr;
    capacity = count = 0;
}

} // namespace Mu
