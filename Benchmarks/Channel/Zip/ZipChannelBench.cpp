// 32 MiB of text through the zip channels, in memory and in pieces of 64 KiB, against zlib's own
// calls on the same bytes. With the worker, what the column CPU shows is the writer's thread alone.

#include <Kestrel/Channel/MemoryIChannel.h>
#include <Kestrel/Channel/MemoryOChannel.h>
#include <Kestrel/Channel/Zip/ZipIChannel.h>
#include <Kestrel/Channel/Zip/ZipOChannel.h>

#include <benchmark/benchmark.h>

#include <zlib.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr unsigned int piece = 65536;
constexpr unsigned int total = 32u << 20;

std::string const & Text() {
    static std::string const text = [] {
        std::mt19937 random(1);
        std::string made;
        while (made.size() < total)
            made += "value " + std::to_string(random() % 100000) + " of the table, ";
        made.resize(total);
        return made;
    }();
    return text;
}

// What plain zlib makes of the text, in pieces of what a writer has at a time.
unsigned int Deflate(int level, std::vector<char> & out) {
    z_stream stream{};
    deflateInit(&stream, level);
    stream.next_out = reinterpret_cast<Bytef *>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    char const * from = Text().data();
    for (unsigned int done = 0; done < total; done += piece) {
        stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(from + done));
        stream.avail_in = piece;
        deflate(&stream, Z_NO_FLUSH);
    }
    deflate(&stream, Z_FINISH);
    unsigned int const size = static_cast<unsigned int>(stream.total_out);
    deflateEnd(&stream);
    return size;
}

std::vector<char> const & Zipped() {
    static std::vector<char> const zipped = [] {
        std::vector<char> made(compressBound(total));
        made.resize(Deflate(-1, made));
        return made;
    }();
    return zipped;
}

void Done(benchmark::State & state) {
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * total);
}

void ZlibWrite(benchmark::State & state) {
    std::vector<char> out(compressBound(Text().size()));
    for (auto _ : state)
        benchmark::DoNotOptimize(Deflate(static_cast<int>(state.range(0)), out));
    Done(state);
}

void ChannelWrite(benchmark::State & state, IO::ZipOChannelOptions::MultiThreading threading) {
    IO::MemoryOChannel out(static_cast<unsigned int>(compressBound(Text().size())), 0);
    IO::ZipOChannelOptions const options(
        static_cast<IO::ZipOChannelOptions::CompressionLevel>(state.range(0)), 0, threading);
    for (auto _ : state) {
        out.SetDataSize(0);
        IO::ZipOChannel zip(out, options);
        for (unsigned int done = 0; done < total; done += piece)
            (void)zip.WriteBin(Text().data() + done, piece, nullptr);
    }
    Done(state);
}

// The calls that the channel makes: input as a channel's ring holds it, output as a reader asks.
void ZlibRead(benchmark::State & state) {
    std::vector<char> const & zipped = Zipped();
    std::size_t const step = static_cast<std::size_t>(state.range(0));
    std::vector<char> out(piece);
    std::vector<char> in(step);
    for (auto _ : state) {
        z_stream stream{};
        inflateInit(&stream);
        std::size_t taken = 0;
        int result = Z_OK;
        while (result == Z_OK || result == Z_BUF_ERROR) {
            if (stream.avail_in == 0) {
                std::size_t const next = std::min(step, zipped.size() - taken);
                std::copy_n(zipped.data() + taken, next, in.data());
                taken += next;
                stream.next_in = reinterpret_cast<Bytef *>(in.data());
                stream.avail_in = static_cast<uInt>(next);
            }
            if (stream.avail_out == 0) {
                stream.next_out = reinterpret_cast<Bytef *>(out.data());
                stream.avail_out = piece;
            }
            result = inflate(&stream, Z_SYNC_FLUSH);
        }
        if (result != Z_STREAM_END || stream.total_out != total)
            state.SkipWithError("wrong bytes");
        inflateEnd(&stream);
    }
    Done(state);
}

void ChannelRead(benchmark::State & state) {
    std::vector<char> const & zipped = Zipped();
    std::vector<char> out(piece);
    for (auto _ : state) {
        IO::MemoryIChannel in(zipped.data(), static_cast<unsigned int>(zipped.size()));
        IO::ZipIChannel zip(in);
        unsigned int all = 0;
        unsigned int read = 0;
        MuErrCode status = IO::NoError;
        for (; status == IO::NoError; all += read)
            status = zip.ReadBin(out.data(), piece, &read);
        if (status != IO::EOI || all != total)
            state.SkipWithError("wrong bytes");
    }
    Done(state);
}

void Alone(benchmark::State & state) {
    ChannelWrite(state, IO::ZipOChannelOptions::WritingThread);
}

void WithWorker(benchmark::State & state) {
    ChannelWrite(state, IO::ZipOChannelOptions::WorkerThread);
}

BENCHMARK(ZlibWrite)->Arg(1)->Arg(6)->Unit(benchmark::kMillisecond);
BENCHMARK(Alone)->Arg(1)->Arg(6)->Unit(benchmark::kMillisecond);
BENCHMARK(WithWorker)->Arg(1)->Arg(6)->Unit(benchmark::kMillisecond);
BENCHMARK(ZlibRead)->Arg(4096)->Arg(65536)->Unit(benchmark::kMillisecond);
BENCHMARK(ChannelRead)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
