// MD5Channel against OpenSSL's MD5, where that is installed, over 64 MiB in pieces of 64 KiB.

#include <Kestrel/Channel/MD5Channel.h>

#include <benchmark/benchmark.h>

#if defined(KESTREL_HAS_OPENSSL)
#include <openssl/evp.h>
#endif

#include <vector>

namespace {

constexpr unsigned int piece = 65536;
constexpr unsigned int pieces = 1024;

void Done(benchmark::State & state) {
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * piece * pieces);
}

#if defined(KESTREL_HAS_OPENSSL)
void OpenSSL(benchmark::State & state) {
    std::vector<char> const source(piece, 'x');
    unsigned char digest[16];
    EVP_MD_CTX * const context = EVP_MD_CTX_new();
    for (auto _ : state) {
        EVP_DigestInit_ex(context, EVP_md5(), nullptr);
        for (unsigned int i = 0; i < pieces; ++i)
            EVP_DigestUpdate(context, source.data(), piece);
        EVP_DigestFinal_ex(context, digest, nullptr);
        benchmark::DoNotOptimize(digest);
    }
    EVP_MD_CTX_free(context);
    Done(state);
}
BENCHMARK(OpenSSL)->Unit(benchmark::kMillisecond);
#endif

void Channel(benchmark::State & state) {
    std::vector<char> const source(piece, 'x');
    MD5::FingerPrint digest;
    for (auto _ : state) {
        IO::MD5Channel channel;
        for (unsigned int i = 0; i < pieces; ++i)
            (void)channel.WriteBin(source.data(), piece, nullptr);
        channel.Finish(&digest);
        benchmark::DoNotOptimize(digest);
    }
    Done(state);
}
BENCHMARK(Channel)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
