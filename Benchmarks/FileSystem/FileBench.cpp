// Reading and writing through File against the plain calls of the system, stdio without its lock,
// and std::fstream; then opening and closing an existing file. Linux only in its twins: the raw
// calls are POSIX.

#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/NativePath.h>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace {

// What fails costs nothing, so that its figure would be a wrong one.
void Must(MuErrCode status) {
    if (status != IO::NoError)
        std::abort();
}

constexpr std::size_t fileSize = 64u << 20;

/// A file in the temporary folder for the length of the program.
struct Subject {
    std::string path = std::filesystem::temp_directory_path() / "kestrel-bench-file";
    IO::Location location{IO::FromNativePath(std::filesystem::path(path))};

    Subject() {
        std::ofstream file(path, std::ios::binary);
        std::vector<char> const piece(1u << 20, 'x');
        for (std::size_t written = 0; written < fileSize; written += piece.size())
            file.write(piece.data(), static_cast<std::streamsize>(piece.size()));
        file.close();
        // What is not connected does nothing, and that fast.
        if (IO::File(location).GetStatus() != IO::NoError)
            std::abort();
    }
    ~Subject() { std::filesystem::remove(path); }
};

Subject & Get() {
    static Subject subject;
    return subject;
}

// Small pieces are measured over less, so that all take about as long.
std::size_t SizeFor(std::size_t piece) {
    return piece >= 4096 ? fileSize : fileSize / 8;
}

void Count(benchmark::State & state) {
    state.SetBytesProcessed(state.iterations() * static_cast<long long>(SizeFor(
                                                     static_cast<std::size_t>(state.range(0)))));
}

void FileRead(benchmark::State & state) {
    unsigned int const piece = static_cast<unsigned int>(state.range(0));
    std::vector<char> bytes(piece);
    for (auto _ : state) {
        IO::File file(Get().location);
        Must(file.Open(IO::File::OpenMode::ReadOnly));
        unsigned int read = 0;
        for (std::size_t left = SizeFor(piece); left != 0; left -= piece)
            file.ReadBin(bytes.data(), piece, &read);
        benchmark::DoNotOptimize(bytes.data());
    }
    Count(state);
}

void RawRead(benchmark::State & state) {
    std::size_t const piece = static_cast<std::size_t>(state.range(0));
    std::vector<char> bytes(piece);
    for (auto _ : state) {
        int const file = open(Get().path.c_str(), O_RDONLY | O_CLOEXEC);
        for (std::size_t left = SizeFor(piece); left != 0; left -= piece)
            benchmark::DoNotOptimize(read(file, bytes.data(), piece));
        close(file);
    }
    Count(state);
}

void StdioRead(benchmark::State & state) {
    std::size_t const piece = static_cast<std::size_t>(state.range(0));
    std::vector<char> bytes(piece);
    for (auto _ : state) {
        std::FILE * const file = std::fopen(Get().path.c_str(), "rb");
        for (std::size_t left = SizeFor(piece); left != 0; left -= piece)
            benchmark::DoNotOptimize(fread_unlocked(bytes.data(), 1, piece, file));
        std::fclose(file);
    }
    Count(state);
}

void FstreamRead(benchmark::State & state) {
    std::size_t const piece = static_cast<std::size_t>(state.range(0));
    std::vector<char> bytes(piece);
    for (auto _ : state) {
        std::ifstream file(Get().path, std::ios::binary);
        for (std::size_t left = SizeFor(piece); left != 0; left -= piece)
            file.read(bytes.data(), static_cast<std::streamsize>(piece));
        benchmark::DoNotOptimize(bytes.data());
    }
    Count(state);
}

void FileWrite(benchmark::State & state) {
    unsigned int const piece = static_cast<unsigned int>(state.range(0));
    std::vector<char> const bytes(piece, 'y');
    for (auto _ : state) {
        IO::File file(Get().location);
        Must(file.Open(IO::File::OpenMode::WriteOnly));
        for (std::size_t left = SizeFor(piece); left != 0; left -= piece)
            file.WriteBin(bytes.data(), piece, nullptr);
        file.Close();
    }
    Count(state);
}

void RawWrite(benchmark::State & state) {
    std::size_t const piece = static_cast<std::size_t>(state.range(0));
    std::vector<char> const bytes(piece, 'y');
    for (auto _ : state) {
        int const file = open(Get().path.c_str(), O_WRONLY | O_CLOEXEC);
        for (std::size_t left = SizeFor(piece); left != 0; left -= piece)
            benchmark::DoNotOptimize(write(file, bytes.data(), piece));
        close(file);
    }
    Count(state);
}

void StdioWrite(benchmark::State & state) {
    std::size_t const piece = static_cast<std::size_t>(state.range(0));
    std::vector<char> const bytes(piece, 'y');
    for (auto _ : state) {
        std::FILE * const file = std::fopen(Get().path.c_str(), "r+b");
        for (std::size_t left = SizeFor(piece); left != 0; left -= piece)
            benchmark::DoNotOptimize(fwrite_unlocked(bytes.data(), 1, piece, file));
        std::fclose(file);
    }
    Count(state);
}

void FstreamWrite(benchmark::State & state) {
    std::size_t const piece = static_cast<std::size_t>(state.range(0));
    std::vector<char> const bytes(piece, 'y');
    for (auto _ : state) {
        std::fstream file(Get().path, std::ios::binary | std::ios::in | std::ios::out);
        for (std::size_t left = SizeFor(piece); left != 0; left -= piece)
            file.write(bytes.data(), static_cast<std::streamsize>(piece));
    }
    Count(state);
}

void FileOpenClose(benchmark::State & state) {
    IO::File file(Get().location);
    for (auto _ : state) {
        Must(file.Open(IO::File::OpenMode::ReadOnly));
        file.Close();
    }
}

void FileConnectOpenClose(benchmark::State & state) {
    for (auto _ : state) {
        IO::File file(Get().location);
        Must(file.Open(IO::File::OpenMode::ReadOnly));
        file.Close();
    }
}

void RawOpenClose(benchmark::State & state) {
    for (auto _ : state)
        close(open(Get().path.c_str(), O_RDONLY | O_CLOEXEC));
}

} // namespace

BENCHMARK(FileRead)->Arg(65536)->Arg(8)->Arg(1);
BENCHMARK(RawRead)->Arg(65536);
BENCHMARK(StdioRead)->Arg(65536)->Arg(8)->Arg(1);
BENCHMARK(FstreamRead)->Arg(65536)->Arg(8)->Arg(1);
BENCHMARK(FileWrite)->Arg(65536)->Arg(8)->Arg(1);
BENCHMARK(RawWrite)->Arg(65536);
BENCHMARK(StdioWrite)->Arg(65536)->Arg(8)->Arg(1);
BENCHMARK(FstreamWrite)->Arg(65536)->Arg(8)->Arg(1);
BENCHMARK(FileOpenClose);
BENCHMARK(FileConnectOpenClose);
BENCHMARK(RawOpenClose);
BENCHMARK_MAIN();
