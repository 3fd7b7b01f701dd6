// Ten million values of mixed types, written to memory and read back: the typed operations of a
// channel against write and read of the same bytes on a std::stringstream, and against plain stores
// through a pointer into memory that is there.

#include <Kestrel/Channel/MemoryIChannel.h>
#include <Kestrel/Channel/MemoryOChannel.h>

#include <benchmark/benchmark.h>

#include <cstring>
#include <sstream>
#include <string>
#include <vector>

namespace {

constexpr unsigned int rounds = 10000000 / 6;
constexpr char text[] = "short text";
constexpr unsigned int textLength = sizeof text - 1;

// The six values of a round, through whatever takes or gives them.
template <typename Out>
void WriteAll(Out & out) {
    for (unsigned int i = 0; i < rounds; ++i) {
        out.Write(static_cast<char>(i));
        out.Write(static_cast<short>(i));
        out.Write(static_cast<int>(i));
        out.Write(static_cast<unsigned long long>(i) * 0x100000001ull);
        out.Write(i * 0.5);
        out.Write(text);
    }
}

template <typename In>
unsigned long long ReadAll(In & in) {
    unsigned long long sum = 0;
    for (unsigned int i = 0; i < rounds; ++i) {
        char a = 0;
        short b = 0;
        int c = 0;
        unsigned long long d = 0;
        double e = 0;
        char f[32];
        in.Read(a);
        in.Read(b);
        in.Read(c);
        in.Read(d);
        in.Read(e);
        in.Read(f);
        sum += static_cast<unsigned long long>(a + b + c) + d + (e > 1.0) + f[0];
    }
    return sum;
}

struct StreamOut {
    std::ostream & stream;
    template <typename T>
    void Write(T value) {
        stream.write(reinterpret_cast<char const *>(&value), sizeof value);
    }
    void Write(char const * value) {
        unsigned int const length = static_cast<unsigned int>(std::strlen(value));
        Write(length);
        stream.write(value, length);
    }
};

struct StreamIn {
    std::istream & stream;
    template <typename T>
    void Read(T & value) {
        stream.read(reinterpret_cast<char *>(&value), sizeof value);
    }
    void Read(char * value) {
        unsigned int length = 0;
        Read(length);
        stream.read(value, length);
        value[length] = '\0';
    }
};

struct PointerOut {
    char * to;
    template <typename T>
    void Write(T value) {
        std::memcpy(to, &value, sizeof value);
        to += sizeof value;
        benchmark::DoNotOptimize(to);
    }
    void Write(char const * value) {
        Write(textLength);
        std::memcpy(to, value, textLength);
        to += textLength;
        benchmark::DoNotOptimize(to);
    }
};

struct PointerIn {
    char const * from;
    template <typename T>
    void Read(T & value) {
        std::memcpy(&value, from, sizeof value);
        from += sizeof value;
        benchmark::DoNotOptimize(from);
    }
    void Read(char * value) {
        unsigned int length = 0;
        Read(length);
        std::memcpy(value, from, length);
        value[length] = '\0';
        from += length;
        benchmark::DoNotOptimize(from);
    }
};

std::string const & Bytes() {
    static std::string const bytes = [] {
        std::ostringstream stream;
        StreamOut out{stream};
        WriteAll(out);
        return stream.str();
    }();
    return bytes;
}

void Done(benchmark::State & state) {
    state.SetItemsProcessed(state.iterations() * rounds * 6);
}

void StringStreamWrite(benchmark::State & state) {
    for (auto _ : state) {
        std::stringstream stream;
        StreamOut out{stream};
        WriteAll(out);
        benchmark::DoNotOptimize(stream.rdbuf());
    }
    Done(state);
}

void ChannelWrite(benchmark::State & state) {
    std::size_t const size = Bytes().size();
    for (auto _ : state) {
        IO::MemoryOChannel channel;
        WriteAll(channel);
        if (channel.Flush() != IO::NoError || channel.GetDataSize() != size)
            state.SkipWithError("wrong bytes");
    }
    Done(state);
}

void StringStreamRewrite(benchmark::State & state) {
    std::stringstream stream(Bytes());
    for (auto _ : state) {
        stream.seekp(0);
        StreamOut out{stream};
        WriteAll(out);
        benchmark::DoNotOptimize(stream.rdbuf());
    }
    Done(state);
}

void ChannelRewrite(benchmark::State & state) {
    IO::MemoryOChannel channel(static_cast<unsigned int>(Bytes().size()), 0);
    for (auto _ : state) {
        (void)channel.SetDataSize(0);
        WriteAll(channel);
        if (channel.Flush() != IO::NoError || channel.GetDataSize() != Bytes().size())
            state.SkipWithError("wrong bytes");
    }
    Done(state);
}

void PointerWrite(benchmark::State & state) {
    std::vector<char> block(Bytes().size());
    for (auto _ : state) {
        PointerOut out{block.data()};
        WriteAll(out);
        benchmark::ClobberMemory();
    }
    Done(state);
}

void StringStreamRead(benchmark::State & state) {
    std::stringstream stream(Bytes());
    for (auto _ : state) {
        stream.clear();
        stream.seekg(0);
        StreamIn in{stream};
        benchmark::DoNotOptimize(ReadAll(in));
    }
    Done(state);
}

void ChannelRead(benchmark::State & state) {
    std::string const & bytes = Bytes();
    IO::MemoryIChannel channel(bytes.data(), static_cast<unsigned int>(bytes.size()));
    for (auto _ : state) {
        channel.ResetSource();
        benchmark::DoNotOptimize(ReadAll(channel));
        if (channel.GetInputStatus() != IO::NoError)
            state.SkipWithError("cut");
    }
    Done(state);
}

void PointerRead(benchmark::State & state) {
    for (auto _ : state) {
        PointerIn in{Bytes().data()};
        benchmark::DoNotOptimize(ReadAll(in));
    }
    Done(state);
}

BENCHMARK(StringStreamWrite)->Unit(benchmark::kMillisecond);
BENCHMARK(ChannelWrite)->Unit(benchmark::kMillisecond);
BENCHMARK(StringStreamRewrite)->Unit(benchmark::kMillisecond);
BENCHMARK(ChannelRewrite)->Unit(benchmark::kMillisecond);
BENCHMARK(PointerWrite)->Unit(benchmark::kMillisecond);
BENCHMARK(StringStreamRead)->Unit(benchmark::kMillisecond);
BENCHMARK(ChannelRead)->Unit(benchmark::kMillisecond);
BENCHMARK(PointerRead)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
