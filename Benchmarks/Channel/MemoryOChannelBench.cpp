// One GiB in writes of 4 KiB: MemoryOChannel against a std::vector that grows likewise.

#include <Kestrel/Channel/MemoryOChannel.h>

#include <benchmark/benchmark.h>

#include <vector>

namespace {

constexpr unsigned int piece = 4096;
constexpr unsigned int total = 1u << 30;

void VectorGrow(benchmark::State & state) {
    std::vector<char> const source(piece, 'x');
    for (auto _ : state) {
        std::vector<char> block;
        block.reserve(IO::MemoryOChannel::DefaultInitialSize);
        for (unsigned int done = 0; done < total; done += piece)
            block.insert(block.end(), source.begin(), source.end());
        benchmark::DoNotOptimize(block.data());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * total);
}

void ChannelGrow(benchmark::State & state) {
    std::vector<char> const source(piece, 'x');
    for (auto _ : state) {
        IO::MemoryOChannel channel;
        for (unsigned int done = 0; done < total; done += piece)
            (void)channel.WriteBin(source.data(), piece, nullptr);
        if (channel.Flush() != IO::NoError || channel.GetDataSize() != total)
            state.SkipWithError("wrong bytes");
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * total);
}

BENCHMARK(VectorGrow)->Unit(benchmark::kMillisecond);
BENCHMARK(ChannelGrow)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
