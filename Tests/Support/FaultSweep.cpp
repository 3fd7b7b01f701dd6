#include "Tests/Support/FaultSweep.h"

#include <Kestrel/Root/Exceptions.h>
#include <Kestrel/Root/Memory.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <thread>

namespace Tests {

namespace {

Mu::MemoryCalls realCalls;
std::atomic<long long> liveBlocks{0};
std::atomic<unsigned long long> allocations{0};

// Counts down to the allocation that fails; negative: nothing is armed.
std::atomic<long long> untilFault{-1};
std::atomic<bool> failOnwards{false};
std::atomic<bool> faultMet{false};

bool MustFail() {
    if (untilFault.load(std::memory_order_relaxed) < 0)
        return false;
    long long const left = untilFault.fetch_sub(1, std::memory_order_relaxed);
    bool const fail = left == 0 || (left < 0 && failOnwards);
    if (left <= 0)
        untilFault = failOnwards ? 0 : -1;
    if (fail)
        faultMet = true;
    return fail;
}

void * CountedAllocate(std::size_t size) {
    if (MustFail())
        return nullptr;
    void * const block = realCalls.allocate(size);
    if (block != nullptr) {
        ++liveBlocks;
        ++allocations;
    }
    return block;
}

void * CountedReallocate(void * block, std::size_t size) {
    if (MustFail())
        return nullptr;
    void * const moved = realCalls.reallocate(block, size);
    if (moved != nullptr) {
        ++allocations;
        if (block == nullptr)
            ++liveBlocks;
    }
    return moved;
}

void CountedFree(void * block) {
    if (block != nullptr)
        --liveBlocks;
    realCalls.free(block);
}

class AllocationFaults : public FaultSource {
public:
    char const * GetName() const override { return "allocation"; }
    unsigned int CountWays() const override { return 1; }
    void Arm(unsigned int n, unsigned int, bool onwards) override {
        faultMet = false;
        failOnwards = onwards;
        untilFault = static_cast<long long>(n) - 1;
    }
    bool Disarm() override {
        untilFault = -1;
        return faultMet;
    }
    long long CountHeld() const override { return liveBlocks; }
};

struct Round {
    unsigned int n;
    unsigned int way;
    bool onwards;

    std::string ToText(FaultSource const & source) const {
        return std::string(source.GetName()) + ":" + std::to_string(n) + ":" + std::to_string(way) +
               (onwards ? ":onwards" : ":once");
    }
};

struct Held {
    long long blocks = CountLiveBlocks();
    long long handles = CountHandles();
    long long threads = CountThreads();
    long long own;

    explicit Held(FaultSource const & source) : own(source.CountHeld()) {}

    bool Exceeds(Held const & earlier) const {
        return blocks > earlier.blocks || handles > earlier.handles || threads > earlier.threads ||
               own > earlier.own;
    }
};

bool RunRound(FaultSource & source, std::function<void(bool)> const & scenario, Round round) {
    source.Arm(round.n, round.way, round.onwards);
    try {
        scenario(true);
    } catch (Mu::OutOfMemoryException const &) {
        // The told answer of strings and containers.
    } catch (...) {
        source.Disarm();
        throw;
    }
    return source.Disarm();
}

// What the library keeps for later (a cache that fills, a line object built at the first failure)
// is taken once; what leaks, leaks again in the same round.
void ExpectNothingLeft(FaultSource & source, std::function<void(bool)> const & scenario,
                       Round round, Held const & before) {
    Held const once(source);
    if (!once.Exceeds(before))
        return;
    RunRound(source, scenario, round);
    Held const twice(source);
    if (!twice.Exceeds(once))
        return;
    RunRound(source, scenario, round);
    Held const thrice(source);
    EXPECT_EQ(twice.blocks, thrice.blocks) << "blocks leak";
    EXPECT_EQ(twice.handles, thrice.handles) << "handles leak";
    EXPECT_EQ(twice.threads, thrice.threads) << "threads are left";
    EXPECT_EQ(twice.own, thrice.own) << source.GetName() << " leaks";
}

// True when the round met its fault, so that there may be a further one.
bool SweepRound(FaultSource & source, std::function<void(bool)> const & scenario, Round round) {
    std::string const name = round.ToText(source);
    SCOPED_TRACE("repeat with KESTREL_FAULT=" + name);
    Held const before(source);
    bool met = false;
    try {
        met = RunRound(source, scenario, round);
    } catch (std::exception const & e) {
        ADD_FAILURE() << "an exception came out: " << e.what();
        return false;
    }
    ExpectNothingLeft(source, scenario, round, before);
    return met;
}

// The rounds of one way to fail; stops at the first broken one.
void SweepWay(FaultSource & source, std::function<void(bool)> const & scenario, unsigned int way,
              bool onwards) {
    char const * const only = std::getenv("KESTREL_FAULT");
    constexpr unsigned int limit = 100000;
    for (unsigned int n = 1; n <= limit; ++n) {
        Round const round{n, way, onwards};
        if (only != nullptr && round.ToText(source) != only) {
            if (n < 20000)
                continue;
            return;
        }
        if (!SweepRound(source, scenario, round) || ::testing::Test::HasFailure())
            return;
    }
    ADD_FAILURE() << "the scenario never runs out of faults";
}

} // namespace

void SweepFaults(FaultSource & source, std::function<void(bool)> const & scenario) {
    scenario(false);
    for (unsigned int way = 0; way < source.CountWays(); ++way)
        for (bool onwards : {false, true}) {
            SweepWay(source, scenario, way, onwards);
            if (::testing::Test::HasFailure())
                return;
        }
    std::thread([&] { scenario(false); }).join();
}

void SweepAllocations(std::function<void(bool)> const & scenario) {
    AllocationFaults faults;
    SweepFaults(faults, scenario);
}

long long CountLiveBlocks() {
    return liveBlocks;
}
unsigned long long CountAllocations() {
    return allocations;
}

void WatchMemory() {
    realCalls = Mu::GetMemoryCalls();
    Mu::SetMemoryCalls({CountedAllocate, CountedReallocate, CountedFree});
}

} // namespace Tests
