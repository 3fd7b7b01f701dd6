// What the address tree costs beneath the locations, which LocationBench measures: an address made
// of a list of eight names, which must be below a path made of the same text, copies by one thread
// and by four, and names under one parent, of which 100,000 may cost three times as much each as 100.

#include <Kestrel/Location/Address.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

namespace {

char const pathText[] = "/home/somebody/projects/kestrel/Kestrel/Location/Internal/AddressTree.cpp";
char16_t const nameList[] =
    u"home\0somebody\0projects\0kestrel\0Kestrel\0Location\0Internal\0AddressTree.cpp\0";

void PathMake(benchmark::State & state) {
    for (auto _ : state) {
        std::filesystem::path path(pathText);
        benchmark::DoNotOptimize(path);
    }
}
BENCHMARK(PathMake);

// The folder stays in use, as folders do; the address is made and dropped.
void AddressMake(benchmark::State & state) {
    IO::Address folder(nameList);
    (void)folder.DeleteLastName();
    for (auto _ : state) {
        IO::Address address(nameList);
        benchmark::DoNotOptimize(address);
    }
}
BENCHMARK(AddressMake);

void AddressCopy(benchmark::State & state) {
    IO::Address const original(nameList);
    for (auto _ : state) {
        IO::Address address(original);
        benchmark::DoNotOptimize(address);
    }
}
BENCHMARK(AddressCopy)->Threads(1)->Threads(4)->UseRealTime();

// Names made in one random order and dropped in another; "for one" is the time of one of them. The
// tables are of the size that the last round has left.
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
BENCHMARK(AddressChildren)->Arg(100)->Arg(10000)->Arg(100000);

} // namespace

BENCHMARK_MAIN();
