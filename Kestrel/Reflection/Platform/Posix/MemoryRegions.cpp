#include <Kestrel/Reflection/Platform/MemoryRegions.h>

#include <Kestrel/Root/Platform/Posix/RegionList.h>

#include <algorithm>

namespace IO {

namespace {

// The end of the last page that the kernel gives to programs.
constexpr unsigned long long HighestAddress = 0x7ffffffff000;

} // namespace

// Ranges between two regions of the list are free.
void EnumerateMemoryRegions(MemoryRegionVisitor & visitor) {
    using State = MemoryRegion::State;
    Mu::Platform::RegionList list;
    Mu::Platform::RegionList::Region region;
    unsigned long long end = 0;
    bool isMore = list.GetNext(region);
    if (!isMore)
        return;
    while (end < HighestAddress) {
        unsigned long long const start =
            isMore ? std::min<unsigned long long>(region.start, HighestAddress) : HighestAddress;
        if (start > end) {
            if (!visitor.Visit({end, start - end, State::Free}))
                return;
            end = start;
            continue;
        }
        bool const isUsable = region.readable || region.writeable || region.executable;
        if (!visitor.Visit({region.start, region.end - region.start,
                            isUsable ? State::Committed : State::Reserved}))
            return;
        end = region.end;
        isMore = list.GetNext(region);
    }
}

} // namespace IO
