// Blowfish over 16 MiB in pieces of 16 KiB against OpenSSL's, the published cipher in the same mode,
// where that is installed; and what the records of a code channel cost above it.

#include <Kestrel/Channel/Code/Blowfish.h>
#include <Kestrel/Channel/Code/CodeIChannel.h>
#include <Kestrel/Channel/Code/CodeOChannel.h>
#include <Kestrel/Channel/MemoryIChannel.h>
#include <Kestrel/Channel/MemoryOChannel.h>

#include <benchmark/benchmark.h>

#if defined(KESTREL_HAS_OPENSSL)
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/blowfish.h>
#endif

#include <vector>

namespace {

constexpr unsigned int piece = 16384;
constexpr unsigned int pieces = 1024;
constexpr char key[] = "a key of 24 bytes, no one";
constexpr unsigned int keyLength = 24;

void Done(benchmark::State & state) {
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * piece * pieces);
}

#if defined(KESTREL_HAS_OPENSSL)
void OpenSSL(benchmark::State & state, int direction) {
    BF_KEY schedule;
    BF_set_key(&schedule, keyLength, reinterpret_cast<unsigned char const *>(key));
    std::vector<unsigned char> data(piece, 'x');
    for (auto _ : state) {
        for (unsigned int i = 0; i < pieces; ++i)
            for (unsigned char * block = data.data(); block < data.data() + piece; block += 8)
                BF_ecb_encrypt(block, block, &schedule, direction);
        benchmark::DoNotOptimize(data.data());
    }
    Done(state);
}
BENCHMARK_CAPTURE(OpenSSL, Encrypt, BF_ENCRYPT)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(OpenSSL, Decrypt, BF_DECRYPT)->Unit(benchmark::kMillisecond);
#endif

template <void (IO::Blowfish::*work)(void *, unsigned int) const>
void Cipher(benchmark::State & state) {
    IO::Blowfish cipher;
    cipher.SetPassword(key, keyLength);
    std::vector<char> data(piece, 'x');
    for (auto _ : state) {
        for (unsigned int i = 0; i < pieces; ++i)
            (cipher.*work)(data.data(), piece);
        benchmark::DoNotOptimize(data.data());
    }
    Done(state);
}
BENCHMARK(Cipher<&IO::Blowfish::Encrypt>)->Name("Encrypt")->Unit(benchmark::kMillisecond);
BENCHMARK(Cipher<&IO::Blowfish::Decrypt>)->Name("Decrypt")->Unit(benchmark::kMillisecond);

void Write(Mu::OChannel & out) {
    std::vector<char> const data(piece, 'x');
    IO::CodeOChannel code(out, key, keyLength);
    for (unsigned int i = 0; i < pieces; ++i)
        (void)code.WriteBin(data.data(), piece, nullptr);
}

void ChannelWrite(benchmark::State & state) {
    IO::MemoryOChannel out(pieces * piece / 16 * 19 + 19, 0);
    for (auto _ : state) {
        out.SetDataSize(0);
        Write(out);
    }
    Done(state);
}
BENCHMARK(ChannelWrite)->Unit(benchmark::kMillisecond);

void ChannelRead(benchmark::State & state) {
    IO::MemoryOChannel out;
    Write(out);
    char const * const bytes = out.GetDestination();
    std::vector<char> data(piece);
    for (auto _ : state) {
        IO::MemoryIChannel in(bytes, out.GetDataSize());
        IO::CodeIChannel code(in, key, keyLength);
        for (unsigned int i = 0; i < pieces; ++i)
            if (code.ReadBin(data.data(), piece, nullptr) != IO::NoError)
                state.SkipWithError("cut");
    }
    Done(state);
}
BENCHMARK(ChannelRead)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
