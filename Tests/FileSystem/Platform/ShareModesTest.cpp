#include <Kestrel/FileSystem/Platform/FileCalls.h>

#include <Kestrel/FileSystem/NativePath.h>

#include "Tests/Support/OwnProcess.h"
#include "Tests/Support/TempFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

// Who may open a file while another has it open: the same table in one process and between two.

namespace {

using namespace IO;

struct Mode {
    unsigned int access;
    unsigned int share;
};

constexpr unsigned int Both = FileAccess::Read | FileAccess::Write;
constexpr unsigned int All = FileShare::Read | FileShare::Write;

// The open modes of FileEntry. Those that cut the file count as those that do not.
constexpr Mode modes[7] = {
    {FileAccess::Read, FileShare::Read},
    {FileAccess::Write, FileShare::None},
    {FileAccess::Write, FileShare::None},
    {Both, FileShare::None},
    {FileAccess::Read, All},
    {FileAccess::Write, FileShare::Read},
    {FileAccess::Write, FileShare::Read},
};

bool Truncates(unsigned int mode) {
    return mode == 2 || mode == 6;
}

unsigned int Open(std::u16string const & path, unsigned int mode, FileHandle * file) {
    return GetPlatformFileCalls().CreateFile(path, modes[mode].access, modes[mode].share,
                                             Truncates(mode) ? FileDisposition::TruncateExisting
                                                             : FileDisposition::OpenExisting,
                                             0, file);
}

unsigned int ToBits(unsigned int access) {
    return access >> 31 | (access >> 30 & 1) << 1;
}

// What the rule of the system says: each must allow what the other does.
bool MayShare(unsigned int first, unsigned int second) {
    Mode const & a = modes[first];
    Mode const & b = modes[second];
    return (ToBits(a.access) & ~b.share) == 0 && (ToBits(b.access) & ~a.share) == 0;
}

// The modes that this process can open the file in right now, one bit each.
unsigned int TryAllModes(std::u16string const & path) {
    unsigned int opened = 0;
    for (unsigned int mode = 0; mode < 7; ++mode) {
        FileHandle file;
        unsigned int const error = Open(path, mode, &file);
        if (error == FileError::None)
            opened |= 1u << mode;
        else
            EXPECT_EQ(error, FileError::SharingViolation) << mode;
        if (file != nullptr)
            GetPlatformFileCalls().CloseHandle(file);
    }
    return opened;
}

unsigned int ExpectedModes(unsigned int first) {
    unsigned int expected = 0;
    for (unsigned int mode = 0; mode < 7; ++mode)
        expected |= (MayShare(first, mode) ? 1u : 0u) << mode;
    return expected;
}

constexpr char FolderVariable[] = "KESTREL_TEST_SHARED_FOLDER";

std::u16string GetSharedFile() {
    char const * const folder = std::getenv(FolderVariable);
    if (folder == nullptr)
        return {};
    Mu::UniString const path = FromNativePath(std::filesystem::path(folder) / "x");
    return std::u16string(path.begin(), path.end());
}

// Runs this program once more, for one test of it, and returns its exit code.
int RunAgain(char const * test) {
    return Tests::RunAgain({"--gtest_also_run_disabled_tests", "--gtest_brief=1",
                            std::string("--gtest_filter=") + test});
}

} // namespace

TEST(ShareModes, KeepAnOpenFileWhereItIs) {
    Tests::TempFolder folder;
    FileCalls & calls = GetPlatformFileCalls();
    for (unsigned int mode = 0; mode < 7; ++mode) {
        SCOPED_TRACE(mode);
        folder.Write("x", "content");
        FileHandle file;
        ASSERT_EQ(Open(folder.GetPortable("x"), mode, &file), 0u);
        EXPECT_EQ(calls.DeleteFile(folder.GetPortable("x")), FileError::SharingViolation);
        EXPECT_EQ(calls.MoveFile(folder.GetPortable("x"), folder.GetPortable("y")),
                  FileError::SharingViolation);
        unsigned int const copied =
            calls.CopyFile(folder.GetPortable("x"), folder.GetPortable("copy"));
        bool const mayCopy = modes[mode].share != FileShare::None;
        EXPECT_EQ(copied, mayCopy ? FileError::None : FileError::SharingViolation);
        EXPECT_EQ(calls.CloseHandle(file), 0u);
        EXPECT_EQ(calls.MoveFile(folder.GetPortable("x"), folder.GetPortable("y")), 0u);
        EXPECT_EQ(calls.DeleteFile(folder.GetPortable("y")), 0u);
        if (copied == FileError::None) {
            EXPECT_EQ(calls.DeleteFile(folder.GetPortable("copy")), 0u);
        }
    }
}

TEST(ShareModes, HoldBetweenProcesses) {
    Tests::TempFolder folder;
    folder.Write("x", "content");
    Tests::SetVariable(FolderVariable, folder.GetPath().string());
    for (unsigned int first = 0; first < 7; ++first) {
        FileHandle file;
        ASSERT_EQ(Open(folder.GetPortable("x"), first, &file), 0u);
        EXPECT_EQ(RunAgain("SharedFolder.DISABLED_TriesAllModes"),
                  static_cast<int>(ExpectedModes(first)))
            << first;
        if (first == 0) {
            EXPECT_EQ(folder.Read("x"), "content") << "who is refused cuts nothing";
        }
        EXPECT_EQ(GetPlatformFileCalls().CloseHandle(file), 0u);
    }
    FileHandle file;
    folder.Write("x", "content");
    ASSERT_EQ(Open(folder.GetPortable("x"), 4, &file), 0u);
    EXPECT_EQ(RunAgain("SharedFolder.DISABLED_DeletesTheFile"), 32);
    EXPECT_EQ(GetPlatformFileCalls().CloseHandle(file), 0u);
    EXPECT_EQ(RunAgain("SharedFolder.DISABLED_DeletesTheFile"), 0);
    EXPECT_FALSE(std::filesystem::exists(folder / "x"));
}

// The other process of the test above; run by hand they have no folder, and do nothing.

TEST(SharedFolder, DISABLED_TriesAllModes) {
    if (GetSharedFile().empty())
        GTEST_SKIP() << "runs only as the second process of another test";
    std::_Exit(static_cast<int>(TryAllModes(GetSharedFile())));
}

TEST(SharedFolder, DISABLED_DeletesTheFile) {
    if (GetSharedFile().empty())
        GTEST_SKIP() << "runs only as the second process of another test";
    std::_Exit(static_cast<int>(GetPlatformFileCalls().DeleteFile(GetSharedFile())));
}
