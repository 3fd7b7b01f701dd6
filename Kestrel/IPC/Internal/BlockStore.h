#pragma once

namespace IO::IPC {

/// Blocks for what connections send and receive, all of one size. Those that nobody uses any more are
/// kept for the next message of whichever connection, so that a steady flow of large messages asks
/// the system for no pages. Unlike a Mu::CachedAllocator it can be asked for a block only if one is
/// unused: for bytes that are merely announced no new one is taken.
///
/// Memory:  at most so many unused blocks, until the end of the process.
/// Threads: the one that drives the pool.
class BlockStore {
public:
    /// A frame of the largest size with its header.
    static constexpr unsigned int BlockSize = 508096 + 5;
    static constexpr unsigned int MostUnused = 16;

    /// First asked for by the pool, and so there as long as it.
    static BlockStore & Instance();
    BlockStore(BlockStore const &) = delete;
    BlockStore & operator=(BlockStore const &) = delete;

    /// Mu::OutOfMemoryException on shortage.
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
