#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/TreeEnumerator.h>

#include "Tests/Support/FileSystem/Place.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using IO::Folder;

namespace {

constexpr unsigned int Levels = 3000; // of which a third has a path that the system takes

/// A folder in the other, with a file of one byte in each, made step by step.
void MakeDeepTree(std::filesystem::path const & top) {
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
        EXPECT_EQ(walk.files, Levels);
        EXPECT_EQ(walk.read, Levels + 1) << "and through the link";
        EXPECT_EQ(walk.deepest, Levels + 1);
        EXPECT_EQ(root.Copy("top", "copy"), IO::NoError);
        unsigned int count = 0;
        unsigned long long size = 0;
        EXPECT_EQ(IO::fileSystem.CountFiles(place / "copy", &count), IO::NoError);
        EXPECT_EQ(count, Levels);
        EXPECT_EQ(IO::fileSystem.CountSize(place.GetRoot(), &size), IO::NoError);
        EXPECT_EQ(size, 2 * Levels);
        for (char const * name : {"top", "copy"})
            EXPECT_EQ(root.Delete(name, IO::DataSafety::KeepProtected), IO::NoError);
    }
    EXPECT_TRUE(std::filesystem::is_empty(place.GetPath()));
}
