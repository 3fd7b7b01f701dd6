#pragma once

#include <Kestrel/Root/Memory/Memory.h>

#include <atomic>
#include <bit>
#include <new>

namespace IO {

/// Records that stay where they are while the table grows, so that who knows that a record is in use
/// may look at it without a lock.
///
/// Memory:  a block for the first 64 records, and one for each doubling.
/// Threads: Fit and Destroy under a lock. Find from any thread, for an index that it was given by
///          one that had the lock.
/// Failure: false, and nothing changed, when memory runs out.
template <typename Record>
class SteadyTable {
public:
    constexpr SteadyTable() = default;
    SteadyTable(SteadyTable const &) = delete;
    SteadyTable & operator=(SteadyTable const &) = delete;

    /// Makes room for `count` records, which are as a default one.
    bool Fit(unsigned int count) {
        for (unsigned int part = 0; count > 0 && part <= PartOf(count - 1); ++part)
            if (parts[part].load(std::memory_order_relaxed) == nullptr && !Make(part))
                return false;
        return true;
    }

    /// Null for a record that there is no room for.
    Record * Find(unsigned int index) const {
        unsigned int const part = PartOf(index);
        Record * const records = parts[part].load(std::memory_order_acquire);
        return records == nullptr ? nullptr : records + (index - StartOf(part));
    }

    Record & operator[](unsigned int index) const { return *Find(index); }

    void Destroy() {
        for (std::atomic<Record *> & part : parts) {
            char * block = reinterpret_cast<char *>(part.exchange(nullptr));
            BMKillPtr(&block);
        }
    }

private:
    static constexpr unsigned int FirstBits = 6;
    static constexpr unsigned int PartCount = 33 - FirstBits;

    static unsigned int PartOf(unsigned int index) {
        return static_cast<unsigned int>(std::bit_width(index >> FirstBits));
    }
    static unsigned int StartOf(unsigned int part) {
        return part == 0 ? 0 : 1u << (FirstBits + part - 1);
    }

    bool Make(unsigned int part) {
        unsigned int const size = part == 0 ? 1u << FirstBits : StartOf(part);
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
