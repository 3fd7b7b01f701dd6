// InputBuffer::Get and OutputBuffer::Put of 1 to 8 bytes against storing through a pointer, twice:
// one that lives in an object, as that of a reader or writer does from one call to the next, and one
// in a register, which is what a loop over nothing but values of one size could have.

#include <Kestrel/Channel/InputBuffer.h>
#include <Kestrel/Channel/OutputBuffer.h>

#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

namespace {

constexpr unsigned int values = 65536;

// A place in a block that begins anew at its end.
class Cursor {
public:
    explicit Cursor(std::size_t size) : block(size), at(block.data()), end(at + size) {}
    char * Step(unsigned int size) {
        if (end - at < static_cast<std::ptrdiff_t>(size))
            at = block.data();
        char * const place = at;
        at += size;
        return place;
    }

private:
    std::vector<char> block;
    char * at;
    char * end;
};

template <unsigned int size>
void PointerPut(benchmark::State & state) {
    Cursor cursor(IO::OutputBuffer::DefaultBlockSize);
    benchmark::DoNotOptimize(&cursor);
    unsigned long long value = 0x0102030405060708ull;
    for (auto _ : state)
        for (unsigned int i = 0; i < values; ++i) {
            std::memcpy(cursor.Step(size), &value, size);
            benchmark::ClobberMemory();
        }
    state.SetItemsProcessed(state.iterations() * values);
}

template <unsigned int size>
void RegisterPut(benchmark::State & state) {
    Cursor cursor(IO::OutputBuffer::DefaultBlockSize);
    unsigned long long value = 0x0102030405060708ull;
    for (auto _ : state) {
        for (unsigned int i = 0; i < values; ++i) {
            char * const to = cursor.Step(size);
            std::memcpy(to, &value, size);
            benchmark::DoNotOptimize(*to);
        }
    }
    state.SetItemsProcessed(state.iterations() * values);
}

class Drop : public IO::OutputBuffer::BinOutput {
    MuErrCode InternalWrite(char const *, unsigned int count, unsigned int * written) override {
        *written = count;
        return IO::NoError;
    }
};

template <unsigned int size>
void BufferPut(benchmark::State & state) {
    Drop sink;
    IO::OutputBuffer buffer(&sink);
    benchmark::DoNotOptimize(&buffer);
    MuErrCode failed = IO::NoError;
    unsigned long long value = 0x0102030405060708ull;
    for (auto _ : state) {
        for (unsigned int i = 0; i < values; ++i) {
            failed |= buffer.Put(reinterpret_cast<char *>(&value), size);
            benchmark::ClobberMemory();
        }
    }
    if (failed != IO::NoError)
        state.SkipWithError("failed");
    state.SetItemsProcessed(state.iterations() * values);
}

template <unsigned int size>
void PointerGet(benchmark::State & state) {
    Cursor cursor(IO::InputBuffer::DefaultBufferSize);
    benchmark::DoNotOptimize(&cursor);
    unsigned long long value = 0;
    benchmark::DoNotOptimize(&value);
    for (auto _ : state)
        for (unsigned int i = 0; i < values; ++i) {
            std::memcpy(&value, cursor.Step(size), size);
            benchmark::ClobberMemory();
        }
    state.SetItemsProcessed(state.iterations() * values);
}

// Says that the ring was filled: what fills it is the same work on both sides.
class Claim : public IO::InputBuffer::BinInput {
    MuErrCode InternalRead(char *, unsigned int count, unsigned int * read) override {
        *read = count;
        return IO::NoError;
    }
};

template <unsigned int size>
void BufferGet(benchmark::State & state) {
    Claim source;
    IO::InputBuffer buffer(&source);
    benchmark::DoNotOptimize(&buffer);
    unsigned long long value = 0;
    benchmark::DoNotOptimize(&value);
    unsigned int read = 0;
    MuErrCode failed = IO::NoError;
    for (auto _ : state)
        for (unsigned int i = 0; i < values; ++i) {
            failed |= buffer.Get(reinterpret_cast<char *>(&value), size, &read);
            benchmark::ClobberMemory();
        }
    if (failed != IO::NoError)
        state.SkipWithError("failed");
    state.SetItemsProcessed(state.iterations() * values);
}

BENCHMARK(RegisterPut<1>);
BENCHMARK(PointerPut<1>);
BENCHMARK(BufferPut<1>);
BENCHMARK(RegisterPut<2>);
BENCHMARK(PointerPut<2>);
BENCHMARK(BufferPut<2>);
BENCHMARK(RegisterPut<4>);
BENCHMARK(PointerPut<4>);
BENCHMARK(BufferPut<4>);
BENCHMARK(RegisterPut<8>);
BENCHMARK(PointerPut<8>);
BENCHMARK(BufferPut<8>);
BENCHMARK(PointerGet<1>);
BENCHMARK(BufferGet<1>);
BENCHMARK(PointerGet<2>);
BENCHMARK(BufferGet<2>);
BENCHMARK(PointerGet<4>);
BENCHMARK(BufferGet<4>);
BENCHMARK(PointerGet<8>);
BENCHMARK(BufferGet<8>);

} // namespace

BENCHMARK_MAIN();
