#include "Tests/Support/FileSystem/ScriptedFileCalls.h"

#include <Kestrel/Location/Internal/OSErrors.h>

#include "Tests/Support/TempFolder.h"

#include <gtest/gtest.h>

namespace {

using namespace IO;
using Tests::FileCall;
using Tests::ScriptedFileCalls;
using Tests::TempFolder;

FileHandle OpenNew(std::u16string const & path) {
    FileHandle file;
    EXPECT_EQ(GetFileCalls().CreateFile(path, FileAccess::Read | FileAccess::Write, FileShare::None,
                                        FileDisposition::CreateNew, 0, &file),
              0u);
    return file;
}

} // namespace

TEST(ScriptedFileCalls, FailTheCallThatWasNamed) {
    TempFolder folder;
    ScriptedFileCalls calls;
    unsigned int attributes;
    calls.Fail(FileCall::GetFileAttributes, 2, 33);
    EXPECT_EQ(GetFileCalls().GetFileAttributes(folder.GetPortable(), &attributes), 0u);
    EXPECT_EQ(GetFileCalls().CreateDirectory(folder.GetPortable("x")), 0u);
    EXPECT_FALSE(calls.Clear());
    calls.Fail(FileCall::GetFileAttributes, 2, 33);
    EXPECT_EQ(GetFileCalls().GetFileAttributes(folder.GetPortable(), &attributes), 0u);
    EXPECT_EQ(GetFileCalls().GetFileAttributes(folder.GetPortable(), &attributes), 33u);
    EXPECT_EQ(GetFileCalls().GetFileAttributes(folder.GetPortable(), &attributes), 0u);
    EXPECT_TRUE(calls.Clear());
    calls.Fail(FileCall::Any, 1, 5, true);
    EXPECT_EQ(GetFileCalls().CreateDirectory(folder.GetPortable("y")), 5u);
    EXPECT_EQ(GetFileCalls().RemoveDirectory(folder.GetPortable("x")), 5u);
    EXPECT_TRUE(calls.Clear());
    EXPECT_EQ(calls.Count(FileCall::GetFileAttributes), 4u);
    EXPECT_EQ(calls.Count(FileCall::Any), 7u);
    ClearOSErrors();
}

TEST(ScriptedFileCalls, MoveSomeBytesFirst) {
    TempFolder folder;
    ScriptedFileCalls calls;
    FileHandle const file = OpenNew(folder.GetPortable("x"));
    EXPECT_EQ(calls.CountOpen(), 1);
    unsigned int count = 0;
    calls.Fail(FileCall::WriteFile, 1, FileError::DiskFull, false, 3);
    EXPECT_EQ(GetFileCalls().WriteFile(file, "abcdef", 6, &count), FileError::DiskFull);
    EXPECT_EQ(count, 3u);
    EXPECT_EQ(GetFileCalls().SetFilePointerEx(file, 0, nullptr, 0), 0u);
    calls.Fail(FileCall::ReadFile, 1, 0, false, 2);
    char text[8];
    EXPECT_EQ(GetFileCalls().ReadFile(file, text, 8, &count), 0u);
    EXPECT_EQ(std::string(text, count), "ab");
    calls.Fail(FileCall::CloseHandle, 1, FileError::WriteFault);
    EXPECT_EQ(GetFileCalls().CloseHandle(file), FileError::WriteFault);
    EXPECT_EQ(calls.CountOpen(), 0) << "closed all the same";
    EXPECT_EQ(folder.Read("x"), "abc");
    ClearOSErrors();
}

TEST(ScriptedFileCalls, AreSweptUntilNoneFails) {
    unsigned int rounds = 0;
    unsigned int whole = 0;
    SweepFileCalls([&](bool) {
        TempFolder folder;
        ++rounds;
        FileHandle file;
        unsigned int count = 0;
        FileCalls & calls = GetFileCalls();
        if (calls.CreateFile(folder.GetPortable("x"), FileAccess::Write, FileShare::None,
                             FileDisposition::CreateNew, 0, &file) != 0)
            return;
        bool const isWritten = calls.WriteFile(file, "abc", 3, &count) == 0;
        if (calls.CloseHandle(file) == 0 && isWritten)
            ++whole;
        ClearOSErrors();
    });
    // Three calls, fifteen numbers, once and onwards, and the rounds that meet nothing.
    EXPECT_GE(rounds, 3u * 15 * 2);
    EXPECT_GE(whole, 2u);
    EXPECT_LT(whole, rounds / 2);
    ClearOSErrors();
}
