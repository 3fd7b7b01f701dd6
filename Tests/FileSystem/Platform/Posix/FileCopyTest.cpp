#include <Kestrel/FileSystem/Platform/Posix/FileCopy.h>

#include <Kestrel/FileSystem/Platform/FileCallTypes.h>
#include <Kestrel/FileSystem/Platform/Posix/Descriptor.h>

#include "Tests/Support/TempFolder.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <string>
#include <sys/stat.h>

namespace {

using namespace IO;

std::string MakeContent(std::size_t size) {
    std::string content(size, 0);
    for (std::size_t i = 0; i < size; ++i)
        content[i] = static_cast<char>(i * 31 >> 5);
    return content;
}

} // namespace

TEST(FileCopy, DoesWithWhateverWayThereIs) {
    Tests::TempFolder folder;
    for (std::size_t const size : {0u, 1u, 65536u, 200001u}) {
        folder.Write("from", MakeContent(size));
        for (CopyWays const ways : {CopyWays{true, true}, CopyWays{false, true},
                                    CopyWays{true, false}, CopyWays{false, false}}) {
            Descriptor const from(::open((folder / "from").c_str(), O_RDONLY | O_CLOEXEC));
            Descriptor const to(
                ::open((folder / "to").c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
            EXPECT_EQ(CopyContent(from.Get(), to.Get(), ways), 0u);
            EXPECT_EQ(folder.Read("to"), MakeContent(size)) << ways.clone << ways.kernelCopy;
        }
    }
}

TEST(FileCopy, KeepsHoles) {
    Tests::TempFolder folder;
    Descriptor const from(
        ::open((folder / "from").c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    constexpr off_t size = 64 << 20;
    for (off_t const at : {off_t(1 << 20), off_t(40 << 20)})
        ASSERT_EQ(::pwrite(from.Get(), "data", 4, at), 4);
    ASSERT_EQ(::ftruncate(from.Get(), size), 0);
    for (bool const kernelCopy : {true, false}) {
        ASSERT_EQ(::lseek(from.Get(), 0, SEEK_SET), 0);
        Descriptor const to(
            ::open((folder / "to").c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
        EXPECT_EQ(CopyContent(from.Get(), to.Get(), {false, kernelCopy}), 0u);
        struct stat info;
        ASSERT_EQ(::fstat(to.Get(), &info), 0);
        EXPECT_LT(info.st_blocks * 512, size / 8);
        EXPECT_TRUE(folder.Read("from") == folder.Read("to"));
    }
}

// Files with a length of 0, and with one of 4096 whatever their content is.
TEST(FileCopy, ReadsWhatTheKernelGenerates) {
    Tests::TempFolder folder;
    for (char const * const path : {"/proc/version", "/sys/kernel/fscaps"}) {
        Descriptor const from(::open(path, O_RDONLY | O_CLOEXEC));
        if (!from.IsOpen())
            continue; // not every container has them
        Descriptor const to(
            ::open((folder / "to").c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
        EXPECT_EQ(CopyContent(from.Get(), to.Get()), 0u) << path;
        EXPECT_EQ(folder.Read("to"), folder.Read(path));
    }
}

TEST(FileCopy, TellsAFullDeviceAndABadSource) {
    Tests::TempFolder folder;
    folder.Write("from", "content");
    Descriptor const from(::open((folder / "from").c_str(), O_RDONLY | O_CLOEXEC));
    Descriptor const full(::open("/dev/full", O_WRONLY | O_CLOEXEC));
    Descriptor const sub(::open(folder.GetPath().c_str(), O_RDONLY | O_CLOEXEC));
    EXPECT_EQ(CopyContent(from.Get(), full.Get()), FileError::DiskFull);
    EXPECT_EQ(CopyContent(sub.Get(), full.Get()), FileError::AccessDenied);
}
