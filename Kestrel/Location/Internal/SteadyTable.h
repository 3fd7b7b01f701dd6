#pragma once

#include <Kestrel/Root/Memory/Memory.h>

#include <atomic>
#include <bit>
#include <new>

namespace IO {

/// Records that do not move while the table grows, so that a thread that knows a record to be in
/// use may read it without a lock.
///
/// Memory:  sixteen blocks of 32 records, and sixteen for each doubling.
/// Threads: Fit and Destroy under a lock. Find from any thread, for an index received from a thread
///          that had the lock.
/// Failure: false, and nothing changed, when memory runs out.
template <typename Record>
class SteadyTable {
public:
    constexpr SteadyTable() = default;
    SteadyTable(SteadyTable const &) = delete;
    SteadyTable & operator=(SteadyTable const &) = delete;

    static constexpr unsigned int MostRecords = 0xFFFFFE00u;

    /// Makes room for `count` records; new ones are default-constructed.
    bool Fit(unsigned int count) {
        if (count > MostRecords)
            return false;
        for (unsigned int part = 0; count > 0 && part <= PlaceOf(count - 1).part; ++part)
            if (parts[part].load(std::memory_order_relaxed) == nullptr && !Make(part))
                return false;
        return true;
    }

    /// Null for a record without memory. The index is below MostRecords.
    Record * Find(unsigned int index) const {
        Place const place = PlaceOf(index);
        Record * const records = parts[place.part].load(std::memory_order_acquire);
        return records == nullptr ? nullptr : records + place.at;
    }

    Record & operator[](unsigned int index) const {
        Place const place = PlaceOf(index);
        return parts[place.part].load(std::memory_order_acquire)[place.at];
    }

    void Destroy() {
        for (std::atomic<Record *> & part : parts) {
            char * block = reinterpret_cast<char *>(part.exchange(nullptr));
            BMKillPtr(&block);
        }
    }

private:
    // Indices are counted from FirstSize on. The highest bit selects the doubling, the SplitBits
    // after it the block in that, the others the record in the block.
    static constexpr unsigned int SplitBits = 4;
    static constexpr unsigned int FirstBits = 9;
    static constexpr unsigned int FirstSize = 1u << FirstBits;
    static constexpr unsigned int PartCount = (32 - FirstBits) << SplitBits;

    struct Place {
        unsigned int part;
        unsigned int at;
    };
    static Place PlaceOf(unsigned int index) {
        unsigned int const counted = index + FirstSize;
        unsigned int const highest = 31 ^ static_cast<unsigned int>(std::countl_zero(counted | 1));
        unsigned int const shift = highest - SplitBits;
        unsigned int const leading = counted >> shift; // the highest bit and SplitBits more
        return {((highest - FirstBits - 1) << SplitBits) + leading, counted - (leading << shift)};
    }
    static unsigned int SizeOf(unsigned int part) {
        return 1u << ((part >> SplitBits) + FirstBits - SplitBits);
    }

    bool Make(unsigned int part) {
        unsigned int const size = SizeOf(part);
        char * const block = BMAllocatePtr(std::size_t{size} * sizeof(Record), 0, 0);
        if (block == nullptr)
            return false;
        auto * const records = reinterpret_cast<Record *>(block);
        for (unsigned int i = 0; i < size; ++i)
            new (records + i) Record;
        parts[part].store(records, std::memory_order_release);
        return true;
    }

    std::atomic<Record *> parts[PartCount] = {};
};

} // namespace IO
