#include <Kestrel/FileSystem/Platform/FileCalls.h>

#include "Tests/Support/TempFolder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>

// What each call does on the real system, the same on both platforms.

namespace {

using namespace IO;
using Tests::TempFolder;
namespace fs = std::filesystem;

constexpr unsigned int ReadWrite = FileAccess::Read | FileAccess::Write;

class FileCallsTest : public ::testing::Test {
protected:
    FileCalls & calls = GetPlatformFileCalls();
    TempFolder folder;

    std::u16string Path(std::string const & name) const { return folder.GetPortable(name); }

    /// Opens, expects success, and closes at the end of the test.
    FileHandle Open(std::string const & name, unsigned int access = ReadWrite,
                    unsigned int disposition = FileDisposition::OpenExisting) {
        FileHandle file;
        unsigned int const share = access == FileAccess::Read ? FileShare::Read | FileShare::Write
                                   : access == ReadWrite      ? FileShare::None
                                                              : FileShare::Read;
        EXPECT_EQ(calls.CreateFile(Path(name), access, share, disposition, 0, &file), 0u) << name;
        opened.push_back(file);
        return file;
    }

    unsigned int TryOpen(std::string const & name, unsigned int disposition,
                         unsigned int attributes = FileAttribute::Normal,
                         unsigned int access = ReadWrite) {
        FileHandle file;
        unsigned int const error =
            calls.CreateFile(Path(name), access, FileShare::None, disposition, attributes, &file);
        EXPECT_EQ(file != nullptr, error == FileError::None);
        if (file != nullptr) {
            EXPECT_EQ(calls.CloseHandle(file), 0u);
        }
        return error;
    }

    unsigned int GetAttributes(std::string const & name) {
        unsigned int attributes = 99;
        unsigned int const error = calls.GetFileAttributes(Path(name), &attributes);
        return error == FileError::None ? attributes : 1000000 + error;
    }

    FindData Find(std::string const & name) {
        FindData data = {};
        EXPECT_EQ(calls.FindFirstFile(Path(name), &data), 0u) << name;
        return data;
    }

    void TearDown() override {
        for (FileHandle const file : opened)
            calls.CloseHandle(file);
    }

    std::vector<FileHandle> opened;
};

} // namespace

TEST_F(FileCallsTest, CreatesAndOpensByDisposition) {
    struct {
        unsigned int disposition;
        unsigned int created; // the error where there is none,
        unsigned int opened;  // and where there is one
        bool truncates;
    } const rows[] = {
        {FileDisposition::CreateNew, FileError::None, FileError::FileExists, false},
        {FileDisposition::OpenExisting, FileError::FileNotFound, FileError::None, false},
        {FileDisposition::TruncateExisting, FileError::FileNotFound, FileError::None, true},
        {FileDisposition::OpenAlways, FileError::None, FileError::AlreadyExists, false},
        {FileDisposition::CreateAlways, FileError::None, FileError::AlreadyExists, true},
    };
    for (auto const & row : rows) {
        SCOPED_TRACE(row.disposition);
        EXPECT_EQ(TryOpen("x", row.disposition), row.created);
        folder.Write("x", "content");
        FileHandle file;
        unsigned int const error =
            calls.CreateFile(Path("X"), ReadWrite, FileShare::None, row.disposition, 0, &file);
        EXPECT_EQ(file != nullptr, row.opened != FileError::FileExists);
        EXPECT_TRUE(error == row.opened || (file != nullptr && error == FileError::None)) << error;
        if (file != nullptr) {
            EXPECT_EQ(calls.CloseHandle(file), 0u);
        }
        EXPECT_EQ(folder.Read("x"), row.truncates ? "" : "content");
        fs::remove(folder / "x");
    }
    EXPECT_EQ(TryOpen("none\\x", FileDisposition::CreateNew), FileError::PathNotFound);
    EXPECT_EQ(TryOpen("x", 0), FileError::InvalidParameter);
    EXPECT_EQ(TryOpen("x", 6), FileError::InvalidParameter);
    EXPECT_EQ(TryOpen("new", FileDisposition::CreateNew, FileAttribute::ReadOnly, FileAccess::None),
              FileError::None);
    EXPECT_EQ(GetAttributes("new") & FileAttribute::ReadOnly, FileAttribute::ReadOnly);
}

TEST_F(FileCallsTest, OpensFilesInAFolderThatIsHeldOpen) {
    fs::create_directory(folder / "sub");
    FindHandle held;
    ASSERT_EQ(calls.OpenFolder(Path("sub"), FolderUse::Base, &held), 0u);
    auto const open = [&](PathText name, unsigned int disposition) {
        FileHandle file;
        unsigned int const error = calls.CreateFile({held, name}, FileAccess::Write,
                                                    FileShare::None, disposition, 0, &file);
        EXPECT_EQ(file != nullptr, error == FileError::None);
        return file == nullptr ? error : calls.CloseHandle(file);
    };
    EXPECT_EQ(open(u"a", FileDisposition::OpenExisting), FileError::FileNotFound);
    EXPECT_EQ(open(u"a", FileDisposition::CreateNew), 0u);
    EXPECT_EQ(open(u"A", FileDisposition::CreateNew), FileError::FileExists);
    folder.Write("sub/a", "content");
    EXPECT_EQ(open(u"A", FileDisposition::OpenExisting), 0u);
    EXPECT_EQ(folder.Read("sub/a"), "content");
    EXPECT_EQ(open(u"a", FileDisposition::TruncateExisting), 0u);
    EXPECT_EQ(folder.Read("sub/a"), "");
    for (PathText const name : {u"..", u".", u"", u"a\\b", u"..\\sub\\a"})
        EXPECT_EQ(open(name, FileDisposition::CreateAlways), FileError::InvalidName);
    std::error_code failure;
    fs::create_symlink(folder / "sub/a", folder / "sub/link", failure);
    if (!failure) {
        EXPECT_EQ(open(u"link", FileDisposition::TruncateExisting), FileError::CantResolveName);
    }
    EXPECT_EQ(calls.FindClose(held), 0u);
}

TEST_F(FileCallsTest, RefusesWhatTheHandleWasNotOpenedFor) {
    folder.Write("x", "content");
    unsigned int count = 99;
    char text[4];
    FileHandle const reader = Open("x", FileAccess::Read);
    EXPECT_EQ(calls.WriteFile(reader, "a", 1, &count), FileError::AccessDenied);
    EXPECT_EQ(count, 0u);
    unsigned long long number = 0;
    EXPECT_NE(calls.SetEndOfFile(reader), 0u);
    EXPECT_EQ(calls.SetFilePointerEx(reader, -1, &number, 0), FileError::NegativeSeek);
    EXPECT_EQ(calls.SetFilePointerEx(reader, 0, &number, 3), FileError::InvalidParameter);
    EXPECT_EQ(calls.SetFilePointerEx(reader, -3, &number, 2), 0u);
    EXPECT_EQ(number, 4u);
    folder.Write("y", "content");
    fs::permissions(folder / "y", fs::perms::owner_write);
    EXPECT_EQ(TryOpen("y", FileDisposition::OpenExisting, 0, FileAccess::Write), 0u);
    FileHandle const writer = Open("y", FileAccess::Write);
    EXPECT_EQ(calls.ReadFile(writer, text, 4, &count), FileError::AccessDenied);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(folder.Read("x"), "content");
}

TEST_F(FileCallsTest, SetsTimesOneByOne) {
    folder.Write("file", "x");
    fs::create_directory(folder / "sub");
    for (char const * const name : {"file", "sub"}) {
        unsigned long long const creation = 126000000000000000 + 1230000000;
        unsigned long long const lastWrite = 127000000000000000 + 4560000000;
        FileHandle file;
        ASSERT_EQ(calls.CreateFile(Path(name), FileAccess::Write, FileShare::None,
                                   FileDisposition::OpenExisting, FileFlagBackupSemantics, &file),
                  0u);
        unsigned int const error = calls.SetFileTime(file, &creation, nullptr);
        EXPECT_EQ(calls.SetFileTime(file, nullptr, &lastWrite), 0u);
        EXPECT_EQ(calls.CloseHandle(file), 0u);
        EXPECT_EQ(Find(name).lastWriteTime, lastWrite) << name;
        if (error == FileError::NotSupported)
            GTEST_SKIP() << "the file system of the temporary folder keeps no extended attributes";
        EXPECT_EQ(error, 0u);
#if defined(_WIN32)
        if (Find(name).creationTime == lastWrite)
            GTEST_SKIP() << "Wine tells the time of the last write as that of the creation";
#endif
        EXPECT_EQ(Find(name).creationTime, creation) << name;
    }
}

TEST_F(FileCallsTest, CopiesTimesAndProtection) {
    folder.Write("a", std::string(300000, 'c'));
    fs::last_write_time(folder / "a", fs::file_time_type::clock::now() - std::chrono::hours(99));
    EXPECT_EQ(calls.SetFileAttributes(Path("a"), FileAttribute::ReadOnly), 0u);
    EXPECT_EQ(calls.CopyFile(Path("a"), Path("c")), 0u);
    EXPECT_EQ(Find("c").size, 300000u);
    EXPECT_EQ(Find("c").GetName(), u"c");
    EXPECT_EQ(Find("c").lastWriteTime, Find("a").lastWriteTime);
    EXPECT_EQ(GetAttributes("c") & FileAttribute::ReadOnly, FileAttribute::ReadOnly);
    EXPECT_EQ(calls.CopyFile(Path("none"), Path("d")), FileError::FileNotFound);
    EXPECT_EQ(calls.CopyFile(Path("a"), Path("none\\d")), FileError::PathNotFound);
}

TEST_F(FileCallsTest, LetsAnEntryChangeTheSpellingOfItsName) {
    folder.Write("other", "y");
    EXPECT_EQ(calls.MoveFile(Path("other"), Path("Other")), 0u);
#if !defined(_WIN32) // Wine takes the two for one path and does nothing
    EXPECT_EQ(Find("other").GetName(), u"Other");
#endif
}

TEST_F(FileCallsTest, FitsAPlaceIntoItsBufferOrSaysSo) {
    for (auto const call : {&FileCalls::GetCurrentDirectory, &FileCalls::GetModuleFileName,
                            &FileCalls::GetTempPath}) {
        char16_t units[1024];
        std::fill_n(units, 1024, u'x');
        TextBuffer whole{units, 1024, 0};
        EXPECT_EQ((calls.*call)(&whole), 0u);
        EXPECT_EQ(std::u16string(units), whole.GetText());
        TextBuffer small{units, whole.length, 0};
        EXPECT_EQ((calls.*call)(&small), FileError::MoreData);
    }
}

TEST_F(FileCallsTest, TellsErrorsInWords) {
    char text[256];
    for (unsigned int const error : {2u, 3u, 5u, 17u, 32u, 80u, 112u, 145u, 183u}) {
        EXPECT_NE(calls.FormatMessage(error, text, sizeof(text)), 0u) << error;
        EXPECT_NE(text[0], 0);
    }
    EXPECT_EQ(calls.FormatMessage(0x1FFFFFFF, text, sizeof(text)), 0u);
    calls.SetLastError(7);
    EXPECT_EQ(calls.GetLastError(), 7u);
    unsigned int const before = calls.SetErrorMode(ErrorModeMark::NoDialogs);
    EXPECT_EQ(calls.SetErrorMode(before), ErrorModeMark::NoDialogs);
}

TEST_F(FileCallsTest, RefusesPathsThatLeadNowhere) {
    unsigned int attributes = 0;
    for (std::u16string const & path :
         {std::u16string(), std::u16string(u"Q:\\a"), std::u16string(5000, u'x'),
          u"C:\\" + std::u16string(5000, u'x'), std::u16string(u"C:\\a\0b", 6)}) {
        EXPECT_NE(calls.GetFileAttributes(path, &attributes), 0u);
        EXPECT_EQ(attributes, 0u);
        EXPECT_NE(calls.CreateDirectory(path), 0u);
        EXPECT_NE(calls.MoveFile(path, Path("x")), 0u);
        EXPECT_NE(calls.CopyFile(path, Path("x")), 0u);
        EXPECT_NE(calls.DeleteFile(path), 0u);
    }
    for (int unit = 1; unit < 32; ++unit) {
        char16_t const name[] = {static_cast<char16_t>(unit), 0};
        EXPECT_NE(calls.GetFileAttributes(Path("") + name, &attributes), 0u);
    }
    EXPECT_TRUE(fs::is_empty(folder.GetPath()));
}
