#pragma once

#include <atomic>
#include <functional>
#include <string>

namespace Tests {

/// What fails in a round: one use, and perhaps later ones.
struct Fault {
    unsigned int n = 0;        ///< the use that fails, from 1
    unsigned int way = 0;      ///< how, below CountWays
    bool onwards = false;      ///< all later ones fail, too
    unsigned int later = 0;    ///< so many uses behind it another one fails; 0: none does
    unsigned int laterWay = 0; ///< how that one fails
};

/// Counts uses from Arm on, and says which of them fail. Threads: any.
class FaultCounter {
public:
    enum class Hit { None, First, Second };

    void Arm(Fault const & fault);
    /// Nothing fails any more. Answers whether the n-th use was met.
    bool Disarm();
    /// What becomes of this use; one that fails because all later ones do counts as First.
    Hit Count();

private:
    std::atomic<bool> isArmed{false};
    std::atomic<unsigned int> used{0};
    std::atomic<unsigned int> first{0};
    std::atomic<unsigned int> second{0}; // 0: none
    std::atomic<bool> onwards{false};
};

/// Something that can be made to fail at its n-th use: memory, or the calls of a platform seam.
class FaultSource {
public:
    virtual ~FaultSource() = default;
    /// One word for the line that repeats a failure.
    virtual char const * GetName() const = 0;
    /// In how many ways one use can fail, such as the error numbers of a call; at least 1.
    virtual unsigned int CountWays() const = 0;
    /// Counts from now on, and lets fail what the fault says.
    virtual void Arm(Fault const & fault) = 0;
    /// Nothing fails any more. Answers whether the n-th use was met since Arm.
    virtual bool Disarm() = 0;
    /// How many resources of this kind are held right now; a round must give back what it took.
    virtual long long CountHeld() const = 0;
};

/// Runs the scenario without a fault, then again and again with the first, second, third ... use
/// failing, in each way, once alone and once with all later ones, until a round meets none. Then
/// come rounds of which each meets a second fault while the first is cleaned up: a few seeds draw
/// for each n the ways and how far behind the second one is. After each round nothing may be left:
/// no block, handle or thread, nor anything the source counts. At the end the scenario must work
/// again, on another thread, which a lock left behind would stop.
///
/// The scenario gets whether a fault is armed, and may let Mu::OutOfMemoryException out then. Each
/// failed round prints the line that repeats it alone, by the variable KESTREL_FAULT, such as
/// "allocation:7:0:once" or "filecall:7:3:seed2".
///
/// With KESTREL_SWEEP=8:SEED in the environment it takes one n in 8, drawn by SEED.
void SweepFaults(FaultSource & source, std::function<void(bool failed)> const & scenario);

/// SweepFaults over the library's allocations.
void SweepAllocations(std::function<void(bool failed)> const & scenario);

/// While one lives, the library gets no memory for its n-th request, and for all later ones unless it
/// is that one alone; with 0 it gets all.
class Shortage {
public:
    explicit Shortage(unsigned int n = 1, bool onwards = true);
    ~Shortage();

    Shortage(Shortage const &) = delete;
    Shortage & operator=(Shortage const &) = delete;
};

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
