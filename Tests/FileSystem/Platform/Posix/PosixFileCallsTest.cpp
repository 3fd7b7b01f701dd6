#include <Kestrel/FileSystem/Platform/Posix/PosixFileCalls.h>

#include <Kestrel/FileSystem/NativePath.h>

#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/Folder.h>

#include "Tests/Support/FileSystem/SystemCallCount.h"
#include "Tests/Support/TempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fcntl.h>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>

// What only the Linux side has: links of the system, bytes that are no text, and its costs.

namespace {

using namespace IO;
using Tests::CountSystemCalls;
using Tests::TempFolder;
namespace fs = std::filesystem;

FileCalls & Calls() {
    return GetPlatformFileCalls();
}

std::u16string ReadLink(std::u16string const & path) {
    char16_t units[1024];
    TextBuffer target{units, 1024, 0};
    EXPECT_EQ(Calls().ReadShellLink(path, &target), LinkStatus::Done);
    return std::u16string(target.GetText());
}

} // namespace

TEST(PosixFileCalls, FollowLinksOneStep) {
    TempFolder folder;
    fs::create_directories(folder / "a/b");
    folder.Write("a/file", "x");
    std::tuple<char const *, std::string, char const *> const links[] = {
        {"a/near", "file", "a/file"},
        {"a/b/up", "..//./file", "a/file"},
        {"chain", folder / "a/near", "a/near"},
        {"broken", "gone/../missing", "missing"},
        {"loop1", "loop2", "loop2"},
        {"loop2", "loop1", "loop1"},
        {"dir", "a", "a"},
        {"deep", "a/b/", "a/b"},
        {"dir/by", "../deep/../file", "a/file"}, // as the system goes, not as the text reads
        {"a/above", "b/..", "a"},
    };
    for (auto const & [link, text, target] : links)
        fs::create_symlink(text, folder / link);
    for (auto const & [link, text, target] : links)
        EXPECT_EQ(ReadLink(folder.GetPortable(link)), folder.GetPortable(target)) << link;
    fs::create_symlink("/none/../../absent", folder / "outside");
    fs::create_symlink("/none/..", folder / "root");
    EXPECT_EQ(ReadLink(folder.GetPortable("OUTSIDE")), u"C:\\absent");
    EXPECT_EQ(ReadLink(folder.GetPortable("root")), u"C:\\");
    if (fs::is_symlink("/bin") && fs::read_symlink("/bin") == "usr/bin") {
        EXPECT_EQ(ReadLink(u"C:\\bin"), u"C:\\usr\\bin");
    }
    unsigned int attributes = 0;
    EXPECT_EQ(Calls().GetFileAttributes(folder.GetPortable("dir"), &attributes), 0u);
    EXPECT_EQ(attributes, FileAttribute::Link);
    EXPECT_EQ(Calls().RemoveDirectory(folder.GetPortable("dir")), FileError::Directory);
    EXPECT_EQ(Calls().DeleteFile(folder.GetPortable("dir")), 0u);
    EXPECT_EQ(folder.Read("a/file"), "x");
}

TEST(PosixFileCalls, UnprotectForTheOwner) {
    TempFolder folder;
    folder.Write("x", "");
    fs::permissions(folder / "x", fs::perms(0640));
    std::u16string const path = folder.GetPortable("x");
    EXPECT_EQ(Calls().SetFileAttributes(path, FileAttribute::Normal), 0u);
    EXPECT_EQ(fs::status(folder / "x").permissions(), fs::perms(0640))
        << "what may be written stays as it is";
    EXPECT_EQ(Calls().SetFileAttributes(path, FileAttribute::ReadOnly), 0u);
    EXPECT_EQ(Calls().SetFileAttributes(path, FileAttribute::Normal), 0u);
    EXPECT_EQ(fs::status(folder / "x").permissions(), fs::perms(0640));
    // What a foreign group may do is not given to our own.
    EXPECT_EQ(Calls().CreateFileLike(folder.GetPortable("like"), u"C:\\etc\\passwd"), 0u);
    EXPECT_EQ(fs::status(folder / "like").permissions(), fs::perms(::geteuid() == 0 ? 0644 : 0604));
}

TEST(PosixFileCalls, NeitherHangOnAPipeNorCopyIt) {
    TempFolder folder;
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    FileHandle file;
    for (unsigned int const access : {FileAccess::Write, FileAccess::Read})
        ASSERT_EQ(Calls().CreateFile(folder.GetPortable("pipe"), access, FileShare::Read,
                                     FileDisposition::OpenExisting, 0, &file),
                  access == FileAccess::Read ? FileError::None : FileError::NotSupported);
    char byte;
    unsigned int count = 99;
    EXPECT_EQ(Calls().ReadFile(file, &byte, 1, &count), FileError::NotReady);
    EXPECT_EQ(count, 0u);
    {
        std::ofstream writer(folder / "pipe");
        writer << 'x' << std::flush;
        EXPECT_EQ(Calls().ReadFile(file, &byte, 1, &count), 0u);
        EXPECT_EQ(byte, 'x');
    }
    EXPECT_EQ(Calls().ReadFile(file, &byte, 1, &count), 0u) << "the writer has gone";
    EXPECT_EQ(count, 0u);
    unsigned long long const time = 126000000000000000;
    EXPECT_EQ(Calls().SetEndOfFile(file), FileError::AccessDenied);
    EXPECT_EQ(Calls().SetFileTime(file, nullptr, &time), FileError::AccessDenied);
    EXPECT_EQ(Calls().FlushFileBuffers(file), 0u);
    EXPECT_EQ(Calls().CloseHandle(file), 0u);
    EXPECT_EQ(Calls().CopyFile(folder.GetPortable("pipe"), folder.GetPortable("copy")),
              FileError::NotSupported);
    EXPECT_FALSE(fs::exists(folder / "copy"));
    ASSERT_EQ(Calls().CreateFile(PathText(u"C:\\dev\\full"), FileAccess::Write, FileShare::None,
                                 FileDisposition::OpenExisting, 0, &file),
              0u);
    EXPECT_EQ(Calls().WriteFile(file, "x", 1, &count), FileError::DiskFull);
    EXPECT_EQ(Calls().SetEndOfFile(file), FileError::InvalidParameter);
    EXPECT_EQ(Calls().CloseHandle(file), 0u);
}

TEST(PosixFileCalls, OpenWhatADescriptorIsNamedBy) {
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    ASSERT_EQ(::write(ends[1], "piped", 5), 5);
    ::close(ends[1]);
    File file{Location(fs::path("/dev/fd/" + std::to_string(ends[0])))};
    ASSERT_EQ(file.Open(File::OpenMode::ReadOnly), IO::NoError);
    char bytes[9] = {};
    unsigned int read = 0;
    EXPECT_EQ(file.ReadBin(bytes, 9, &read), IO::EOI);
    EXPECT_STREQ(bytes, "piped");
    ::close(ends[0]);
}

TEST(PosixFileCalls, OpenNoFileThatIsDeletedWhileTheyOpenIt) {
    TempFolder folder;
    folder.Write("x", "");
    FileHandle file;
    std::string const path = folder / "x";
    // The other deletes between the opening and the lock; a file without a name stands for that.
    int const held = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
    std::string const nameless = "/proc/self/fd/" + std::to_string(held);
    fs::remove(path);
    EXPECT_EQ(Calls().CreateFile(u"C:" + std::u16string(nameless.begin(), nameless.end()),
                                 FileAccess::Write, FileShare::None, FileDisposition::OpenExisting,
                                 0, &file),
              FileError::FileNotFound);
    ::close(held);
}

TEST(PosixFileCalls, KnowTheirDrives) {
    TempFolder folder;
    fs::create_directory(folder / "d");
    PosixFileCalls calls("D=" + (folder / "d").string() +
                         ";E=/does/not/exist;\\\\h\\s=" + (folder / "d").string());
    char16_t units[64];
    TextBuffer text{units, 64, 0};
    EXPECT_EQ(calls.GetLogicalDriveStrings(&text), 0u);
    EXPECT_EQ(text.GetText(), (PathText(u"C:\\\0D:\\\0E:\\\0", 12)));
    EXPECT_EQ(calls.CreateDirectory(u"D:\\x"), 0u);
    EXPECT_TRUE(fs::is_directory(folder / "d/x"));
    EXPECT_EQ(calls.CreateDirectory(u"\\\\H\\S\\X"), FileError::AlreadyExists);
    EXPECT_EQ(calls.CreateDirectory(u"D:\\"), FileError::AlreadyExists);
    EXPECT_EQ(calls.CreateDirectory(u"E:\\x"), FileError::PathNotFound);
    EXPECT_EQ(calls.GetDriveType(u"E:\\"), DriveType::NoRoot);
    EXPECT_EQ(calls.GetVolumeInformation(u"E:\\"), FileError::PathNotFound);
    EXPECT_EQ(calls.GetVolumeInformation(u"D:\\"), 0u);
    TextBuffer few{units, 8, 0};
    EXPECT_EQ(calls.GetLogicalDriveStrings(&few), FileError::MoreData);
}

// The numbers that the speed stands on. Raw opening and closing is two calls.
TEST(PosixFileCalls, MakeFewSystemCalls) {
    TempFolder folder;
    folder.Write("x", "");
    std::u16string const path = folder.GetPortable("x");
    unsigned int attributes;
    EXPECT_EQ(Calls().GetFileAttributes(path, &attributes), 0u); // what is made once is made now
    auto const openAndClose = [&](unsigned int access, unsigned int share) {
        return CountSystemCalls([&] {
            FileHandle file;
            (void)Calls().CreateFile(path, access, share, FileDisposition::OpenExisting, 0, &file);
            (void)Calls().CloseHandle(file);
        });
    };
    long long const look =
        CountSystemCalls([&] { (void)Calls().GetFileAttributes(path, &attributes); });
    if (look < 0)
        GTEST_SKIP() << "system calls cannot be counted here";
    EXPECT_EQ(look, 1);
    EXPECT_EQ(openAndClose(FileAccess::Read, FileShare::Read), 3) << "open, lock, close";
    EXPECT_EQ(openAndClose(FileAccess::Read, FileShare::Read | FileShare::Write), 3);
    EXPECT_EQ(openAndClose(FileAccess::Write, FileShare::None), 4) << "and a look at its mode";
    EXPECT_EQ(openAndClose(FileAccess::Write, FileShare::Read), 5) << "and a second lock";
    EXPECT_EQ(CountSystemCalls([&] {
                  FindData data;
                  (void)Calls().FindFirstFile(path, &data);
              }),
              2);
    Folder place{Location(folder.GetPortable().c_str())};
    auto const live = [&] {
        {
            File file(place, "made", File::OnNotFound::Create);
            (void)file.Open(File::OpenMode::WriteOnlyEmpty);
            (void)file.WriteBin("x", 1, nullptr);
        }
        (void)place.Delete("made");
    };
    long long least = 100; // of three, since the names of a folder are read again after a second
    for (int round = 0; round < 3; ++round) {
        live();
        least = std::min(least, CountSystemCalls(live));
    }
    EXPECT_EQ(least, 19) << "a whole life; four are raw";
}
