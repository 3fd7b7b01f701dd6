#pragma once

#include "Tests/Support/FileSystem/DiskVFS.h"
#include "Tests/Support/TempFolder.h"

#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/Folder.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace Tests {

/// An empty folder on the disk, or one that is another file system's, for tests that must hold for
/// both.
class Place {
public:
    explicit Place(bool isMounted) : root(disk.GetPortable().c_str()) {
        if (!isMounted)
            return;
        std::filesystem::create_directory(disk / "below");
        system = std::make_unique<DiskFixedVFS>(IO::Location(disk.GetPortable("below").c_str()));
        root.AppendToLocal("mounted");
        EXPECT_EQ(IO::fileSystem.Mount(*system, root), IO::NoError);
    }

    ~Place() {
        if (system != nullptr) {
            EXPECT_EQ(system->CountConnected(), 0) << "an entry was not given back";
            IO::fileSystem.Unmount(*system);
        }
    }

    IO::Location const & GetRoot() const { return root; }
    IO::Location operator/(char const * name) const { return IO::Location(root, IO::Name(name)); }
    /// Where its entries lie.
    std::filesystem::path GetPath() const { return system ? disk / "below" : disk.GetPath(); }
    TempFolder const & GetDisk() const { return disk; }

    void Write(char const * name, std::string const & content) const {
        IO::File file(*this / name, IO::File::OnNotFound::Create);
        ASSERT_EQ(file.Open(IO::File::OpenMode::WriteOnlyEmpty), IO::NoError);
        ASSERT_EQ(file.WriteBin(content.data(), static_cast<unsigned int>(content.size()), nullptr),
                  IO::NoError);
        ASSERT_EQ(file.Close(), IO::NoError);
    }

    /// "(none)" when there is no such file.
    std::string Read(char const * name) const { return Read(*this / name); }
    static std::string Read(IO::Location const & location) {
        IO::File file(location, IO::File::OnNotFound::FailQuietly);
        if (file.Open(IO::File::OpenMode::ReadOnly) != IO::NoError)
            return "(none)";
        std::string content;
        char piece[997];
        unsigned int read = 0;
        do {
            read = 0;
            file.ReadBin(piece, sizeof piece, &read);
            content.append(piece, read);
        } while (read != 0);
        return content;
    }

private:
    TempFolder disk;
    IO::Location root;
    std::unique_ptr<DiskFixedVFS> system;
};

/// The fixture of tests that run on the disk and on what is mounted.
class OnEachPlace : public ::testing::TestWithParam<bool> {
protected:
    Place place{GetParam()};
};

inline std::string NamePlace(::testing::TestParamInfo<bool> const & info) {
    return info.param ? "Mounted" : "Disk";
}

} // namespace Tests
