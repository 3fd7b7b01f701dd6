#pragma once

#include <Kestrel/Root/Containers/HashStore.h>

#include <initializer_list>

namespace Mu {

/// A set of values in order of insertion. Everything documented for HashTable applies.
template <typename T>
class HashSet {
    struct Entry {
        T const key;
    };

public:
    class Iterator {
    public:
        using value_type = T;
        using difference_type = std::ptrdiff_t;
        explicit Iterator(HashPrivate::Node * node = nullptr) : at(node) {}
        T const & operator*() const { return at->key; }
        T const * operator->() const { return &at->key; }
        Iterator & operator++() {
            ++at;
            return *this;
        }
        Iterator operator++(int) { return Iterator(at++); }
        friend bool operator==(Iterator const &, Iterator const &) = default;

    private:
        explicit Iterator(HashPrivate::Iterator<Entry const> givenAt) : at(givenAt) {}
        HashPrivate::Iterator<Entry const> at;
    };

    explicit HashSet(float maximumSeek = 0, float minimumFill = 0) noexcept
        : store(maximumSeek, minimumFill) {}
    HashSet(std::initializer_list<T> values) : HashSet() {
        for (T const & value : values)
            Insert(value);
    }

    unsigned int GetSize() const { return store.GetIndex().GetSize(); }
    bool IsEmpty() const { return GetSize() == 0; }
    unsigned int GetCapacity() const { return store.GetIndex().GetCapacity(); }
    void SetCapacity(unsigned int entries) { store.SetCapacity(entries); }

    /// The equal value in the set, or null.
    T const * Find(T const & value) const {
        Entry const * const entry = store.Find(value);
        return entry == nullptr ? nullptr : &entry->key;
    }
    bool Contains(T const & value) const { return store.Find(value) != nullptr; }

    /// Returns false if an equal value is in the set, which is kept.
    bool Insert(T value) {
        if (Contains(value))
            return false;
        unsigned int const hash = GenerateHash(value);
        store.Add(hash, std::move(value));
        return true;
    }
    /// Returns false if there is none.
    bool Delete(T const & value) { return store.Delete(value); }
    void Clear(bool keepCapacity = false) { store.Clear(keepCapacity); }

    Iterator begin() const { return Iterator(store.GetIndex().GetFirst()); }
    Iterator end() const { return Iterator(); }

    /// The format of objects: a frame with the number of values and each of them, in order.
    MuErrCode Write(OChannel & channel) const {
        return ContainerPrivate::WriteFramed(
            channel, HashSetPrivate::classInfo, *this,
            [&](T const & value) { return ContainerPrivate::WriteElement(channel, value); });
    }
    MuErrCode Read(IChannel & channel) {
        Clear();
        return ContainerPrivate::ReadFramed(channel, HashSetPrivate::classInfo, [&] {
            T value{};
            MuErrCode const status = ContainerPrivate::ReadElement(channel, value);
            if (status == NoError)
                Insert(std::move(value));
            return status;
        });
    }

private:
    HashPrivate::Store<Entry> store;
};

} // namespace Mu
