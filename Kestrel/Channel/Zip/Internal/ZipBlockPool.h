#pragma once

#include <Kestrel/Root/Containers/Array.h>
#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Root/Threads/Condition.h>
#include <Kestrel/Root/Threads/Lock.h>

namespace IO {

/// A block of data for the compressor or, without data, a command to it.
struct ZipBlock {
    static constexpr unsigned int Size = 4096;
    static constexpr unsigned int FinishCommand = 1;
    static constexpr unsigned int FullFlushCommand = 2;

    char * data = nullptr;
    unsigned int capacity = 0; // of the data; without data, the command
    unsigned int used = 0;

    static ZipBlock MakeCommand(unsigned int command) { return {nullptr, command}; }
};

/// A first-in first-out queue between two threads, one that pushes and one that pops. It has no
/// limit; where it cannot grow, the pusher waits for the other side to take a block.
class ZipBlockQueue {
public:
    ZipBlockQueue() = default;
    ~ZipBlockQueue();
    ZipBlockQueue(ZipBlockQueue const &) = delete;
    ZipBlockQueue & operator=(ZipBlockQueue const &) = delete;

    void Push(ZipBlock const & block);
    /// If it is empty, waits until there are `atLeast` blocks: a thread that waits for many is
    /// woken only once.
    ZipBlock Pop(unsigned int atLeast = 1);
    bool IsEmpty();

private:
    bool MakeRoom();

    static constexpr unsigned int OwnCapacity = 16;

    Mu::ReentrantLock lock;
    Mu::Condition pushed{lock};
    Mu::Condition popped{lock};
    ZipBlock own[OwnCapacity];
    ZipBlock * ring = own; // `own`, or a block of the root
    unsigned int capacity = OwnCapacity;
    unsigned int first = 0;
    unsigned int count = 0;
    unsigned int awaited = 1; // by the popping thread while it waits
};

/// The blocks between a writer and its compressor, and the storage of all of them.
class ZipBlockPool : public Mu::Allocated {
public:
    static constexpr unsigned int MaxBlocks = 100;

    ~ZipBlockPool();

    /// An empty block: a returned one, or new storage up to the limit; otherwise waits for blocks
    /// to be returned. Mu::OutOfMemoryException when there is no storage at all.
    ZipBlock TakeFree();

    ZipBlockQueue filled;
    ZipBlockQueue free;

private:
    void AddBlock();

    Mu::ArrayFB<char *, 10> storage; // used by the writer alone
};

} // namespace IO
