#include <Kestrel/FileSystem/Internal/WinFileEntry.h>

#include <Kestrel/FileSystem/Internal/FileTimes.h>

#include "Tests/Support/FileSystem/Connection.h"
#include "Tests/Support/FileSystem/ScriptedFileCalls.h"
#include "Tests/Support/TempFolder.h"

#include <gtest/gtest.h>

#include <climits>

using Entry = IO::FileEntry;

TEST(WinFileEntry, ReportsWhatWasReadBeforeAFailure) {
    Tests::TempFolder const folder;
    folder.Write("file", "0123456789");
    Tests::FileConnection const file(IO::Location(folder.GetPortable("file").c_str()));
    ASSERT_EQ(file->Open(Entry::OpenMode::Read), Entry::OpenStatus::Done);
    Tests::ScriptedFileCalls calls;
    calls.Fail(Tests::FileCall::ReadFile, 1, IO::FileError::ReadFault, false, 3);
    char bytes[9];
    unsigned int read = 0;
    EXPECT_EQ(file->Read(bytes, 9, &read), Entry::ReadStatus::ReadError);
    EXPECT_EQ(read, 3u);
    EXPECT_EQ(file->Read(bytes, 9, &read), Entry::ReadStatus::EndOfFile);
    EXPECT_EQ(read, 7u);
    EXPECT_EQ(file->SetDataLength(~0ull), Entry::LengthStatus::Other);
    unsigned int type = 1, creator = 1;
    EXPECT_EQ(file->SetTypeInfo(5, 6), Entry::TypeStatus::Done);
    EXPECT_EQ(file->GetTypeInfo(&type, &creator), Entry::TypeStatus::Done);
    EXPECT_EQ(type + creator, 0u);
    Mu::UniString locker;
    EXPECT_EQ(file->GetWriteLocker(&locker), Entry::LockerStatus::Unknown);
    EXPECT_EQ(file->Close(), Entry::CloseStatus::Done);
}

TEST(FileTimes, ConvertBetweenSecondsAndFileTimes) {
    constexpr unsigned long long epoch = 116444736000000000ull;
    EXPECT_EQ(IO::ToFileTime(0), epoch);
    EXPECT_EQ(IO::ToFileTime(-1), epoch - 10000000);
    EXPECT_EQ(IO::ToFileTime(INT_MAX), epoch + 21474836470000000ull);
    struct {
        unsigned long long fileTime;
        IO::FSEntry::TimeStatus status;
        int seconds;
    } const table[] = {
        {0, IO::FSEntry::TimeStatus::Done, 0},
        {epoch + 19999999, IO::FSEntry::TimeStatus::Done, 1},
        {epoch - 10000000, IO::FSEntry::TimeStatus::Done, -1},
        {IO::ToFileTime(INT_MAX) + 9999999, IO::FSEntry::TimeStatus::Done, INT_MAX},
        {IO::ToFileTime(INT_MAX) + 10000000, IO::FSEntry::TimeStatus::InvalidTime, 77},
        {1, IO::FSEntry::TimeStatus::InvalidTime, 77},
    };
    for (auto const & row : table) {
        int seconds = 77;
        EXPECT_EQ(IO::FromFileTime(row.fileTime, &seconds), row.status) << row.fileTime;
        EXPECT_EQ(seconds, row.seconds) << row.fileTime;
    }
}
