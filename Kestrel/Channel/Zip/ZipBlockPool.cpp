#include <Kestrel/Channel/Zip/Internal/ZipBlockPool.h>

#include <Kestrel/Root/Errors/Exceptions.h>

namespace IO {

ZipBlockQueue::~ZipBlockQueue() {
    if (ring != own)
        Mu::DeleteArrayOperator(ring);
}

void ZipBlockQueue::Push(ZipBlock const & block) {
    Mu::LockGuard guard(lock);
    while (count == capacity && !MakeRoom())
        popped.Wait();
    ring[(first + count++) % capacity] = block;
    if (count >= awaited)
        pushed.Notify();
}

ZipBlock ZipBlockQueue::Pop(unsigned int atLeast) {
    Mu::LockGuard guard(lock);
    awaited = count == 0 ? atLeast : 1;
    while (count < awaited)
        pushed.Wait();
    ZipBlock const block = ring[first];
    first = (first + 1) % capacity;
    --count;
    popped.Notify();
    return block;
}

bool ZipBlockQueue::IsEmpty() {
    Mu::LockGuard guard(lock);
    return count == 0;
}

bool ZipBlockQueue::MakeRoom() {
    void * const larger = Mu::NewArrayOperator(2 * capacity * sizeof(ZipBlock));
    if (larger == nullptr)
        return false;
    ZipBlock * const moved = static_cast<ZipBlock *>(larger);
    for (unsigned int i = 0; i < count; ++i)
        moved[i] = ring[(first + i) % capacity];
    if (ring != own)
        Mu::DeleteArrayOperator(ring);
    ring = moved;
    capacity *= 2;
    first = 0;
    return true;
}

ZipBlockPool::~ZipBlockPool() {
    for (char * block : storage)
        Mu_free(block);
}

// The writer holds no block here, so all of them will be returned, and it can wait for many: being
// woken for each would cost it more than filling them.
ZipBlock ZipBlockPool::TakeFree() {
    if (free.IsEmpty() && storage.GetSize() < MaxBlocks)
        AddBlock();
    return free.Pop((storage.GetSize() + 3) / 4);
}

void ZipBlockPool::AddBlock() {
    char * const block = static_cast<char *>(Mu_malloc(ZipBlock::Size));
    if (block != nullptr) {
        try {
            storage.Push(block);
            free.Push({block, ZipBlock::Size, 0});
            return;
        } catch (Mu::OutOfMemoryException const &) {
            Mu_free(block);
        }
    }
    // Blocks in use will be returned; without any block, the writer would wait forever.
    if (storage.IsEmpty())
        throw Mu::OutOfMemoryException("Out of memory.", __FILE__, __LINE__, Mu::NoCauseException);
}

} // namespace IO
