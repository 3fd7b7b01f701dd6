// A file of a mounted file system whose contents are in memory, read from its opening to its closing,
// beside an archive in memory whose entries are stored as they are.

#include "Rounds.h"

#include <Kestrel/Comfort/Files.h>
#include <Kestrel/Comfort/MapVFS.h>
#include <Kestrel/Kestrel.h>

#if defined(KESTREL_HAS_ZIP)
#include <zip.h>
#endif

#include <cstdlib>

using namespace Peers;

namespace {

constexpr unsigned int FolderCount = 10, FilesInFolder = 100, Size = 1024;

void Require(bool holds) {
    if (!holds)
        std::abort(); // what fails costs nothing
}

std::string NameOf(unsigned int number) {
    return "folder" + std::to_string(number % FolderCount) + "/file" +
           std::to_string(number / FolderCount % FilesInFolder) + ".txt";
}

#if defined(KESTREL_HAS_ZIP)
class Archive {
public:
    explicit Archive(std::string const & content) {
        source = ::zip_source_buffer_create(nullptr, 0, 0, nullptr);
        ::zip_source_keep(source);
        archive = ::zip_open_from_source(source, ZIP_TRUNCATE, nullptr);
        for (unsigned int i = 0; i < FolderCount * FilesInFolder; ++i) {
            zip_source_t * const entry =
                ::zip_source_buffer(archive, content.data(), content.size(), 0);
            zip_int64_t const index = ::zip_file_add(archive, NameOf(i).c_str(), entry, 0);
            Require(index >= 0 &&
                    ::zip_set_file_compression(archive, static_cast<zip_uint64_t>(index),
                                               ZIP_CM_STORE, 0) == 0);
        }
        Require(::zip_close(archive) == 0);
        archive = ::zip_open_from_source(source, ZIP_RDONLY, nullptr);
        Require(archive != nullptr);
    }
    ~Archive() { ::zip_discard(archive); }
    Archive(Archive const &) = delete;
    Archive & operator=(Archive const &) = delete;

    void Read(std::string const & name) {
        char content[Size];
        zip_file_t * const file = ::zip_fopen(archive, name.c_str(), 0);
        Require(file != nullptr && ::zip_fread(file, content, Size) == Size);
        ::zip_fclose(file);
    }

private:
    zip_source_t * source;
    zip_t * archive;
};
#endif

} // namespace

int main() {
    IO::MapVFS files;
    std::string const content(Size, 'x');
    IO::Location const place("Q:\\mounted");
    std::vector<std::string> names;
    std::vector<IO::Location> locations;
    for (unsigned int i = 0; i < FolderCount * FilesInFolder; ++i) {
        names.push_back(NameOf(i));
        locations.push_back(place / IO::RelativeLocation(names.back()));
        Require(files.Add(Mu::UniString(names.back()), content) == IO::NoError);
    }
    Require(IO::fileSystem.Mount(files, place) == IO::NoError);
    auto const each = [&](auto const & use) {
        return [&use](unsigned int times) {
            for (unsigned int i = 0; i < times; ++i)
                use(i % (FolderCount * FilesInFolder));
        };
    };
    auto const readFile = [&](unsigned int number) {
        char read[Size];
        IO::File file(locations[number]);
        Require(file.Open(IO::File::OpenMode::ReadOnly) == IO::NoError);
        Require(file.ReadBin(read, Size, nullptr) == IO::NoError);
    };
    auto const readAll = [&](unsigned int number) {
        Require(IO::ReadAll(locations[number])->size() == Size);
    };
    Row const row("a stored file of 1 KiB in memory, opened, read and closed", "ns", 2);
#if defined(KESTREL_HAS_ZIP)
    Archive archive(content);
    auto const readZip = [&](unsigned int number) { archive.Read(names[number]); };
    Compare<5000>(row, {"ours", "ours in one call", "libzip"}, each(readFile), each(readAll),
                  each(readZip));
#else
    Compare<5000>(row, {"ours", "ours in one call"}, each(readFile), each(readAll));
#endif
    Require(IO::fileSystem.Unmount(files) == IO::NoError);
}
