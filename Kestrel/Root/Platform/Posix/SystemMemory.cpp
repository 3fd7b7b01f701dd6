#include <Kestrel/Root/Platform/SystemMemory.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>

#include <sys/mman.h>
#include <unistd.h>

namespace Mu::Platform {

namespace {

constexpr std::size_t LargeBlock = 4u << 20;

// A large block is going to be filled, and the kernel spends more time on providing its pages one
// by one than most callers do on filling them. This is advice: nothing is lost if it is ignored.
void * AskForLargePages(void * block, std::size_t size) {
    if (block == nullptr || size < LargeBlock)
        return block;
    int const error = errno;
    // From the page of the block's start on, so that the block's mapping remains in one piece and
    // can still grow by being moved.
    std::uintptr_t const page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    std::uintptr_t const start = reinterpret_cast<std::uintptr_t>(block) & ~(page - 1);
    std::uintptr_t const end = reinterpret_cast<std::uintptr_t>(block) + size;
    madvise(reinterpret_cast<void *>(start), (end - start + page - 1) & ~(page - 1), MADV_HUGEPAGE);
    errno = error;
    return block;
}

} // namespace

void * AllocateMemory(std::size_t size) {
    return AskForLargePages(std::malloc(size), size);
}

void * ReallocateMemory(void * block, std::size_t size) {
    return AskForLargePages(std::realloc(block, size), size);
}

void FreeMemory(void * block) {
    std::free(block);
}

} // namespace Mu::Platform
