// Addresses and locations of eight names against std::filesystem::path doing the same. Ratios count
// only within one run: compare Location... with Path... of the same ending.
//
// LockOnly is one turn of a Mu::FastLock, as the address tree takes it: what Copy with four threads
// may cost more than with one is what LockOnly with four costs more than with one.

#include <Kestrel/Location/Address.h>
#include <Kestrel/Location/Location.h>
#include <Kestrel/Location/LocationResolver.h>
#include <Kestrel/Root/Lock.h>
#include <Kestrel/Root/Memory.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <filesystem>
#include <malloc.h>
#include <random>
#include <string>
#include <vector>

using Path = std::filesystem::path;

namespace {

char const pathText[] = "/home/somebody/projects/kestrel/Kestrel/Location/Internal/AddressTree.cpp";
char const locationText[] =
    "C:\\home\\somebody\\projects\\kestrel\\Kestrel\\Location\\Internal\\AddressTree.cpp";
char16_t const nameList[] =
    u"home\0somebody\0projects\0kestrel\0Kestrel\0Location\0Internal\0AddressTree.cpp\0";

IO::Location MakeLocation() {
    IO::Location location;
    for (char const * name : {"home", "somebody", "projects", "kestrel", "Kestrel", "Location",
                              "Internal", "AddressTree.cpp"})
        (void)location.AppendToLocal(IO::Name(name));
    return location;
}

void PathMake(benchmark::State & state) {
    for (auto _ : state) {
        Path path(pathText);
        benchmark::DoNotOptimize(path);
    }
}

// The folder stays in use, as folders do; the address is made and dropped.
void AddressMakeFromNames(benchmark::State & state) {
    IO::Location const folder = MakeLocation();
    for (auto _ : state) {
        IO::Address address(nameList);
        benchmark::DoNotOptimize(address);
    }
}

void LocationMakeFromText(benchmark::State & state) {
    if (IO::LocationResolver::GetInstance() == nullptr)
        state.SkipWithError("no resolver in this build");
    Mu::UniString const text(locationText);
    IO::Location const folder = MakeLocation();
    for (auto _ : state) {
        IO::Location location(text);
        benchmark::DoNotOptimize(location);
    }
}

void PathCopy(benchmark::State & state) {
    Path const original(pathText);
    for (auto _ : state) {
        Path path(original);
        benchmark::DoNotOptimize(path);
    }
}

void LocationCopy(benchmark::State & state) {
    IO::Location const original = MakeLocation();
    for (auto _ : state) {
        IO::Location location(original);
        benchmark::DoNotOptimize(location);
    }
}

void LockOnly(benchmark::State & state) {
    static Mu::FastLock lock;
    for (auto _ : state) {
        for (int turn = 0; turn < 2; ++turn) { // a copy made, and dropped
            Mu::LockGuard const guard(lock);
            benchmark::ClobberMemory();
        }
    }
}

template <typename Value>
void Compare(benchmark::State & state, Value const & a, Value const & b) {
    Value const * first = &a;
    Value const * second = &b;
    for (auto _ : state) {
        benchmark::DoNotOptimize(first);
        benchmark::DoNotOptimize(second);
        benchmark::DoNotOptimize(*first == *second);
    }
}

void PathCompareSame(benchmark::State & state) {
    Compare(state, Path(pathText), Path(pathText));
}

void LocationCompareSame(benchmark::State & state) {
    Compare(state, MakeLocation(), MakeLocation());
}

void PathCompareOther(benchmark::State & state) {
    Compare(state, Path(pathText), Path(pathText).replace_filename("AddressTree.hpp"));
}

void LocationCompareOther(benchmark::State & state) {
    IO::Location other = MakeLocation();
    (void)other.SetLastLocalName(IO::Name("AddressTree.hpp"));
    Compare(state, MakeLocation(), other);
}

void PathParent(benchmark::State & state) {
    Path const path(pathText);
    for (auto _ : state) {
        Path parent = path.parent_path();
        benchmark::DoNotOptimize(parent);
    }
}

void LocationParent(benchmark::State & state) {
    IO::Location const location = MakeLocation();
    for (auto _ : state) {
        IO::Location parent(location);
        (void)parent.DeleteLastLocalName();
        benchmark::DoNotOptimize(parent);
    }
}

void PathAppend(benchmark::State & state) {
    Path const path(pathText);
    Path const name("name.txt");
    for (auto _ : state) {
        Path longer = path / name;
        benchmark::DoNotOptimize(longer);
    }
}

void LocationAppend(benchmark::State & state) {
    IO::Location const location = MakeLocation();
    IO::Name const name("name.txt");
    for (auto _ : state) {
        IO::Location longer(location, name);
        benchmark::DoNotOptimize(longer);
    }
}

void PathHash(benchmark::State & state) {
    Path const path(pathText);
    for (auto _ : state)
        benchmark::DoNotOptimize(hash_value(path));
}

void LocationHash(benchmark::State & state) {
    IO::Location const location = MakeLocation();
    for (auto _ : state)
        benchmark::DoNotOptimize(location.GenerateHashValue());
}

// Bytes of the heap in use, the tables of the tree and blocks of their own alike.
double CountHeap() {
    auto const info = mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd);
}

template <typename Value, typename Make>
void Million(benchmark::State & state, Make const & make) {
    constexpr unsigned int count = 1000000;
    for (auto _ : state) {
        double const before = CountHeap();
        std::vector<Value> values;
        values.reserve(count);
        for (unsigned int i = 0; i < count; ++i)
            values.push_back(make(i));
        state.counters["bytes each"] = (CountHeap() - before) / count;
    }
}

void PathMillion(benchmark::State & state) {
    Path const folder = Path(pathText).parent_path();
    Million<Path>(state, [&](unsigned int i) { return folder / ("file" + std::to_string(i)); });
}

void LocationMillion(benchmark::State & state) {
    IO::Location folder = MakeLocation();
    (void)folder.DeleteLastLocalName();
    Million<IO::Location>(state, [&](unsigned int i) {
        return IO::Location(folder, IO::Name(("file" + std::to_string(i)).c_str()));
    });
}

// Names under one parent, made in one random order and dropped in another; the time is for one.
void AddressChildren(benchmark::State & state) {
    auto const count = static_cast<unsigned int>(state.range(0));
    std::mt19937 random(1);
    std::vector<IO::Name> names;
    std::vector<unsigned int> order;
    for (unsigned int i = 0; i < count; ++i) {
        names.emplace_back(("child" + std::to_string(i)).c_str());
        order.push_back(i);
    }
    std::shuffle(names.begin(), names.end(), random);
    std::shuffle(order.begin(), order.end(), random);
    std::vector<IO::Address> const parents(count, IO::Address(u"parent\0"));
    for (auto _ : state) {
        std::vector<IO::Address> addresses(parents);
        for (unsigned int i = 0; i < count; ++i)
            (void)addresses[i].Append(names[i]);
        for (unsigned int const i : order)
            addresses[i].Clear();
    }
    state.counters["for one"] = benchmark::Counter(
        count, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

BENCHMARK(PathMake);
BENCHMARK(AddressMakeFromNames);
BENCHMARK(LocationMakeFromText);
BENCHMARK(PathCopy);
BENCHMARK(LocationCopy)->Threads(1)->Threads(4)->UseRealTime();
BENCHMARK(LockOnly)->Threads(1)->Threads(4)->UseRealTime();
BENCHMARK(PathCompareSame);
BENCHMARK(LocationCompareSame);
BENCHMARK(PathCompareOther);
BENCHMARK(LocationCompareOther);
BENCHMARK(PathParent);
BENCHMARK(LocationParent);
BENCHMARK(PathAppend);
BENCHMARK(LocationAppend);
BENCHMARK(PathHash);
BENCHMARK(LocationHash);
BENCHMARK(AddressChildren)->Arg(100)->Arg(100000);
BENCHMARK(PathMillion)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(LocationMillion)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
