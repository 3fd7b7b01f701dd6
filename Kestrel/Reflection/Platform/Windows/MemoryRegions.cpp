#include <Kestrel/Reflection/Platform/MemoryRegions.h>

#include <cstdint>

#include <windows.h>

namespace IO {

void EnumerateMemoryRegions(MemoryRegionVisitor & visitor) {
    using State = MemoryRegion::State;
    SYSTEM_INFO system;
    GetSystemInfo(&system);
    auto const highest = reinterpret_cast<std::uintptr_t>(system.lpMaximumApplicationAddress);
    std::uintptr_t at = 0;
    while (at < highest) {
        MEMORY_BASIC_INFORMATION found;
        if (VirtualQueryEx(GetCurrentProcess(), reinterpret_cast<void const *>(at), &found,
                           sizeof(found)) < sizeof(found))
            return;
        auto const base = reinterpret_cast<std::uintptr_t>(found.BaseAddress);
        State const state = found.State == MEM_COMMIT ? State::Committed
                            : found.State == MEM_FREE ? State::Free
                                                      : State::Reserved;
        if (!visitor.Visit({base, found.RegionSize, state}))
            return;
        at = base + found.RegionSize;
    }
}

} // namespace IO
