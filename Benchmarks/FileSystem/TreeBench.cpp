// Counting 50,000 files and their sizes in 2,000 folders against the plain calls of the system and
// std::filesystem. Linux only in its twins: the raw calls are POSIX.

#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/NativePath.h>

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

struct Counts {
    unsigned int files = 0;
    unsigned long long size = 0;
};

/// 40 folders of 50 folders of 25 files of some bytes each, made once.
class Tree {
public:
    static constexpr unsigned int fileCount = 40 * 50 * 25;

    static Tree const & Get() {
        static Tree const tree;
        return tree;
    }

    fs::path const path = fs::temp_directory_path() / "kestrel-bench-tree";
    IO::Location const location{IO::FromNativePath(path)};
    unsigned long long size = 0;

    /// Ends the measurement of what counts wrong.
    void Check(Counts const & counts, benchmark::State & state) const {
        if (counts.files != fileCount || counts.size != size)
            state.SkipWithError("counted wrong");
    }

private:
    Tree() {
        fs::remove_all(path);
        for (int i = 0; i < 40; ++i)
            for (int j = 0; j < 50; ++j)
                Fill(path / ("folder " + std::to_string(i)) / ("inner " + std::to_string(j)));
    }
    ~Tree() { fs::remove_all(path); }

    void Fill(fs::path const & folder) {
        fs::create_directories(folder);
        for (unsigned int i = 0; i < 25; ++i) {
            int const file = open((folder / ("file " + std::to_string(i) + ".txt")).c_str(),
                                  O_CREAT | O_WRONLY | O_CLOEXEC, 0666);
            unsigned int const bytes = 7 * i;
            if (ftruncate(file, bytes) == 0)
                size += bytes;
            close(file);
        }
    }
};

// Twice over the tree, once for the files and once for their sizes.
void KestrelFilesAndSizes(benchmark::State & state) {
    Tree const & tree = Tree::Get();
    for (auto _ : state) {
        Counts counts;
        IO::fileSystem.CountFiles(tree.location, &counts.files);
        IO::fileSystem.CountSize(tree.location, &counts.size);
        tree.Check(counts, state);
    }
}

void KestrelFiles(benchmark::State & state) {
    Tree const & tree = Tree::Get();
    for (auto _ : state) {
        Counts counts{0, tree.size};
        IO::fileSystem.CountFiles(tree.location, &counts.files);
        tree.Check(counts, state);
    }
}

void KestrelSizes(benchmark::State & state) {
    Tree const & tree = Tree::Get();
    for (auto _ : state) {
        Counts counts{Tree::fileCount, 0};
        IO::fileSystem.CountSize(tree.location, &counts.size);
        tree.Check(counts, state);
    }
}

// openat, getdents and fstatat, as plainly as they can be put together.
void RawCount(int descriptor, Counts * counts) {
    alignas(8) char buffer[32768];
    ssize_t got;
    while ((got = getdents64(descriptor, buffer, sizeof buffer)) > 0)
        for (ssize_t i = 0; i < got;) {
            dirent64 const * const entry = reinterpret_cast<dirent64 const *>(buffer + i);
            i += entry->d_reclen;
            std::string_view const name = entry->d_name;
            struct stat info;
            if (name == "." || name == "..")
                continue;
            if (entry->d_type == DT_DIR) {
                RawCount(openat(descriptor, entry->d_name, O_RDONLY | O_DIRECTORY | O_CLOEXEC),
                         counts);
                continue;
            }
            if (fstatat(descriptor, entry->d_name, &info, AT_SYMLINK_NOFOLLOW) == 0) {
                ++counts->files;
                counts->size += static_cast<unsigned long long>(info.st_size);
            }
        }
    close(descriptor);
}

void RawFilesAndSizes(benchmark::State & state) {
    Tree const & tree = Tree::Get();
    for (auto _ : state) {
        Counts counts;
        RawCount(open(tree.path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC), &counts);
        tree.Check(counts, state);
    }
}

void FilesystemFilesAndSizes(benchmark::State & state) {
    Tree const & tree = Tree::Get();
    for (auto _ : state) {
        Counts counts;
        for (fs::directory_entry const & entry : fs::recursive_directory_iterator(tree.path))
            if (entry.is_regular_file()) {
                ++counts.files;
                counts.size += entry.file_size();
            }
        tree.Check(counts, state);
    }
}

// The same in as many walks as ours.
void FilesystemFiles(benchmark::State & state) {
    Tree const & tree = Tree::Get();
    for (auto _ : state) {
        Counts counts{0, tree.size};
        for (fs::directory_entry const & entry : fs::recursive_directory_iterator(tree.path))
            counts.files += entry.is_regular_file() ? 1 : 0;
        tree.Check(counts, state);
    }
}

} // namespace

BENCHMARK(RawFilesAndSizes)->Unit(benchmark::kMillisecond);
BENCHMARK(KestrelFilesAndSizes)->Unit(benchmark::kMillisecond);
BENCHMARK(KestrelSizes)->Unit(benchmark::kMillisecond);
BENCHMARK(KestrelFiles)->Unit(benchmark::kMillisecond);
BENCHMARK(FilesystemFilesAndSizes)->Unit(benchmark::kMillisecond);
BENCHMARK(FilesystemFiles)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
