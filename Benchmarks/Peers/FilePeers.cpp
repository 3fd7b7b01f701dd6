// Small files as a host uses them, beside what other hosts use. In a folder of the working folder.

#include "Rounds.h"

#include <Kestrel/FileSystem/NativePath.h>
#include <Kestrel/Kestrel.h>

#include <fcntl.h>
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
}
