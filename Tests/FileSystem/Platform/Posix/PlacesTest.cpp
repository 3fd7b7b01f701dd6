#include <Kestrel/FileSystem/Platform/Posix/SpecialFolders.h>
#include <Kestrel/FileSystem/Platform/Posix/Volumes.h>

#include <Kestrel/FileSystem/Platform/FileCallTypes.h>

#include "Tests/Support/OwnProcess.h"
#include "Tests/Support/TempFolder.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace IO;

std::string Find(int folder) {
    BytePath path;
    return FindSpecialFolder(folder, &path) ? std::string(path.GetText()) : "none";
}

} // namespace

TEST(SpecialFolders, FollowTheEnvironment) {
    Tests::TempFolder home;
    std::string const root = home.GetPath();
    // No other test needs what these lead to.
    Tests::SetVariable("HOME", root);
    Tests::SetVariable("XDG_CONFIG_HOME", "");
    Tests::SetVariable("XDG_DATA_HOME", "relative/does/not/count");
    Tests::SetVariable("XDG_CONFIG_DIRS", "/first:/second");
    Tests::SetVariable("XDG_DATA_DIRS", "");
    EXPECT_EQ(Find(40), root);
    EXPECT_EQ(Find(26), root + "/.config");
    EXPECT_EQ(Find(28), root + "/.local/share");
    EXPECT_EQ(Find(35), "/first");
    EXPECT_EQ(Find(46), "/usr/local/share");
    EXPECT_EQ(Find(38), "/usr/lib");
    EXPECT_EQ(Find(5), root) << "no documents folder is told";
    EXPECT_EQ(Find(16), root + "/Desktop");
    EXPECT_EQ(Find(0), "none");
    std::filesystem::create_directory(home / ".config");
    home.Write(".config/user-dirs.dirs", "XDG_DESKTOP_DIR=\"$HOME/Schreibtisch\"\n"
                                         "XDG_DOCUMENTS_DIR=\"/srv/papers\"\n");
    EXPECT_EQ(Find(5), "/srv/papers");
    EXPECT_EQ(Find(16), root + "/Schreibtisch");
}

TEST(SpecialFolders, ReadTheUsersFile) {
    std::string const text = "# XDG_A_DIR=\"/no\"\n"
                             "  XDG_A_DIR=\"$HOME/a\"\n"
                             "XDG_B_DIR=\"relative\"\n"
                             "XDG_C_DIR=\"/unended\n"
                             "XDG_D_DIR=\"$HOME/\"\n"
                             "XDG_E_DIR=\"/last\"";
    BytePath path;
    EXPECT_TRUE(FindUserFolder(text, "XDG_A_DIR", "/home/k", &path));
    EXPECT_EQ(path.GetText(), "/home/k/a");
    EXPECT_FALSE(FindUserFolder(text, "XDG_B_DIR", "/home/k", &path));
    EXPECT_FALSE(FindUserFolder(text, "XDG_C_DIR", "/home/k", &path));
    EXPECT_TRUE(FindUserFolder(text, "XDG_D_DIR", "/home/k", &path));
    EXPECT_EQ(path.GetText(), "/home/k");
    EXPECT_TRUE(FindUserFolder(text, "XDG_E_DIR", "/home/k", &path));
    EXPECT_EQ(path.GetText(), "/last");
    EXPECT_FALSE(FindUserFolder("", "XDG_A_DIR", "/home/k", &path));
}

TEST(Volumes, ReadTheMountTable) {
    MountLine mount;
    EXPECT_TRUE(mount.Parse("36 35 98:0 /root /mnt\\040two rw,noatime master:1 shared:2 - nfs4 "
                            "host:/x rw"));
    EXPECT_EQ(mount.device, "98:0");
    EXPECT_EQ(mount.point, "/mnt\\040two");
    EXPECT_EQ(mount.fileSystem, "nfs4");
    EXPECT_TRUE(mount.Parse("1 1 0:5 / / rw - tmpfs none rw"));
    EXPECT_EQ(mount.fileSystem, "tmpfs");
    for (char const * const line : {"", "1 1 0:5 / / rw", "1 1 0:5 / / rw -", "    - x"})
        EXPECT_FALSE(mount.Parse(line)) << line;
    EXPECT_EQ(GetTypeOfFileSystem("cifs"), DriveType::Remote);
    EXPECT_EQ(GetTypeOfFileSystem("iso9660"), DriveType::CDRom);
    EXPECT_EQ(GetTypeOfFileSystem("ext4"), DriveType::Unknown);
    EXPECT_EQ(GetVolumeType("/does/not/exist"), DriveType::NoRoot);
    EXPECT_EQ(GetVolumeType("/dev/null"), DriveType::NoRoot);
    EXPECT_EQ(GetVolumeType("/proc"), DriveType::Fixed)
        << "what is on no device can't be taken out";
}
