#pragma once

namespace IO {

/// Keeps up to `count` unused entries, so that connecting allocates none.
///
/// Threads: guarded by the lock of IO::fileSystem.
/// Failure: Take throws Mu::OutOfMemoryException when the pool is empty and memory runs out.
template <typename Entry, typename Owner, unsigned int count>
class EntryPool {
public:
    /// Starts full.
    explicit EntryPool(Owner & owner) : owner(owner) {
        while (size < count)
            Give(new Entry(owner));
    }
    ~EntryPool() {
        while (size != 0)
            delete pooled[--size];
    }
    EntryPool(EntryPool const &) = delete;
    EntryPool & operator=(EntryPool const &) = delete;

    Entry * Take() { return size != 0 ? pooled[--size] : new Entry(owner); }

    void Give(Entry * entry) {
        entry->Release();
        if (size < count)
            pooled[size++] = entry;
        else
            delete entry;
    }

private:
    Owner & owner;
    Entry * pooled[count];
    unsigned int size = 0;
};

} // namespace IO
