// A location of eight names against std::filesystem::path doing the same, and a million of them that
// share prefixes, tree included, in bytes. The copies run on one and on four threads, beside the
// bare lock that they pass twice.

#include <Kestrel/Location/Location.h>
#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Root/Threads/Lock.h>

#include <benchmark/benchmark.h>

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <new>
#include <vector>

namespace {

// All memory of both sides passes here, and can be counted as what the heap makes of it.

std::atomic<long long> liveBytes{0};
bool isCounting = false; // only where bytes are measured, not to slow down what is timed

void Count(void * block, int sign) {
    if (!isCounting || block == nullptr)
        return;
#if defined(_WIN32)
    long long const size = static_cast<long long>(_msize(block));
#else
    long long const size = static_cast<long long>(malloc_usable_size(block));
#endif
    liveBytes.fetch_add(sign * size, std::memory_order_relaxed);
}

void * CountedAllocate(std::size_t size) {
    void * const block = std::malloc(size);
    Count(block, 1);
    return block;
}

void CountedFree(void * block) {
    Count(block, -1);
    std::free(block);
}

void * CountedReallocate(void * block, std::size_t size) {
    Count(block, -1);
    void * const moved = std::realloc(block, size);
    Count(moved != nullptr ? moved : block, 1);
    return moved;
}

} // namespace

void * operator new(std::size_t size) {
    void * const block = CountedAllocate(size);
    if (block == nullptr)
        throw std::bad_alloc();
    return block;
}
void operator delete(void * block) noexcept {
    CountedFree(block);
}
void operator delete(void * block, std::size_t) noexcept {
    CountedFree(block);
}

namespace {

char const * const text = "C:\\projects\\kestrel\\Source\\FileSystem\\Platform\\Posix\\Calls.cpp";
char const * const native = "/C:/projects/kestrel/Source/FileSystem/Platform/Posix/Calls.cpp";

using Path = std::filesystem::path;

IO::Location MakeLocation() {
    return IO::Location(text);
}

void PathFromText(benchmark::State & state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(Path(native));
}
BENCHMARK(PathFromText);

// Nothing else is in that folder, which the tree remembers from one to the next.
void LocationFromText(benchmark::State & state) {
    Mu::UniString const source(text);
    for (auto _ : state)
        benchmark::DoNotOptimize(IO::Location(source));
}
BENCHMARK(LocationFromText);

// Nor in these, of which it remembers the other one each time.
void LocationFromTextInTurns(benchmark::State & state) {
    Mu::UniString const sources[] = {text, "C:\\projects\\kestrel\\Tests\\a\\b\\c\\Calls.cpp"};
    unsigned int turn = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(IO::Location(sources[++turn % 2]));
}
BENCHMARK(LocationFromTextInTurns);

void LocationFromTextAmongOthers(benchmark::State & state) {
    Mu::UniString const source(text);
    IO::Location const other = MakeLocation();
    for (auto _ : state)
        benchmark::DoNotOptimize(IO::Location(source));
}
BENCHMARK(LocationFromTextAmongOthers);

void PathCopy(benchmark::State & state) {
    Path const path(native);
    for (auto _ : state)
        benchmark::DoNotOptimize(Path(path));
}
BENCHMARK(PathCopy)->Threads(1)->Threads(4)->UseRealTime();

void LocationCopy(benchmark::State & state) {
    IO::Location const location = MakeLocation();
    for (auto _ : state)
        benchmark::DoNotOptimize(IO::Location(location));
}
BENCHMARK(LocationCopy)->Threads(1)->Threads(4)->UseRealTime();

// One turn for the copy and one for its end.
void TwoTurnsOfTheLock(benchmark::State & state) {
    static Mu::FastLock lock;
    for (auto _ : state) {
        { Mu::LockGuard const guard(lock); }
        { Mu::LockGuard const guard(lock); }
    }
}
BENCHMARK(TwoTurnsOfTheLock)->Threads(1)->Threads(4)->UseRealTime();

void PathCompareEqual(benchmark::State & state) {
    Path const path(native);
    Path const other(native);
    for (auto _ : state)
        benchmark::DoNotOptimize(path == other);
}
BENCHMARK(PathCompareEqual);

void LocationCompareEqual(benchmark::State & state) {
    IO::Location const location = MakeLocation();
    IO::Location const other = MakeLocation();
    for (auto _ : state)
        benchmark::DoNotOptimize(location == other);
}
BENCHMARK(LocationCompareEqual);

void PathCompareSiblings(benchmark::State & state) {
    Path const path(native);
    Path const other = path.parent_path() / "Calls.h";
    for (auto _ : state)
        benchmark::DoNotOptimize(path == other);
}
BENCHMARK(PathCompareSiblings);

void LocationCompareSiblings(benchmark::State & state) {
    IO::Location const location = MakeLocation();
    IO::Location other = MakeLocation();
    (void)other.SetLastLocalName("Calls.h");
    for (auto _ : state)
        benchmark::DoNotOptimize(location == other);
}
BENCHMARK(LocationCompareSiblings);

void PathParent(benchmark::State & state) {
    Path const path(native);
    for (auto _ : state)
        benchmark::DoNotOptimize(path.parent_path());
}
BENCHMARK(PathParent);

void LocationParent(benchmark::State & state) {
    IO::Location const location = MakeLocation();
    for (auto _ : state) {
        IO::Location parent(location);
        benchmark::DoNotOptimize(parent.DeleteLastLocalName());
    }
}
BENCHMARK(LocationParent);

void PathAppend(benchmark::State & state) {
    Path const path(native);
    Path const name("Generated");
    for (auto _ : state)
        benchmark::DoNotOptimize(path / name);
}
BENCHMARK(PathAppend);

void LocationAppend(benchmark::State & state) {
    IO::Location const location = MakeLocation();
    IO::Name const name("Generated");
    for (auto _ : state)
        benchmark::DoNotOptimize(IO::Location(location, name));
}
BENCHMARK(LocationAppend);

void PathHash(benchmark::State & state) {
    Path const path(native);
    for (auto _ : state)
        benchmark::DoNotOptimize(std::filesystem::hash_value(path));
}
BENCHMARK(PathHash);

void LocationHash(benchmark::State & state) {
    IO::Location const location = MakeLocation();
    for (auto _ : state)
        benchmark::DoNotOptimize(location.GenerateHashValue());
}
BENCHMARK(LocationHash);

// A thousand folders with a thousand files each, eight names deep.
template <typename Value, typename Append>
void FillMillion(benchmark::State & state, Value const & base, Append const & append) {
    for (auto _ : state) {
        isCounting = true;
        long long const before = liveBytes;
        std::vector<Value> all;
        all.reserve(1000000);
        for (int folder = 0; folder < 1000; ++folder) {
            Value const parent = append(base, "folder" + std::to_string(folder));
            for (int file = 0; file < 1000; ++file)
                all.push_back(append(parent, "file" + std::to_string(file) + ".cpp"));
        }
        state.counters["MB"] = static_cast<double>(liveBytes - before) / 1e6;
        isCounting = false;
    }
}

void PathMillion(benchmark::State & state) {
    auto const append = [](Path const & parent, std::string const & name) { return parent / name; };
    FillMillion(state, Path("/C:/projects/kestrel/Source/FileSystem/Platform"), append);
}
BENCHMARK(PathMillion)->Unit(benchmark::kMillisecond)->Iterations(1);

void LocationMillion(benchmark::State & state) {
    auto const append = [](IO::Location const & parent, std::string const & name) {
        return IO::Location(parent, IO::Name(name.c_str()));
    };
    IO::Location const base("C:\\projects\\kestrel\\Source\\FileSystem\\Platform");
    FillMillion(state, base, append);
}
BENCHMARK(LocationMillion)->Unit(benchmark::kMillisecond)->Iterations(1);

} // namespace

int main(int argc, char ** argv) {
    Mu::SetMemoryCalls({CountedAllocate, CountedReallocate, CountedFree});
    benchmark::Initialize(&argc, argv);
    if (!MakeLocation().IsValid())
        return 1; // nothing that is worth a measure
    benchmark::RunSpecifiedBenchmarks();
}
