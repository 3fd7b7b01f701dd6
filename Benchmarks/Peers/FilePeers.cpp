// Small files as a host uses them, beside what other hosts use. In a folder of the working folder.

#include "Rounds.h"

#include <Kestrel/Comfort/Folders.h>
#include <Kestrel/FileSystem/NativePath.h>
#include <Kestrel/Kestrel.h>

#include <fcntl.h>
#include <fts.h>
#include <sys/stat.h>
#include <unistd.h>

#if defined(KESTREL_HAS_QT)
#include <QFile>
#endif

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>

using namespace Peers;

namespace {

std::string const block(4096, 'x');

struct Place {
    Place() : path(std::filesystem::absolute("kestrel file peers")) {
        std::filesystem::create_directory(path);
        folder.emplace(IO::Location(IO::FromNativePath(path)));
        file = (path / "small").string();
    }
    ~Place() {
        folder.reset();
        std::filesystem::remove_all(path);
    }

    std::filesystem::path path;
    std::optional<IO::Folder> folder;
    std::string file;
    IO::Name const name{"small"};
};

void Require(bool holds) {
    if (!holds)
        std::abort(); // what fails costs nothing
}

template <typename Use>
auto Repeat(Use const & use) {
    return [&use](unsigned int times) {
        for (; times != 0; --times)
            use();
    };
}

// As the guides do it, and the same calls of the system by hand.

void WriteOurs(Place & place) {
    IO::File file(*place.folder, place.name, IO::File::OnNotFound::Create);
    Require(file.Open(IO::File::OpenMode::WriteOnlyEmpty) == IO::NoError);
    Require(file.WriteBin(block.data(), 4096, nullptr) == IO::NoError);
    Require(file.Close() == IO::NoError);
}

void WriteRaw(Place & place) {
    int const file = ::open(place.file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    Require(::write(file, block.data(), 4096) == 4096);
    ::close(file);
}

void DeleteOurs(Place & place) {
    Require(place.folder->Delete(place.name, IO::DataSafety::IgnoreProtection,
                                 IO::AccessDeniedTreatment::RetryPrivate) == IO::NoError);
}

void ReadOurs(Place & place) {
    char content[4096];
    IO::File file(*place.folder, place.name);
    Require(file.Open(IO::File::OpenMode::ReadOnly) == IO::NoError);
    Require(file.ReadBin(content, 4096, nullptr) == IO::NoError);
}

void ReadRaw(Place & place) {
    char content[4096];
    int const file = ::open(place.file.c_str(), O_RDONLY | O_CLOEXEC);
    Require(::read(file, content, 4096) == 4096);
    ::close(file);
}

// Files and their sizes, summed up in one walk.

constexpr unsigned int FolderCount = 200, FilesInFolder = 25;
constexpr unsigned long long TreeSize = 100ull * FolderCount * FilesInFolder;

class Sum : public IO::TreeEnumerator {
public:
    using TreeEnumerator::TreeEnumerator;
    bool EntryFound(IO::Name const & name, bool isFolder) override {
        unsigned long long length;
        if (isFolder || !GetParent()->GetFoundFile(name, &length, nullptr))
            return true;
        size += length;
        ++count;
        return false;
    }
    bool FileFound(IO::Name const & name) override {
        unsigned long long length = 0;
        if (IO::File(*GetParent(), name).GetDataLength(&length) == IO::NoError)
            size += length;
        ++count;
        return true;
    }

    unsigned long long size = 0;
    unsigned int count = 0;
};

void WalkOurs(IO::Location const & tree) {
    IO::Folder const folder(tree);
    Sum sum(folder);
    Require(sum.Do() == IO::NoError && sum.size == TreeSize &&
            sum.count == FolderCount * FilesInFolder);
}

void WalkRange(IO::Location const & tree) {
    unsigned long long size = 0;
    for (IO::TreeEntry const & entry : IO::Tree(IO::Folder(tree)))
        size += entry.isFolder ? 0 : IO::GetSize(entry).GetValueOr(0);
    Require(size == TreeSize);
}

void WalkFts(std::string & tree) {
    char * const paths[] = {tree.data(), nullptr};
    FTS * const walk = ::fts_open(paths, FTS_PHYSICAL | FTS_NOCHDIR, nullptr);
    unsigned long long size = 0;
    while (FTSENT const * const entry = ::fts_read(walk))
        size += entry->fts_info == FTS_F
                    ? static_cast<unsigned long long>(entry->fts_statp->st_size)
                    : 0;
    ::fts_close(walk);
    Require(size == TreeSize);
}

void WalkStandard(std::string const & tree) {
    unsigned long long size = 0;
    for (auto const & entry : std::filesystem::recursive_directory_iterator(tree))
        size += entry.is_regular_file() ? entry.file_size() : 0;
    Require(size == TreeSize);
}

#if defined(KESTREL_HAS_QT)
#define QT_NAME , "QFile"
#define QT_CALL(...) , Repeat(__VA_ARGS__)
#else
#define QT_NAME
#define QT_CALL(...)
#endif

} // namespace

int main() {
    Place place;
    auto const ours = [&] {
        WriteOurs(place);
        DeleteOurs(place);
    };
    auto const raw = [&] {
        WriteRaw(place);
        Require(::unlink(place.file.c_str()) == 0);
    };
    auto const stream = [&] {
        std::ofstream(place.file, std::ios::binary) << block;
        std::filesystem::remove(place.file);
    };
    auto const readOurs = [&] { ReadOurs(place); };
    auto const readRaw = [&] { ReadRaw(place); };
    auto const readStream = [&] {
        char content[4096];
        Require(static_cast<bool>(
            std::ifstream(place.file, std::ios::binary).read(content, sizeof content)));
    };
#if defined(KESTREL_HAS_QT)
    QString const path = QString::fromStdString(place.file);
    auto const qt = [&] {
        {
            QFile file(path);
            Require(file.open(QIODevice::WriteOnly) && file.write(block.data(), 4096) == 4096);
        }
        QFile::remove(path);
    };
    auto const readQt = [&] {
        char content[4096];
        QFile file(path);
        Require(file.open(QIODevice::ReadOnly) && file.read(content, 4096) == 4096);
    };
#endif
    Compare<2000>(Row("make a file, write 4 KiB, close and delete it", "ns", 1),
                  {"ours", "raw calls", "fstream" QT_NAME}, Repeat(ours), Repeat(raw),
                  Repeat(stream) QT_CALL(qt));
    WriteRaw(place);
    auto const again = [&] { WriteOurs(place); };
    auto const rawAgain = [&] { WriteRaw(place); };
    Compare<2000>(Row("empty a file and write 4 KiB", "ns", 1), {"ours", "raw calls"},
                  Repeat(again), Repeat(rawAgain));
    Compare<2000>(Row("open a file, read 4 KiB and close it", "ns", 1),
                  {"ours", "raw calls", "fstream" QT_NAME}, Repeat(readOurs), Repeat(readRaw),
                  Repeat(readStream) QT_CALL(readQt));
    std::string tree = (place.path / "tree").string();
    for (unsigned int i = 0; i < FolderCount; ++i) {
        std::filesystem::path const folder = std::filesystem::path(tree) / std::to_string(i);
        std::filesystem::create_directories(folder);
        for (unsigned int k = 0; k < FilesInFolder; ++k)
            std::ofstream(folder / std::to_string(k), std::ios::binary) << std::string(100, 'x');
    }
    IO::Location const treeLocation(IO::FromNativePath(std::filesystem::path(tree)));
    auto const walkOurs = [&] { WalkOurs(treeLocation); };
    auto const walkRange = [&] { WalkRange(treeLocation); };
    auto const walkFts = [&] { WalkFts(tree); };
    auto const walkStandard = [&] { WalkStandard(tree); };
    Compare<4>(Row("sum up 5,000 files of 200 folders in one walk", "ns", 2),
               {"ours", "ours as a range", "fts", "filesystem"}, Repeat(walkOurs),
               Repeat(walkRange), Repeat(walkFts), Repeat(walkStandard));
}
