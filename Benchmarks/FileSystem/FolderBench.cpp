// Creating and enumerating 20,000 files in one folder against the plain calls of the system and
// std::filesystem. Linux only in its twins: the raw calls are POSIX.

#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/Folder.h>
#include <Kestrel/FileSystem/NativePath.h>

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

/// A folder in the temporary folder, emptied at each beginning.
struct Subject {
    fs::path path = fs::temp_directory_path() / "kestrel-bench-folder";
    IO::Location location{IO::FromNativePath(path)};

    Subject() { Empty(); }
    ~Subject() { fs::remove_all(path); }
    void Empty() {
        fs::remove_all(path);
        fs::create_directory(path);
        // What is not connected does nothing, and that fast.
        if (IO::Folder(location).GetStatus() != IO::NoError)
            std::abort();
    }
};

std::string NameOf(int i) {
    return "file " + std::to_string(i) + ".txt";
}

void FolderCreate(benchmark::State & state) {
    Subject subject;
    for (auto _ : state) {
        state.PauseTiming();
        subject.Empty();
        state.ResumeTiming();
        IO::Folder folder(subject.location);
        for (int i = 0; i < state.range(0); ++i)
            folder.CreateFile(IO::Name(NameOf(i).c_str()));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void RawCreate(benchmark::State & state) {
    Subject subject;
    for (auto _ : state) {
        state.PauseTiming();
        subject.Empty();
        state.ResumeTiming();
        for (int i = 0; i < state.range(0); ++i)
            close(open((subject.path / NameOf(i)).c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC,
                       0666));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void Fill(Subject const & subject, long long count) {
    for (int i = 0; i < count; ++i)
        close(open((subject.path / NameOf(i)).c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0666));
}

bool Visit(IO::Folder const &, IO::Name const & name, bool, void * data) {
    *static_cast<unsigned int *>(data) += name.GetLength();
    return true;
}

void FolderEnumerate(benchmark::State & state) {
    Subject subject;
    Fill(subject, state.range(0));
    for (auto _ : state) {
        IO::Folder const folder(subject.location);
        unsigned int length = 0;
        folder.Enumerate(Visit, &length);
        benchmark::DoNotOptimize(length);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void RawEnumerate(benchmark::State & state) {
    Subject subject;
    Fill(subject, state.range(0));
    for (auto _ : state) {
        DIR * const folder = opendir(subject.path.c_str());
        std::size_t length = 0;
        while (dirent const * const entry = readdir(folder))
            length += std::char_traits<char>::length(entry->d_name);
        closedir(folder);
        benchmark::DoNotOptimize(length);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void FilesystemEnumerate(benchmark::State & state) {
    Subject subject;
    Fill(subject, state.range(0));
    for (auto _ : state) {
        std::size_t length = 0;
        for (fs::directory_entry const & entry : fs::directory_iterator(subject.path))
            length += entry.path().filename().native().size();
        benchmark::DoNotOptimize(length);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

} // namespace

BENCHMARK(FolderCreate)->Arg(2000)->Arg(20000)->Unit(benchmark::kMillisecond);
BENCHMARK(RawCreate)->Arg(2000)->Arg(20000)->Unit(benchmark::kMillisecond);
BENCHMARK(FolderEnumerate)->Arg(20000)->Unit(benchmark::kMillisecond);
BENCHMARK(RawEnumerate)->Arg(20000)->Unit(benchmark::kMillisecond);
BENCHMARK(FilesystemEnumerate)->Arg(20000)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
