#pragma once

namespace IO::IPC {

/// Blocks for sent and received data, all of one size. Unused ones are kept for the next message of
/// any connection, so that a steady flow of large messages needs no new pages of the system. Unlike
/// a Mu::CachedAllocator it can return a block only if one is unused: for bytes that are merely
/// announced none is allocated.
///
/// Memory:  at most so many unused blocks, until the end of the process.
/// Threads: the one that drives the pool.
class BlockStore {
public:
    /// A frame of the largest size with its header.
    static constexpr unsigned int BlockSize = 508096 + 5;
    static constexpr unsigned int MostUnused = 16;

    /// First called by the pool, and therefore destroyed after it.
    static BlockStore & Instance();
    BlockStore(BlockStore const &) = delete;
    BlockStore & operator=(BlockStore const &) = delete;

    /// Mu::OutOfMemoryException when out of memory.
    char * Take();
    /// Null: none is unused.
    char * TakeUnused();
    void Give(char * block);

private:
    BlockStore() = default;
    ~BlockStore();

    char * unused = nullptr; // each begins with the address of the next
    unsigned int count = 0;
};

} // namespace IO::IPC
