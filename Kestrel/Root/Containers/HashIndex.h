#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Types.h>

#include <functional>
#include <type_traits>

namespace Mu {

/// The sizes of a hash table: powers of two from 8 to 2^31; it remains at either limit.
KESTREL_API unsigned int GetNextHashCapacity(unsigned int capacity);
KESTREL_API unsigned int GetPreviousHashCapacity(unsigned int capacity);

/// The hash of a key: its GenerateHashValue if it has one, otherwise std::hash.
template <typename T>
unsigned int GenerateHash(T const & value) {
    if constexpr (requires { value.GenerateHashValue(); }) {
        return value.GenerateHashValue();
    } else {
        std::size_t const hash = std::hash<T>()(value);
        return static_cast<unsigned int>(hash ^ (static_cast<unsigned long long>(hash) >> 32));
    }
}

namespace HashPrivate {

/// The start of every entry of a hash table or set.
struct Node {
    Node * chain = nullptr;    // the next one in the same bucket
    Node * previous = nullptr; // in order of insertion
    Node * next = nullptr;
    unsigned int hash = 0;
};

/// The part of hash tables and sets that is independent of the type of the entries: the buckets,
/// and the entries in order of insertion. It owns only the buckets.
///
/// Memory:  one block of bucket pointers. If a larger one cannot be allocated, the smaller one
///          remains in use.
/// Failure: OutOfMemoryException, only from Prepare.
class KESTREL_API Index {
public:
    Index(float maximumSeek, float minimumFill) noexcept;
    Index(Index && other) noexcept;
    ~Index();
    Index & operator=(Index const &) = delete;

    void Swap(Index & other) noexcept;

    unsigned int GetSize() const { return size; }
    unsigned int GetCapacity() const { return capacity; }
    float GetMaximumSeek() const { return maximumSeek; }
    float GetMinimumFill() const { return minimumFill; }
    Node * GetFirst() const { return first; }
    Node * GetLast() const { return last; }

    /// The first entry in the bucket of the hash; the chain may contain entries with other hashes.
    Node * GetBucket(unsigned int hash) const {
        return buckets == nullptr ? nullptr : buckets[BucketOf(hash)];
    }

    /// Ensures that there are buckets, so that Add cannot fail.
    void Prepare();
    /// Appends an entry that is not in the table yet, and grows the buckets if the average search
    /// has become too long.
    void Add(Node * node, unsigned int hash) noexcept;
    void Remove(Node * node) noexcept;
    /// Removes the entries.
    void Clear(bool keepCapacity) noexcept;
    void SetCapacity(unsigned int entries) noexcept;

private:
    unsigned int BucketOf(unsigned int hash) const {
        return static_cast<unsigned int>(hash * 0x9E3779B9u) >> shift;
    }
    unsigned int Link(Node * node) noexcept;
    bool IsSeekTooLong() const;
    void Resize(unsigned int newCapacity) noexcept;

    Node ** buckets = nullptr;
    Node * first = nullptr;
    Node * last = nullptr;
    unsigned long long seeks = 0; // total number of steps to find each entry once
    unsigned int capacity = 0;    // number of buckets; a power of two, or 0 without buckets
    unsigned int shift = 29;      // 32 - log2(capacity)
    unsigned int size = 0;
    float maximumSeek;
    float minimumFill;
};

/// Iterates over entries in order of insertion. Valid until its entry is deleted.
template <typename Entry>
class Iterator {
public:
    using value_type = Entry;
    using difference_type = std::ptrdiff_t;

    explicit Iterator(Node * givenNode = nullptr) : node(givenNode) {}
    Entry & operator*() const { return *operator->(); }
    Entry * operator->() const;
    Iterator & operator++() {
        node = node->next;
        return *this;
    }
    Iterator operator++(int) {
        Iterator const before(*this);
        node = node->next;
        return before;
    }
    friend bool operator==(Iterator const &, Iterator const &) = default;

private:
    Node * node;
};

} // namespace HashPrivate
} // namespace Mu
