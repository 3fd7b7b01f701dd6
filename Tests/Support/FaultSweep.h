#pragma once

#include <functional>
#include <string>

namespace Tests {

/// Something that can be made to fail at its n-th use: memory, or the calls of a platform seam.
class FaultSource {
public:
    virtual ~FaultSource() = default;
    /// One word for the line that repeats a failure.
    virtual char const * GetName() const = 0;
    /// In how many ways one use can fail, such as the error numbers of a call; at least 1.
    virtual unsigned int CountWays() const = 0;
    /// From now on the `n`-th use (from 1) fails in the given way, and all later ones if `onwards`.
    virtual void Arm(unsigned int n, unsigned int way, bool onwards) = 0;
    /// Nothing fails any more. Answers whether a fault was met since Arm.
    virtual bool Disarm() = 0;
    /// How many resources of this kind are held right now; a round must give back what it took.
    virtual long long CountHeld() const = 0;
};

/// Runs the scenario without a fault, then again and again with the first, second, third ... use
/// failing, in each way, once alone and once with all later ones, until a round meets none. After
/// each round nothing may be left: no block, handle or thread, nor anything the source counts.
/// At the end the scenario must work again, on another thread, which a lock left behind would stop.
///
/// The scenario gets whether a fault is armed, and may let Mu::OutOfMemoryException out then. Each
/// failed round prints the line that repeats it alone, by the variable KESTREL_FAULT.
void SweepFaults(FaultSource & source, std::function<void(bool failed)> const & scenario);

/// SweepFaults over the library's allocations.
void SweepAllocations(std::function<void(bool failed)> const & scenario);

/// Blocks of the library's memory that are taken and not freed.
long long CountLiveBlocks();
/// How often the library took memory since the program's start, to assert a number of allocations.
unsigned long long CountAllocations();
/// Open handles (file descriptors) and threads of this process.
long long CountHandles();
long long CountThreads();

/// Puts the counting in front of the library's memory. Once, at the program's start.
void WatchMemory();

} // namespace Tests

using Tests::SweepAllocations;
