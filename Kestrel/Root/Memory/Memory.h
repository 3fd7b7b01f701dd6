#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Types.h>

#include <cstddef>

// All heap memory of the library is allocated by these functions, so that a host can install its
// own allocator and a test can make the n-th request fail.

/// A relocatable block; its bytes may move when it is reallocated.
using BMHandle = char **;

/// Allocates an uninitialised block. Null: no memory. The flags and the last argument are for
/// platforms with relocatable blocks and have no effect here.
KESTREL_API char * BMAllocatePtr(std::size_t size, unsigned int flags, unsigned int reserved);
/// Frees the block and sets the pointer to null. Null, or a pointer to null, does nothing.
KESTREL_API void BMKillPtr(char ** block);

/// Allocates a handle with an uninitialised block. Null: no memory.
KESTREL_API BMHandle BMAllocateHandle(std::size_t size, unsigned int flags, unsigned int reserved);
/// Resizes the block, whose bytes may move; the content up to the smaller size is kept. Returns the
/// handle. Null: no memory, and nothing is changed.
KESTREL_API BMHandle BMReallocHandle(BMHandle handle, std::size_t size);
/// The size that was last requested; 0 for null.
KESTREL_API std::size_t BMGetHandleSize(BMHandle handle);
/// Frees the block and sets the handle to null.
KESTREL_API void BMKillHandle(BMHandle * handle);
/// Makes a handle of a block from BMAllocatePtr, which the handle then owns. Null: no memory, and
/// the caller keeps the block.
KESTREL_API BMHandle BMPtrToHandle(char * block, std::size_t size);
/// Stores the flags with the handle and returns the earlier ones. Blocks never move by themselves
/// here, so the flags have no effect.
KESTREL_API unsigned int BMModifyHandleState(BMHandle handle, unsigned int flags);

// A size of 0 does nothing, whatever the pointers are.
/// The ranges must not overlap.
KESTREL_API void BNCopyMemory(void const * from, void * to, std::size_t size);
/// The ranges may overlap.
KESTREL_API void BNMoveMemory(void const * from, void * to, std::size_t size);
KESTREL_API void BNFillMemory(void * block, std::size_t size, unsigned char value);
/// Whether the process may read, or write, the whole range; false for null. Calls the system, so it
/// is slow.
KESTREL_API bool BNValidReadPtr(void const * block, std::size_t size);
KESTREL_API bool BNValidWritePtr(void * block, std::size_t size);

/// Null on shortage.
KESTREL_API void * Mu_malloc(std::size_t size);
KESTREL_API void Mu_free(void * block);

namespace Mu {

/// The memory calls of the root. A host replaces them before it uses anything else.
struct MemoryCalls {
    void * (*allocate)(std::size_t size);
    void * (*reallocate)(void * block, std::size_t size);
    void (*free)(void * block);
};

/// The calls in use; malloc and so on by default.
KESTREL_API MemoryCalls GetMemoryCalls();
/// Not while another thread uses the library. Blocks of the earlier calls will be freed by the new
/// ones.
KESTREL_API void SetMemoryCalls(MemoryCalls const & calls);

// All of these return null on shortage and throw nothing.
KESTREL_API void * NewOperator(std::size_t size) noexcept;
KESTREL_API void * NewArrayOperator(std::size_t size) noexcept;
KESTREL_API void * ReallocateOperator(void * block, std::size_t size) noexcept;
KESTREL_API void DeleteOperator(void * block) noexcept;
KESTREL_API void DeleteArrayOperator(void * block) noexcept;

/// Throws OutOfMemoryException; out of line, to keep it out of the callers' fast paths.
[[noreturn]] KESTREL_API void ThrowOutOfMemory();

/// Like NewOperator, but throws Mu::OutOfMemoryException on shortage.
KESTREL_API void * NewOrThrow(std::size_t size);

/// For classes without a base that hosts create with `new`: allocates from the root, and throws
/// Mu::OutOfMemoryException on shortage.
class Allocated {
public:
    static void * operator new(std::size_t size) { return NewOrThrow(size); }
    static void * operator new(std::size_t, void * place) noexcept { return place; }
    static void operator delete(void * block) noexcept { DeleteOperator(block); }
    static void operator delete(void *, void *) noexcept {}
};

/// Lets standard containers allocate from the root.
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

/// Keeps up to `cachedCount` freed blocks of `blockSize` bytes for reuse. Smaller requests get such
/// a block, too; larger ones are neither cached nor rounded up.
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

    /// Returns a block of at least `size` bytes; `*allocated` (may be null) receives its size.
    /// Throws Mu::OutOfMemoryException on shortage.
    void * Allocate(unsigned int size, unsigned int * allocated);
    /// `size` is the argument of Allocate, or the value it returned in `*allocated`. Null does
    /// nothing.
    void Free(void * block, unsigned int size) noexcept;

private:
    struct Cache;
    Cache * cache;
};

} // namespace Mu
