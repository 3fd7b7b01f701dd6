// What a file is: by names alone and by the contents of a tree, against GIO, Qt and libmagic where they
// are installed; how the number of types matters; how long the catalogue of the machine takes to load.
// The tree is what the machine has under /usr/share, or the folder in KESTREL_BENCH_TREE.

#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/NativePath.h>
#include <Kestrel/FileType/Defaults.h>
#include <Kestrel/FileType/FileTypeManager.h>
#include <Kestrel/FileType/SharedMimeTypes.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#if defined(KESTREL_HAS_GIO)
#include <gio/gio.h>
#endif
#if defined(KESTREL_HAS_QT)
#include <QMimeDatabase>
#endif
#if defined(KESTREL_HAS_MAGIC)
#include <magic.h>
#endif

namespace {

namespace fs = std::filesystem;

constexpr std::size_t NameCount = 100000;
constexpr std::size_t TreeCount = 10000;

IO::Location GetCatalogue() {
    return IO::Location(IO::FromNativePath(fs::path("/usr/share/mime")));
}

FTM::FileTypeManager & GetShared() {
    static auto * const manager = [] {
        auto * const made = new FTM::FileTypeManager("bench");
        if (FTM::LoadSharedMimeTypes(made, GetCatalogue()).status != IO::NoError)
            std::abort(); // what is not loaded costs nothing
        return made;
    }();
    return *manager;
}

/// Extensions that one type alone has.
std::vector<std::string> GetUniqueExtensions() {
    static std::vector<std::string> const all = [] {
        GetShared();
        std::string list(FTM::FileTypeManager::GetGroupExtensionList(FTM::RootGroup, nullptr, 0),
                         ' ');
        FTM::FileTypeManager::GetGroupExtensionList(FTM::RootGroup, list.data(),
                                                    static_cast<unsigned int>(list.size()) + 1);
        std::vector<std::string> found;
        for (std::size_t at = 0; at < list.size();) {
            std::size_t const end = std::min(list.find(';', at), list.size());
            std::string const extension = list.substr(at, end - at);
            FTM::FileType const pattern(nullptr, extension.c_str(), 0, 0, -1, nullptr, nullptr,
                                        true);
            if (FTM::FileTypeManager::SearchForType(nullptr, 0, pattern, FTM::RootGroup) == 1)
                found.push_back(extension);
            at = end + 1;
        }
        return found;
    }();
    return all;
}

std::vector<std::string> MakeNames() {
    std::vector<std::string> const extensions = GetUniqueExtensions();
    std::vector<std::string> names;
    for (std::size_t i = 0; i < NameCount; ++i)
        names.push_back("file" + std::to_string(i) + "." + extensions[i % extensions.size()]);
    return names;
}

std::vector<fs::path> const & GetTree() {
    static std::vector<fs::path> const tree = [] {
        char const * const folder = std::getenv("KESTREL_BENCH_TREE");
        std::vector<fs::path> files;
        for (auto const & entry :
             fs::recursive_directory_iterator(folder != nullptr ? folder : "/usr/share",
                                              fs::directory_options::skip_permission_denied)) {
            if (files.size() == TreeCount)
                break;
            if (entry.is_regular_file() && !entry.is_symlink())
                files.push_back(entry.path());
        }
        return files;
    }();
    return tree;
}

// Names alone.

void KestrelNames(benchmark::State & state) {
    std::vector<IO::Location> locations;
    for (std::string const & name : MakeNames())
        locations.emplace_back(IO::localRoot, IO::Name(name.c_str()));
    for (auto _ : state)
        for (IO::Location const & location : locations)
            benchmark::DoNotOptimize(
                FTM::FileTypeManager::Identify(location, FTM::RootGroup, nullptr));
    state.SetItemsProcessed(state.iterations() * static_cast<long long>(NameCount));
}
BENCHMARK(KestrelNames)->Unit(benchmark::kMillisecond);

/// The same name among so many types more.
void KestrelNameAmong(benchmark::State & state) {
    FTM::FileTypeManager manager("more");
    FTM::TypeID const wanted = manager.AddType(
        FTM::FileType(nullptr, "benchmark", 0, 0, -1, nullptr, nullptr, true), FTM::RootGroup);
    for (int i = 1; i < state.range(0); ++i)
        manager.AddType(FTM::FileType(nullptr, std::to_string(i).append("q").c_str(), 0, 0, -1,
                                      nullptr, nullptr, true),
                        FTM::RootGroup);
    IO::Location const location(IO::localRoot, IO::Name("some.benchmark"));
    for (auto _ : state)
        if (FTM::FileTypeManager::Identify(location, FTM::RootGroup, nullptr) != wanted)
            std::abort();
}
BENCHMARK(KestrelNameAmong)->Arg(8)->Arg(900);

void KestrelAdd(benchmark::State & state) {
    for (auto _ : state) {
        FTM::FileTypeManager manager("added");
        for (int i = 0; i < state.range(0); ++i) {
            std::string const text = std::to_string(i);
            manager.AddType(FTM::FileType(nullptr, text.c_str(), 0, 0, -1, nullptr,
                                          ("bench/" + text).c_str(), true),
                            FTM::RootGroup);
        }
        state.PauseTiming(); // what the end takes away
        manager.~FileTypeManager();
        new (&manager) FTM::FileTypeManager("none");
        state.ResumeTiming();
    }
}
BENCHMARK(KestrelAdd)->Arg(500)->Arg(1000)->Arg(2000)->Unit(benchmark::kMicrosecond);

#if defined(KESTREL_HAS_GIO)
void GioNames(benchmark::State & state) {
    std::vector<std::string> const names = MakeNames();
    for (auto _ : state)
        for (std::string const & name : names)
            g_free(g_content_type_guess(name.c_str(), nullptr, 0, nullptr));
    state.SetItemsProcessed(state.iterations() * static_cast<long long>(NameCount));
}
BENCHMARK(GioNames)->Unit(benchmark::kMillisecond);
#endif

#if defined(KESTREL_HAS_QT)
void QtNames(benchmark::State & state) {
    std::vector<QString> names;
    for (std::string const & name : MakeNames())
        names.push_back(QString::fromStdString(name));
    QMimeDatabase const database;
    for (auto _ : state)
        for (QString const & name : names)
            benchmark::DoNotOptimize(database.mimeTypeForFile(name, QMimeDatabase::MatchExtension));
    state.SetItemsProcessed(state.iterations() * static_cast<long long>(NameCount));
}
BENCHMARK(QtNames)->Unit(benchmark::kMillisecond);
#endif

// A tree of real files.

void KestrelTree(benchmark::State & state) {
    GetShared();
    for (auto _ : state)
        for (fs::path const & path : GetTree())
            benchmark::DoNotOptimize(FTM::FileTypeManager::Identify(
                IO::Location(IO::FromNativePath(path)), FTM::RootGroup, nullptr));
    state.SetItemsProcessed(state.iterations() * static_cast<long long>(GetTree().size()));
}
BENCHMARK(KestrelTree)->Unit(benchmark::kMillisecond)->UseRealTime();

#if defined(KESTREL_HAS_GIO)
void GioTree(benchmark::State & state) {
    for (auto _ : state)
        for (fs::path const & path : GetTree()) {
            GFile * const file = g_file_new_for_path(path.c_str());
            GFileInfo * const info = g_file_query_info(file, G_FILE_ATTRIBUTE_STANDARD_CONTENT_TYPE,
                                                       G_FILE_QUERY_INFO_NONE, nullptr, nullptr);
            if (info != nullptr)
                g_object_unref(info);
            g_object_unref(file);
        }
    state.SetItemsProcessed(state.iterations() * static_cast<long long>(GetTree().size()));
}
BENCHMARK(GioTree)->Unit(benchmark::kMillisecond)->UseRealTime();
#endif

#if defined(KESTREL_HAS_MAGIC)
void MagicTree(benchmark::State & state) {
    magic_t const magic = magic_open(MAGIC_MIME_TYPE);
    if (magic == nullptr || magic_load(magic, nullptr) != 0)
        std::abort();
    for (auto _ : state)
        for (fs::path const & path : GetTree())
            benchmark::DoNotOptimize(magic_file(magic, path.c_str()));
    magic_close(magic);
    state.SetItemsProcessed(state.iterations() * static_cast<long long>(GetTree().size()));
}
BENCHMARK(MagicTree)->Unit(benchmark::kMillisecond)->UseRealTime();
#endif

} // namespace

// How long the catalogues take to be ready stands in front of the rest, in this process, since the
// others load theirs once.
namespace {

void Load(benchmark::State & state) {
    for (auto _ : state) {
        auto manager = std::make_unique<FTM::FileTypeManager>("loaded");
        if (FTM::LoadSharedMimeTypes(manager.get(), GetCatalogue()).typeCount < 100)
            std::abort();
        state.PauseTiming(); // the others never give theirs back
        manager.reset();
        state.ResumeTiming();
    }
}

#if defined(KESTREL_HAS_QT)
void QtLoad(benchmark::State & state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(
            QMimeDatabase().mimeTypeForFile("a.png", QMimeDatabase::MatchExtension));
}
#endif

} // namespace

int main(int argc, char ** argv) {
    // "--load" alone measures that, before anything else is loaded.
    if (argc > 1 && std::string(argv[1]) == "--load") {
        benchmark::ClearRegisteredBenchmarks();
        benchmark::RegisterBenchmark("KestrelLoad", Load)
            ->Unit(benchmark::kMillisecond)
            ->Iterations(1);
#if defined(KESTREL_HAS_QT)
        benchmark::RegisterBenchmark("QtLoad", QtLoad)
            ->Unit(benchmark::kMillisecond)
            ->Iterations(1);
#endif
        // The library takes the first for the program's name.
        argv[1] = argv[0];
        ++argv;
        --argc;
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
