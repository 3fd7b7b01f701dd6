// Entering and leaving the root's locks against the standard library's: alone, taken again by the
// holder, and wanted by four threads at once.

#include <Kestrel/Root/Threads/Lock.h>

#include <benchmark/benchmark.h>

#include <mutex>

namespace {

template <typename StandardLock>
class Standard {
public:
    void Enter() { lock.lock(); }
    void Leave() { lock.unlock(); }

private:
    StandardLock lock;
};

template <typename AnyLock>
void EnterAndLeave(benchmark::State & state) {
    static AnyLock lock;
    static unsigned int guarded;
    for (auto _ : state) {
        Mu::LockGuard guard(lock);
        benchmark::DoNotOptimize(++guarded);
    }
    state.SetItemsProcessed(state.iterations());
}

template <typename AnyLock>
void EnterAgain(benchmark::State & state) {
    static AnyLock lock;
    Mu::LockGuard outer(lock);
    for (auto _ : state)
        Mu::LockGuard guard(lock);
}

} // namespace

BENCHMARK(EnterAndLeave<Standard<std::mutex>>);
BENCHMARK(EnterAndLeave<Standard<std::recursive_mutex>>);
BENCHMARK(EnterAndLeave<Mu::FastLock>);
BENCHMARK(EnterAndLeave<Mu::ReentrantLock>);
BENCHMARK(EnterAgain<Standard<std::recursive_mutex>>);
BENCHMARK(EnterAgain<Mu::FastLock>);
BENCHMARK(EnterAndLeave<Standard<std::recursive_mutex>>)->Threads(4)->UseRealTime();
BENCHMARK(EnterAndLeave<Mu::FastLock>)->Threads(4)->UseRealTime();

BENCHMARK_MAIN();
