#include "Tests/Support/FaultSweep.h"

#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Memory/Memory.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <random>
#include <thread>
#include <vector>

namespace Tests {

namespace {

Mu::MemoryCalls realCalls;
std::atomic<long long> liveBlocks{0};
std::atomic<unsigned long long> allocations{0};

FaultCounter allocationFaults;

bool MustFail() {
    return allocationFaults.Count() != FaultCounter::Hit::None;
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
    void Arm(Fault const & fault) override { allocationFaults.Arm(fault); }
    bool Disarm() override { return allocationFaults.Disarm(); }
    long long CountHeld() const override { return liveBlocks; }
};

struct Round {
    Fault fault;
    std::string kind;

    std::string ToText(FaultSource const & source) const {
        return std::string(source.GetName()) + ":" + std::to_string(fault.n) + ":" +
               std::to_string(fault.way) + ":" + kind;
    }
};

/// The round of each n.
using Rounds = std::function<Round(unsigned int n)>;

Rounds FailInOneWay(unsigned int way, bool onwards) {
    return [=](unsigned int n) {
        return Round{{n, way, onwards, 0, 0}, onwards ? "onwards" : "once"};
    };
}

// What cleans up comes right behind the failure more often than far behind it.
Rounds FailTwice(unsigned int seed, unsigned int ways) {
    return [=](unsigned int n) {
        std::mt19937 random(seed * 1000003 + n);
        unsigned int const way = random() % ways;
        unsigned int const laterWay = random() % ways;
        unsigned int const reach = 1u << random() % 6;
        unsigned int const later = 1 + random() % reach;
        return Round{{n, way, false, later, laterWay}, "seed" + std::to_string(seed)};
    };
}

constexpr unsigned int Seeds = 3;

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

bool RunRound(FaultSource & source, std::function<void(bool)> const & scenario,
              Round const & round) {
    source.Arm(round.fault);
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
                       Round const & round, Held const & before) {
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
bool SweepRound(FaultSource & source, std::function<void(bool)> const & scenario,
                Round const & round) {
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

/// From one point of a sweep to the next that it takes: each, or one in so many, drawn by a seed.
class Stride {
public:
    Stride() {
        if (char const * const drawn = std::getenv("KESTREL_SWEEP"); drawn != nullptr) {
            char * end = nullptr;
            part = std::max(1ul, std::strtoul(drawn, &end, 10));
            random.seed(*end == ':' ? std::strtoul(end + 1, nullptr, 10) : 0);
        }
    }

    unsigned int Next() { return part == 1 ? 1 : 1 + random() % (2 * part - 1); }

private:
    unsigned long part = 1;
    std::mt19937 random;
};

// Stops at the first broken round, and at the first that meets no fault.
void SweepRounds(FaultSource & source, std::function<void(bool)> const & scenario,
                 Rounds const & rounds, Stride & stride) {
    char const * const only = std::getenv("KESTREL_FAULT");
    constexpr unsigned int limit = 100000;
    for (unsigned int n = only != nullptr ? 1 : stride.Next(); n <= limit;
         n += only != nullptr ? 1 : stride.Next()) {
        Round const round = rounds(n);
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

std::vector<Rounds> ListRounds(FaultSource const & source) {
    std::vector<Rounds> list;
    for (unsigned int way = 0; way < source.CountWays(); ++way)
        for (bool onwards : {false, true})
            list.push_back(FailInOneWay(way, onwards));
    for (unsigned int seed = 1; seed <= Seeds; ++seed)
        list.push_back(FailTwice(seed, source.CountWays()));
    return list;
}

} // namespace

void FaultCounter::Arm(Fault const & fault) {
    used = 0;
    first = fault.n;
    second = fault.later == 0 ? 0 : fault.n + fault.later;
    onwards = fault.onwards;
    isArmed = fault.n != 0;
}

bool FaultCounter::Disarm() {
    bool const wasArmed = isArmed.exchange(false);
    return wasArmed && used >= first;
}

FaultCounter::Hit FaultCounter::Count() {
    if (!isArmed)
        return Hit::None;
    unsigned int const use = ++used;
    if (use == first || (onwards && use > first))
        return Hit::First;
    return use == second ? Hit::Second : Hit::None;
}

void SweepFaults(FaultSource & source, std::function<void(bool)> const & scenario) {
    scenario(false);
    Stride stride;
    for (Rounds const & rounds : ListRounds(source)) {
        SweepRounds(source, scenario, rounds, stride);
        if (::testing::Test::HasFailure())
            return;
    }
    std::thread([&] { scenario(false); }).join();
}

void SweepAllocations(std::function<void(bool)> const & scenario) {
    AllocationFaults faults;
    SweepFaults(faults, scenario);
}

Shortage::Shortage(unsigned int n, bool onwards) {
    allocationFaults.Arm({n, 0, onwards, 0, 0});
}

Shortage::~Shortage() {
    allocationFaults.Disarm();
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
