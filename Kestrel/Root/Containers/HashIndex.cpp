#include <Kestrel/Root/Containers/HashIndex.h>

#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Memory/Memory.h>

#include <bit>
#include <cstring>
#include <utility>

namespace Mu {

namespace {

constexpr unsigned int smallestCapacity = 8;
constexpr unsigned int largestCapacity = 0x80000000u;

} // namespace

unsigned int GetNextHashCapacity(unsigned int capacity) {
    if (capacity < smallestCapacity)
        return smallestCapacity;
    return capacity >= largestCapacity ? largestCapacity : std::bit_floor(capacity) * 2;
}

unsigned int GetPreviousHashCapacity(unsigned int capacity) {
    return capacity <= smallestCapacity ? smallestCapacity : std::bit_ceil(capacity) / 2;
}

namespace HashPrivate {

Index::Index(float maximumSeek, float minimumFill) noexcept
    : maximumSeek(maximumSeek > 0 ? maximumSeek : 2.0f),
      minimumFill(minimumFill > 0 ? minimumFill : 0.75f) {}

Index::Index(Index && other) noexcept : Index(other.maximumSeek, other.minimumFill) {
    Swap(other);
}

Index::~Index() {
    DeleteOperator(buckets);
}

void Index::Swap(Index & other) noexcept {
    std::swap(buckets, other.buckets);
    std::swap(first, other.first);
    std::swap(last, other.last);
    std::swap(seeks, other.seeks);
    std::swap(capacity, other.capacity);
    std::swap(shift, other.shift);
    std::swap(size, other.size);
    std::swap(maximumSeek, other.maximumSeek);
    std::swap(minimumFill, other.minimumFill);
}

void Index::Prepare() {
    if (buckets == nullptr)
        Resize(smallestCapacity);
    if (buckets == nullptr || size == NotFound)
        ThrowOutOfMemory();
}

void Index::Add(Node * node, unsigned int hash) noexcept {
    node->hash = hash;
    node->next = nullptr;
    node->previous = last;
    (last == nullptr ? first : last->next) = node;
    last = node;
    ++size;
    seeks += Link(node);
    if (IsSeekTooLong())
        Resize(GetNextHashCapacity(capacity));
}

// Appends the entry to its chain and returns its position there, from 1.
unsigned int Index::Link(Node * node) noexcept {
    node->chain = nullptr;
    unsigned int steps = 1;
    Node ** at = &buckets[BucketOf(node->hash)];
    for (; *at != nullptr; at = &(*at)->chain)
        ++steps;
    *at = node;
    return steps;
}

void Index::Remove(Node * node) noexcept {
    // The entries after it in the chain come one step closer; together with its own steps that is
    // the length of the chain.
    unsigned int length = 0;
    for (Node ** at = &buckets[BucketOf(node->hash)]; *at != nullptr; ++length) {
        if (*at == node)
            *at = node->chain;
        else
            at = &(*at)->chain;
    }
    seeks -= length;
    (node->previous == nullptr ? first : node->previous->next) = node->next;
    (node->next == nullptr ? last : node->next->previous) = node->previous;
    --size;
    // Only below a quarter of the minimum fill, so that a table does not shrink and grow by turns.
    if (size < minimumFill * static_cast<float>(capacity) / 4 && capacity > smallestCapacity)
        Resize(GetPreviousHashCapacity(capacity));
}

void Index::Clear(bool keepCapacity) noexcept {
    first = last = nullptr;
    seeks = 0;
    size = 0;
    if (buckets == nullptr)
        return;
    if (keepCapacity) {
        std::memset(static_cast<void *>(buckets), 0, sizeof(Node *) * capacity);
    } else {
        DeleteOperator(std::exchange(buckets, nullptr));
        capacity = 0;
    }
}

void Index::SetCapacity(unsigned int entries) noexcept {
    unsigned int const wanted = std::bit_ceil(std::min(entries, largestCapacity));
    if (entries > 0 && wanted > capacity)
        Resize(std::max(wanted, smallestCapacity));
}

// If few entries have long chains, their hashes are such that more buckets would not separate them.
bool Index::IsSeekTooLong() const {
    return static_cast<double>(seeks) > static_cast<double>(maximumSeek) * size &&
           static_cast<double>(size) >= static_cast<double>(minimumFill) * capacity;
}

void Index::Resize(unsigned int newCapacity) noexcept {
    std::size_t const bytes = sizeof(Node *) * newCapacity;
    if (newCapacity == capacity || bytes / sizeof(Node *) != newCapacity)
        return;
    auto * const block = static_cast<Node **>(NewOperator(bytes));
    if (block == nullptr)
        return; // the old buckets are slower, but correct
    std::memset(static_cast<void *>(block), 0, bytes);
    DeleteOperator(std::exchange(buckets, block));
    capacity = newCapacity;
    shift = 32u - static_cast<unsigned int>(std::countr_zero(newCapacity));
    seeks = 0;
    for (Node * node = first; node != nullptr; node = node->next)
        seeks += Link(node);
}

} // namespace HashPrivate
} // namespace Mu
