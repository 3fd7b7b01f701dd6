#include <Kestrel/Root/Memory/Memory.h>

#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Platform/ReadableMemory.h>
#include <Kestrel/Root/Platform/SystemMemory.h>
#include <Kestrel/Root/Threads/Lock.h>

#include <cstring>
#include <new>
#include <utility>

namespace {

constinit Mu::MemoryCalls memoryCalls{Mu::Platform::AllocateMemory, Mu::Platform::ReallocateMemory,
                                      Mu::Platform::FreeMemory};

// A handle points to the first field, which is the block's address.
struct HandleRecord {
    char * block;
    std::size_t size;
    unsigned int flags;
};

HandleRecord * RecordOf(BMHandle handle) {
    return reinterpret_cast<HandleRecord *>(handle);
}

} // namespace

namespace Mu {

MemoryCalls GetMemoryCalls() {
    return memoryCalls;
}
void SetMemoryCalls(MemoryCalls const & calls) {
    memoryCalls = calls;
}

// A size of 0 is a block like any other, so that null always means out of memory.
void * NewOperator(std::size_t size) noexcept {
    return memoryCalls.allocate(size == 0 ? 1 : size);
}
void * NewArrayOperator(std::size_t size) noexcept {
    return NewOperator(size);
}
void * ReallocateOperator(void * block, std::size_t size) noexcept {
    return memoryCalls.reallocate(block, size == 0 ? 1 : size);
}

void DeleteOperator(void * block) noexcept {
    if (block != nullptr)
        memoryCalls.free(block);
}
void DeleteArrayOperator(void * block) noexcept {
    DeleteOperator(block);
}

void * NewOrThrow(std::size_t size) {
    void * const block = NewOperator(size);
    if (block == nullptr)
        ThrowOutOfMemory();
    return block;
}

} // namespace Mu

void * Mu_malloc(std::size_t size) {
    return Mu::NewOperator(size);
}
void Mu_free(void * block) {
    Mu::DeleteOperator(block);
}

// The flags requested zeroes, locks and the like on systems whose memory moved.
char * BMAllocatePtr(std::size_t size, unsigned int, unsigned int) {
    return static_cast<char *>(Mu::NewOperator(size));
}

void BMKillPtr(char ** block) {
    if (block != nullptr)
        Mu::DeleteOperator(std::exchange(*block, nullptr));
}

BMHandle BMAllocateHandle(std::size_t size, unsigned int flags, unsigned int) {
    char * block = BMAllocatePtr(size, 0, 0);
    if (block == nullptr)
        return nullptr;
    BMHandle const handle = BMPtrToHandle(block, size);
    if (handle == nullptr)
        BMKillPtr(&block);
    else
        BMModifyHandleState(handle, flags);
    return handle;
}

BMHandle BMReallocHandle(BMHandle handle, std::size_t size) {
    if (handle == nullptr)
        return nullptr;
    HandleRecord * const record = RecordOf(handle);
    void * const block = Mu::ReallocateOperator(record->block, size);
    if (block == nullptr)
        return nullptr;
    record->block = static_cast<char *>(block);
    record->size = size;
    return handle;
}

std::size_t BMGetHandleSize(BMHandle handle) {
    return handle == nullptr ? 0 : RecordOf(handle)->size;
}

void BMKillHandle(BMHandle * handle) {
    if (handle == nullptr || *handle == nullptr)
        return;
    HandleRecord * const record = RecordOf(std::exchange(*handle, nullptr));
    BMKillPtr(&record->block);
    Mu::DeleteOperator(record);
}

BMHandle BMPtrToHandle(char * block, std::size_t size) {
    void * const place = block == nullptr ? nullptr : Mu::NewOperator(sizeof(HandleRecord));
    if (place == nullptr)
        return nullptr;
    return &(::new (place) HandleRecord{block, size, 0})->block;
}

unsigned int BMModifyHandleState(BMHandle handle, unsigned int flags) {
    return handle == nullptr ? 0 : std::exchange(RecordOf(handle)->flags, flags);
}

void BNCopyMemory(void const * from, void * to, std::size_t size) {
    if (size > 0)
        std::memcpy(to, from, size);
}

void BNMoveMemory(void const * from, void * to, std::size_t size) {
    if (size > 0)
        std::memmove(to, from, size);
}

void BNFillMemory(void * block, std::size_t size, unsigned char value) {
    if (size > 0)
        std::memset(block, value, size);
}

bool BNValidReadPtr(void const * block, std::size_t size) {
    return block != nullptr && Mu::Platform::MayAccess(block, size, false);
}

bool BNValidWritePtr(void * block, std::size_t size) {
    return block != nullptr && Mu::Platform::MayAccess(block, size, true);
}

namespace Mu {

// Free blocks form a list through their first bytes. The lock is held for a few instructions only.
struct CachedAllocator::Cache {
    struct FreeBlock {
        FreeBlock * next;
    };

    unsigned int const limit;
    unsigned int const blockSize;
    SpinLock lock;
    FreeBlock * first = nullptr;
    unsigned int count = 0;

    Cache(unsigned int limit, unsigned int blockSize) : limit(limit), blockSize(blockSize) {}

    void * Take() {
        LockGuard guard(lock);
        if (first == nullptr)
            return nullptr;
        --count;
        return std::exchange(first, first->next);
    }

    bool Keep(void * block) {
        LockGuard guard(lock);
        if (count == limit)
            return false;
        first = ::new (block) FreeBlock{first};
        ++count;
        return true;
    }
};

CachedAllocator::CachedAllocator(unsigned int cachedCount, unsigned int blockSize)
    : cache(::new (NewOrThrow(sizeof(Cache)))
                Cache(cachedCount, blockSize < sizeof(void *) ? sizeof(void *) : blockSize)) {}

CachedAllocator::~CachedAllocator() {
    while (void * const block = cache->Take())
        DeleteOperator(block);
    DeleteOperator(cache);
}

void * CachedAllocator::Allocate(unsigned int size, unsigned int * allocated) {
    bool const fits = size <= cache->blockSize;
    unsigned int const given = fits ? cache->blockSize : size;
    void * block = fits ? cache->Take() : nullptr;
    if (block == nullptr)
        block = NewOrThrow(given);
    if (allocated != nullptr)
        *allocated = given;
    return block;
}

void CachedAllocator::Free(void * block, unsigned int size) noexcept {
    if (block == nullptr || (size <= cache->blockSize && cache->Keep(block)))
        return;
    DeleteOperator(block);
}

} // namespace Mu
