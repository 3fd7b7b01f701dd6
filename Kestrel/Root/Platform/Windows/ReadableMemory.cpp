#include <Kestrel/Root/Platform/ReadableMemory.h>

#include <cstdint>

#include <windows.h>

namespace Mu::Platform {

namespace {

bool Allows(MEMORY_BASIC_INFORMATION const & region, bool write) {
    constexpr DWORD writeable =
        PAGE_READWRITE | PAGE_WRITECOPY | PAGE_EXECUTE_READWRITE | PAGE_EXECUTE_WRITECOPY;
    constexpr DWORD readable = writeable | PAGE_READONLY | PAGE_EXECUTE_READ;
    return region.State == MEM_COMMIT && (region.Protect & PAGE_GUARD) == 0 &&
           (region.Protect & (write ? writeable : readable)) != 0;
}

} // namespace

bool MayAccess(void const * block, std::size_t size, bool write) {
    auto at = reinterpret_cast<std::uintptr_t>(block);
    if (size > UINTPTR_MAX - at)
        return false;
    std::uintptr_t const end = at + size;
    while (at < end) {
        MEMORY_BASIC_INFORMATION region;
        if (VirtualQuery(reinterpret_cast<void const *>(at), &region, sizeof(region)) == 0 ||
            !Allows(region, write))
            return false;
        at = reinterpret_cast<std::uintptr_t>(region.BaseAddress) + region.RegionSize;
    }
    return true;
}

} // namespace Mu::Platform
