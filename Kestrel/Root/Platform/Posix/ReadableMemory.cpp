#include <Kestrel/Root/Platform/ReadableMemory.h>

#include <Kestrel/Root/Platform/Posix/RegionList.h>

#include <cerrno>
#include <cstdint>
#include <sys/mman.h>
#include <unistd.h>

namespace Mu::Platform {

namespace {

// One system call, whereas the list of regions is some hundred lines of text. It makes the pages
// present, as the following write would; hence only up to the size that a write may need. False is
// inconclusive: older systems do not support it, and some mappings are excluded.
bool ArePagesWriteable(std::uintptr_t start, std::uintptr_t end) {
#ifdef MADV_POPULATE_WRITE
    constexpr std::uintptr_t Most = 1 << 20;
    if (end - start > Most)
        return false;
    static std::uintptr_t const page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    std::uintptr_t const first = start - start % page;
    int const before = errno;
    bool const areWriteable =
        madvise(reinterpret_cast<void *>(first), end - first, MADV_POPULATE_WRITE) == 0;
    errno = before;
    return areWriteable;
#else
    return false;
#endif
}

} // namespace

bool MayAccess(void const * block, std::size_t size, bool write) {
    auto need = reinterpret_cast<std::uintptr_t>(block);
    if (size > UINTPTR_MAX - need)
        return false;
    std::uintptr_t const end = need + size;
    if (write && need < end && ArePagesWriteable(need, end))
        return true;
    RegionList regions;
    RegionList::Region region;
    while (need < end && regions.GetNext(region)) {
        if (region.end <= need)
            continue;
        if (region.start > need || !(write ? region.writeable : region.readable))
            return false;
        need = region.end;
    }
    return need >= end;
}

} // namespace Mu::Platform
