#pragma once

#include <Kestrel/Root/Containers/HashStore.h>

#include <initializer_list>

namespace Mu {

/// Values that are found by their keys, and iterated in the order of insertion.
///
///     Mu::HashTable<Mu::UniString, unsigned int> ages;
///     ages.Set(name, 7);
///     if (unsigned int * age = ages.Find(name))
///         ++*age;
///     for (auto & [name, age] : ages) ...
///
/// A key needs operator== and GenerateHashValue or std::hash. Entries never move: a pointer to a
/// value is valid until the entry is deleted. While iterating, entries that were already visited
/// may be deleted.
///
/// Memory:  entries in chunks of 8, and a block of buckets. Places of deleted entries are reused,
///          and freed by Clear.
/// Threads: any number of readers, or one writer.
/// Failure: OutOfMemoryException; the table is unchanged then.
template <typename K, typename V>
class HashTable {
public:
    /// A key with its value; both remain in place until the entry is deleted.
    struct Entry {
        K const key;
        V value;
        MuErrCode Write(OChannel & channel) const {
            MuErrCode const status = ContainerPrivate::WriteElement(channel, key);
            return status == NoError ? ContainerPrivate::WriteElement(channel, value) : status;
        }
    };
    using Iterator = HashPrivate::Iterator<Entry>;
    using ConstIterator = HashPrivate::Iterator<Entry const>;

    /// The buckets grow if finding a key takes more than `maximumSeek` steps on average, unless
    /// less than `minimumFill` of them would be used. 0 means the defaults 2.0 and 0.75.
    explicit HashTable(float maximumSeek = 0, float minimumFill = 0) noexcept
        : store(maximumSeek, minimumFill) {}
    HashTable(std::initializer_list<std::pair<K, V>> entries) : HashTable() {
        for (auto const & [key, value] : entries)
            Set(key, value);
    }

    unsigned int GetSize() const { return store.GetIndex().GetSize(); }
    bool IsEmpty() const { return GetSize() == 0; }
    /// The number of buckets.
    unsigned int GetCapacity() const { return store.GetIndex().GetCapacity(); }
    /// Reserves buckets for that number of entries, if there is memory.
    void SetCapacity(unsigned int entries) { store.SetCapacity(entries); }

    /// The value, or null.
    V * Find(K const & key) {
        Entry * const entry = store.Find(key);
        return entry == nullptr ? nullptr : &entry->value;
    }
    V const * Find(K const & key) const {
        Entry const * const entry = store.Find(key);
        return entry == nullptr ? nullptr : &entry->value;
    }
    bool Contains(K const & key) const { return store.Find(key) != nullptr; }

    /// The value; appends a default one if there is none yet.
    V & operator[](K const & key) {
        Entry * const entry = store.Find(key);
        return entry != nullptr ? entry->value : store.Add(GenerateHash(key), key, V()).value;
    }

    /// Adds the value, or replaces it in place. Returns the one in the table.
    V & Set(K const & key, V value) {
        Entry * const entry = store.Find(key);
        if (entry == nullptr)
            return store.Add(GenerateHash(key), key, std::move(value)).value;
        entry->value = std::move(value);
        return entry->value;
    }

    /// Returns false if there is already a value, which is unchanged.
    bool Insert(K const & key, V value) {
        if (Contains(key))
            return false;
        store.Add(GenerateHash(key), key, std::move(value));
        return true;
    }

    /// Returns false if there is none.
    bool Delete(K const & key) { return store.Delete(key); }
    void Clear(bool keepCapacity = false) { store.Clear(keepCapacity); }

    Iterator begin() { return Iterator(store.GetIndex().GetFirst()); }
    Iterator end() { return Iterator(); }
    ConstIterator begin() const { return ConstIterator(store.GetIndex().GetFirst()); }
    ConstIterator end() const { return ConstIterator(); }

    /// The format of objects: a frame with the number of entries, and each key with its value, in
    /// order.
    MuErrCode Write(OChannel & channel) const {
        return ContainerPrivate::WriteFramed(
            channel, HashTablePrivate::classInfo, *this,
            [&](Entry const & entry) { return entry.Write(channel); });
    }
    MuErrCode Read(IChannel & channel) {
        Clear();
        return ContainerPrivate::ReadFramed(channel, HashTablePrivate::classInfo, [&] {
            K key{};
            V value{};
            MuErrCode status = ContainerPrivate::ReadElement(channel, key);
            if (status == NoError)
                status = ContainerPrivate::ReadElement(channel, value);
            if (status == NoError)
                Set(key, std::move(value));
            return status;
        });
    }

private:
    HashPrivate::Store<Entry> store;
};

} // namespace Mu
