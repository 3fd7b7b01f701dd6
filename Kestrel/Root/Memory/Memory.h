#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Types.h>

#include <cstddef>

// The library's only ways to memory. Everything it takes from the heap comes through here, so that
// a host can put an allocator of its own underneath and a test can make the n-th request fail.

/// A relocatable block; its bytes may move when it is reallocated.
using BMHandle = char **;

/// A block of unknown content. Null: no memory. The flags asked for locks and the like where memory
/// moved by itself; here they and the last argument mean nothing.
KESTREL_API char * BMAllocatePtr(std::size_t size, unsigned int flags, unsigned int reserved);
/// Frees the block and nulls the pointer. Null, or a pointer to null, does nothing.
KESTREL_API void BMKillPtr(char ** block);

/// A handle with a block of unknown content. Null: no memory.
KESTREL_API BMHandle BMAllocateHandle(std::size_t size, unsigned int flags, unsigned int reserved);
/// Resizes the block, whose bytes may move; its content up to the smaller size stays. Returns the
/// handle. Null: no memory, and nothing changed.
KESTREL_API BMHandle BMReallocHandle(BMHandle handle, std::size_t size);
/// The size that was requested last; 0 for null.
KESTREL_API std::size_t BMGetHandleSize(BMHandle handle);
/// Frees the block and nulls the handle.
KESTREL_API void BMKillHandle(BMHandle * handle);
/// Makes a handle of a block from BMAllocatePtr, which then belongs to the handle. Null: no memory,
/// and the block stays the caller's.
KESTREL_API BMHandle BMPtrToHandle(char * block, std::size_t size);
/// Keeps the flags with the handle and returns the earlier ones. Blocks never move by themselves
/// here, so no flag changes what the block does.
KESTREL_API unsigned int BMModifyHandleState(BMHandle handle, unsigned int flags);

// A size of 0 does nothing, whatever the pointers are.
/// The two must not overlap.
KESTREL_API void BNCopyMemory(void const * from, void * to, std::size_t size);
/// The two may overlap.
KESTREL_API void BNMoveMemory(void const * from, void * to, std::size_t size);
KESTREL_API void BNFillMemory(void * block, std::size_t size, unsigned char value);
/// Whether the process may read, or write, all of the span; not so for null. Asks the system, so it
/// is slow.
KESTREL_API bool BNValidReadPtr(void const * block, std::size_t size);
KESTREL_API bool BNValidWritePtr(void * block, std::size_t size);

/// Null on shortage.
KESTREL_API void * Mu_malloc(std::size_t size);
KESTREL_API void Mu_free(void * block);

namespace Mu {

/// Where the root takes its memory from. A host sets its own before it uses anything else.
struct MemoryCalls {
    void * (*allocate)(std::size_t size);
    void * (*reallocate)(void * block, std::size_t size);
    void (*free)(void * block);
};

/// The calls in use; malloc and its like at first.
KESTREL_API MemoryCalls GetMemoryCalls();
/// Not while another thread uses the library. Blocks of the earlier calls are freed by the new
/// ones.
KESTREL_API void SetMemoryCalls(MemoryCalls const & calls);

// All of these return null on shortage and throw nothing.
KESTREL_API void * NewOperator(std::size_t size) noexcept;
KESTREL_API void * NewArrayOperator(std::size_t size) noexcept;
KESTREL_API void * ReallocateOperator(void * block, std::size_t size) noexcept;
KESTREL_API void DeleteOperator(void * block) noexcept;
KESTREL_API void DeleteArrayOperator(void * block) noexcept;

/// Throws OutOfMemoryException, out of line, to keep it out of the callers' fast paths.
[[noreturn]] KESTREL_API void ThrowOutOfMemory();

/// As NewOperator, but a shortage is thrown as Mu::OutOfMemoryException.
KESTREL_API void * NewOrThrow(std::size_t size);

/// For classes with no base that hosts make with `new`: their blocks come from the root, and a
/// shortage is thrown as Mu::OutOfMemoryException.
class Allocated {
public:
    static void * operator new(std::size_t size) { return NewOrThrow(size); }
    static void * operator new(std::size_t, void * place) noexcept { return place; }
    static void operator delete(void * block) noexcept { DeleteOperator(block); }
    static void operator delete(void *, void *) noexcept {}
};

/// Lets a standard container take its memory from the root.
template <typename T>
class StdAllocator {
public:
    using value_type = T;
    StdAllocator() noexcept = default;
    template <typename U>
    StdAllocator(StdAllocator<U> const &) noexcept {}
    T * allocate(std::size_t count) {
        if (count > ~std::size_t(0) / sizeof(T))
            ThrowOutOfMemory();
        return static_cast<T *>(NewOrThrow(count * sizeof(T)));
    }
    void deallocate(T * block, std::size_t) noexcept { DeleteOperator(block); }
    friend bool operator==(StdAllocator const &, StdAllocator const &) { return true; }
};

/// Keeps up to `cachedCount` freed blocks of `blockSize` bytes for the next taker. Smaller requests
/// get such a block, too; larger ones are neither cached nor rounded up.
///
/// Memory:  from the root; cached memory is freed with the allocator.
/// Threads: any.
/// Failure: Mu::OutOfMemoryException, from the constructor and Allocate.
class KESTREL_API CachedAllocator {
public:
    CachedAllocator(unsigned int cachedCount, unsigned int blockSize);
    ~CachedAllocator();
    CachedAllocator(CachedAllocator const &) = delete;
    CachedAllocator & operator=(CachedAllocator const &) = delete;

    /// A block of at least `size` bytes; `*allocated` (may be null) receives how many it has.
    /// Throws Mu::OutOfMemoryException on shortage.
    void * Allocate(unsigned int size, unsigned int * allocated);
    /// `size` is what Allocate was asked for, or what it returned in `*allocated`. Null does
    /// nothing.
    void Free(void * block, unsigned int size) noexcept;

private:
    struct Cache;
    Cache * cache;
};

} // namespace Mu
