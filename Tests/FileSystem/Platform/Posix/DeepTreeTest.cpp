#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/Platform/FileCalls.h>
#include <Kestrel/FileSystem/TreeEnumerator.h>

#include "Tests/Support/FileSystem/Place.h"

#include <algorithm>
#include <fcntl.h>
#include <fstream>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

using IO::Folder;

namespace {

constexpr unsigned int Levels = 3100; // of which a third has a path that the system takes

/// A folder in the other, with a file of one byte in each, made step by step.
void MakeDeepTree(std::filesystem::path const & top) {
    int links = 0;
    int folder = ::open(top.c_str(), O_RDONLY | O_DIRECTORY);
    for (unsigned int i = 0; i < Levels && folder >= 0; ++i) {
        int const file = ::openat(folder, "file", O_WRONLY | O_CREAT, 0600);
        EXPECT_EQ(::write(file, "x", 1), 1);
        ::close(file);
        ASSERT_EQ(::mkdirat(folder, "d", 0700), 0);
        int const next = ::openat(folder, "d", O_RDONLY | O_DIRECTORY);
        ::close(folder);
        folder = next;
    }
    ASSERT_GE(folder, 0);
    ASSERT_EQ(::symlinkat("../file", folder, "link"), 0);
    std::filesystem::path const aside = top.parent_path() / "aside";
    for (char const * const target : {"../d/./side", aside.c_str(), "../d", "../absent"})
        ASSERT_EQ(::symlinkat(target, folder, ("to" + std::to_string(links++)).c_str()), 0);
    // A folder of one file each that two of them lead to.
    ASSERT_EQ(::mkdirat(folder, "side", 0700), 0);
    int const file = ::openat(folder, "side/file", O_WRONLY | O_CREAT, 0600);
    ASSERT_EQ(::write(file, "x", 1), 1);
    ::close(file);
    std::filesystem::create_directory(aside);
    std::ofstream(aside / "file") << "x";
    ::close(folder);
}

/// Lets the process have few descriptors more than it has.
class FewDescriptors {
public:
    FewDescriptors() {
        ::getrlimit(RLIMIT_NOFILE, &before);
        rlimit few = before;
        int const next = ::dup(0);
        ::close(next);
        few.rlim_cur = static_cast<rlim_t>(next) + 150;
        ::setrlimit(RLIMIT_NOFILE, &few);
    }
    ~FewDescriptors() { ::setrlimit(RLIMIT_NOFILE, &before); }

private:
    rlimit before;
};

class Depth : public IO::TreeEnumerator {
public:
    using TreeEnumerator::TreeEnumerator;
    bool FileFound(IO::Name const & name) override {
        ++files;
        Read(name);
        return true;
    }
    bool LinkFound(IO::Name const & name) override {
        if (name != IO::Name("link"))
            return true;
        Read(name);
        return false;
    }
    void FolderEntered(IO::Name const &, Folder const &) override {
        deepest = std::max(deepest, ++depth);
    }
    void FolderExited(IO::Name const &, Folder const &) override { --depth; }

    unsigned int files = 0;
    unsigned int read = 0;
    unsigned int depth = 0;
    unsigned int deepest = 0;

private:
    void Read(IO::Name const & name) {
        char content = 0;
        unsigned long long length = 0;
        IO::File file(*GetParent(), name);
        EXPECT_EQ(file.GetDataLength(&length), IO::NoError) << depth;
        EXPECT_EQ(file.Open(IO::File::OpenMode::ReadOnly), IO::NoError) << depth;
        EXPECT_EQ(file.ReadBin(&content, 1, nullptr), IO::NoError) << depth;
        read += content == 'x' ? 1 : 0;
    }
};

} // namespace

TEST(DeepTree, IsWalkedCountedCopiedAndDeleted) {
    Tests::Place const place(false);
    std::filesystem::create_directory(place.GetPath() / "top");
    MakeDeepTree(place.GetPath() / "top");
    {
        FewDescriptors const few;
        Folder root(place.GetRoot());
        Depth walk(root);
        EXPECT_EQ(walk.Do(), IO::NoError);
        EXPECT_EQ(walk.files, Levels + 4) << "two of them by links to their folders, too";
        EXPECT_EQ(walk.read, Levels + 5) << "and through the link";
        EXPECT_EQ(walk.deepest, Levels + 2);
        EXPECT_EQ(root.Copy("top", "copy"), IO::NoError);
        unsigned int count = 0;
        unsigned long long size = 0;
        EXPECT_EQ(IO::fileSystem.CountFiles(place / "copy", &count), IO::NoError);
        EXPECT_EQ(count, Levels + 4) << "the one beside the links, and what three of them lead to";
        EXPECT_EQ(IO::fileSystem.CountSize(place.GetRoot(), &size), IO::NoError);
        EXPECT_EQ(size, 2 * (Levels + 4) + 1);
        IO::FileCalls & calls = IO::GetPlatformFileCalls();
        std::u16string deep = place.GetDisk().GetPortable("top");
        for (unsigned int i = 0; i < Levels; ++i)
            deep += i % 2 == 0 ? u"\\D" : u"/d/"; // as it is spelled or not
        std::pair<char16_t const *, unsigned int> const rows[] = {
            {u"link", 0},
            {u"SIDE\\\\File\\", 0},
            {u"absent", IO::FileError::FileNotFound},
            {u"absent\\file", IO::FileError::PathNotFound},
            {u"side\\file\\x", IO::FileError::PathNotFound},
            {u"side\\..", IO::FileError::InvalidName}};
        for (auto const & [name, error] : rows) {
            unsigned int attributes;
            std::u16string const path = deep + u"\\" + name;
            EXPECT_EQ(calls.GetFileAttributes(path, &attributes), error);
            EXPECT_EQ(calls.MoveFile(path, deep + u"\\to"),
                      error != 0 ? error : IO::FileError::NameTooLong);
        }
        for (char const * name : {"top", "copy", "aside"})
            EXPECT_EQ(root.Delete(name, IO::DataSafety::KeepProtected), IO::NoError);
    }
    EXPECT_TRUE(std::filesystem::is_empty(place.GetPath()));
}

// One far above is closed, and opened again where it is needed, if the one below still lies in it.
TEST(DeepTree, IsHeldAsLongAsItIsTheSame) {
    using IO::FileError::None;
    IO::FileCalls & calls = IO::GetPlatformFileCalls();
    for (bool const isMoved : {false, true}) {
        Tests::TempFolder const folder;
        std::vector<IO::FindHandle> held(100);
        ASSERT_EQ(calls.OpenFolder(folder.GetPortable(), IO::FolderUse::Base, &held[0]), None);
        for (std::size_t i = 1; i < held.size(); ++i) {
            auto const use = i % 2 == 0 ? IO::FolderUse::Base : IO::FolderUse::List;
            ASSERT_EQ(calls.CreateDirectory({held[i - 1], u"d"}), None);
            ASSERT_EQ(calls.OpenFolder({held[i - 1], u"d"}, use, &held[i]), None);
        }
        if (isMoved)
            std::filesystem::rename(folder / "d/d", folder / "aside");
        IO::FindData data;
        unsigned int const expected = isMoved ? IO::FileError::CantResolveName : None;
        EXPECT_EQ(calls.FindNextFile(held[1], &data), expected);
        EXPECT_EQ(calls.GetFileAttributes({held[0], u"d"}, &data.attributes), expected);
        EXPECT_EQ(calls.GetFileAttributes({held[60], u"D"}, &data.attributes), None);
        for (; !held.empty(); held.pop_back())
            EXPECT_EQ(calls.FindClose(held.back()), None);
    }
}
