#include <Kestrel/Root/Platform/ReadableMemory.h>

#include <Kestrel/Root/Platform/Posix/RegionList.h>

#include <cstdint>

namespace Mu::Platform {

bool MayAccess(void const * block, std::size_t size, bool write) {
    auto need = reinterpret_cast<std::uintptr_t>(block);
    if (size > UINTPTR_MAX - need)
        return false;
    std::uintptr_t const end = need + size;
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
