#pragma once

namespace IO {

/// A part of the address space of this process, of one state.
struct MemoryRegion {
    enum class State { Committed, Reserved, Free };

    unsigned long long base = 0;
    unsigned long long size = 0;
    State state = State::Free;
};

/// Called with the regions. Returns whether to continue.
class MemoryRegionVisitor {
public:
    virtual bool Visit(MemoryRegion const & region) = 0;

protected:
    ~MemoryRegionVisitor() = default;
};

/// All regions from address 0 to the highest that a program may use, in ascending order and without
/// gaps. Other threads may change those that follow. Ends early if the system reports no more.
void EnumerateMemoryRegions(MemoryRegionVisitor & visitor);

} // namespace IO
