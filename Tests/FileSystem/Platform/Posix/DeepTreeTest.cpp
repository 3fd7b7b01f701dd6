#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/TreeEnumerator.h>

#include "Tests/Support/FileSystem/Place.h"

#include <algorithm>
#include <fcntl.h>
#include <fstream>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using IO::Folder;

namespace {

constexpr unsigned int Levels = 3000; // of which a third has a path that the system takes

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
        for (char const * name : {"top", "copy", "aside"})
            EXPECT_EQ(root.Delete(name, IO::DataSafety::KeepProtected), IO::NoError);
    }
    EXPECT_TRUE(std::filesystem::is_empty(place.GetPath()));
}
