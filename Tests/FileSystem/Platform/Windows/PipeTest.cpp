// What is no file of a disk is read to its own end, and never copied.

#include <Kestrel/FileSystem/Platform/FileCalls.h>

#include "Tests/Support/TempFolder.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <windows.h>

#include <Kestrel/Root/WindowsNames.h>

using namespace IO;

TEST(Pipe, IsReadToTheEndOfItsWriter) {
    HANDLE const server =
        ::CreateNamedPipeW(L"\\\\.\\pipe\\kestrel-pipe-test", PIPE_ACCESS_OUTBOUND,
                           PIPE_TYPE_BYTE | PIPE_WAIT, 1, 4096, 4096, 0, nullptr);
    ASSERT_NE(server, INVALID_HANDLE_VALUE);
    FileCalls & calls = GetPlatformFileCalls();
    FileHandle file;
    ASSERT_EQ(calls.CreateFile(PathText(u"\\\\.\\pipe\\kestrel-pipe-test"), FileAccess::Read,
                               FileShare::Read, FileDisposition::OpenExisting, 0, &file),
              0u);
    std::thread writer([server] {
        DWORD written;
        for (char const * part : {"first ", "second"})
            ::WriteFile(server, part, 6, &written, nullptr);
        ::CloseHandle(server);
    });
    char bytes[100];
    unsigned int read = 0;
    EXPECT_EQ(calls.ReadFile(file, bytes, sizeof(bytes), &read), 0u);
    EXPECT_EQ(std::string(bytes, read), "first second");
    EXPECT_EQ(calls.ReadFile(file, bytes, sizeof(bytes), &read), 0u);
    EXPECT_EQ(read, 0u);
    writer.join();
    EXPECT_EQ(calls.CloseHandle(file), 0u);
}

TEST(Pipe, IsNotCopied) {
    Tests::TempFolder const folder;
    FileCalls & calls = GetPlatformFileCalls();
    EXPECT_EQ(calls.CopyFile(PathText(u"\\\\.\\NUL"), folder.GetPortable("copy")),
              FileError::NotSupported);
    EXPECT_FALSE(std::filesystem::exists(folder / "copy"));
}
