#pragma once

#include <Kestrel/Root/Containers/ContainerStreams.h>
#include <Kestrel/Root/Containers/HashIndex.h>
#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Memory/Memory.h>

#include <new>
#include <utility>

namespace Mu::HashPrivate {

/// The entries of a hash table or set, in chunks of 8 places, so that an entry never moves, and
/// their index. Places of deleted entries are reused.
///
/// `Entry` has a `key`.
template <typename Entry>
class Store {
    static_assert(alignof(Entry) <= alignof(std::max_align_t));

    struct Place : Node {
        Entry entry;
        template <typename... Arguments>
        explicit Place(Arguments &&... arguments) : entry{std::forward<Arguments>(arguments)...} {}
    };

public:
    static Entry & EntryOf(Node * node) { return static_cast<Place *>(node)->entry; }

    Store(float maximumSeek, float minimumFill) noexcept : index(maximumSeek, minimumFill) {}
    Store(Store const & other) : Store(other.index.GetMaximumSeek(), other.index.GetMinimumFill()) {
        index.SetCapacity(other.index.GetSize());
        for (Node * node = other.index.GetFirst(); node != nullptr; node = node->next)
            Add(node->hash, EntryOf(node));
    }
    Store(Store && other) noexcept
        : index(std::move(other.index)), chunks(std::exchange(other.chunks, nullptr)),
          vacant(std::exchange(other.vacant, nullptr)), unused(std::exchange(other.unused, 0)) {}
    // Two overloads: a single one by value would make the assignment of a class that contains a
    // store noexcept, although the copy may throw.
    Store & operator=(Store const & other) { return *this = Store(other); }
    Store & operator=(Store && other) noexcept {
        Store taken(std::move(other));
        index.Swap(taken.index);
        std::swap(chunks, taken.chunks);
        std::swap(vacant, taken.vacant);
        std::swap(unused, taken.unused);
        return *this;
    }
    ~Store() { Clear(false); }

    Index const & GetIndex() const { return index; }
    void SetCapacity(unsigned int entries) noexcept { index.SetCapacity(entries); }

    template <typename Key>
    Entry * Find(Key const & key) const {
        Node * const node = FindNode(key);
        return node == nullptr ? nullptr : &EntryOf(node);
    }

    /// Adds an entry whose key is not in the table yet.
    template <typename... Arguments>
    Entry & Add(unsigned int hash, Arguments &&... arguments) {
        index.Prepare();
        void * const place = TakePlace();
        Place * made;
        try {
            made = ::new (place) Place(std::forward<Arguments>(arguments)...);
        } catch (...) {
            GiveBack(place);
            throw;
        }
        index.Add(made, hash);
        return made->entry;
    }

    template <typename Key>
    bool Delete(Key const & key) {
        Node * const node = FindNode(key);
        if (node == nullptr)
            return false;
        index.Remove(node);
        End(node);
        return true;
    }

    void Clear(bool keepCapacity) {
        for (Node * node = index.GetFirst(); node != nullptr;) {
            Node * const next = node->next;
            End(node);
            node = next;
        }
        index.Clear(keepCapacity);
        if (!keepCapacity)
            FreeChunks();
    }

private:
    static constexpr unsigned int ChunkSize = 8;
    struct Vacant {
        Vacant * next;
    };
    struct alignas(alignof(std::max_align_t)) Chunk {
        Chunk * next;
        alignas(Place) unsigned char places[ChunkSize][sizeof(Place)];
    };

    template <typename Key>
    Node * FindNode(Key const & key) const {
        if (index.GetSize() == 0)
            return nullptr;
        unsigned int const hash = GenerateHash(key);
        Node * node = index.GetBucket(hash);
        while (node != nullptr && !(node->hash == hash && EntryOf(node).key == key))
            node = node->chain;
        return node;
    }

    void * TakePlace() {
        if (vacant != nullptr)
            return std::exchange(vacant, vacant->next);
        if (unused == 0) {
            Chunk * const chunk = static_cast<Chunk *>(NewOrThrow(sizeof(Chunk)));
            chunk->next = chunks;
            chunks = chunk;
            unused = ChunkSize;
        }
        return chunks->places[ChunkSize - unused--];
    }

    void GiveBack(void * place) { vacant = ::new (place) Vacant{vacant}; }

    void End(Node * node) {
        Place * const place = static_cast<Place *>(node);
        place->~Place();
        GiveBack(place);
    }

    void FreeChunks() {
        while (chunks != nullptr)
            DeleteOperator(std::exchange(chunks, chunks->next));
        vacant = nullptr;
        unused = 0;
    }

    Index index;
    Chunk * chunks = nullptr;  // the newest is first
    Vacant * vacant = nullptr; // places of deleted entries
    unsigned int unused = 0;   // number of unused places at the end of the newest chunk
};

template <typename Entry>
Entry * Iterator<Entry>::operator->() const {
    return &Store<std::remove_const_t<Entry>>::EntryOf(node);
}

} // namespace Mu::HashPrivate
