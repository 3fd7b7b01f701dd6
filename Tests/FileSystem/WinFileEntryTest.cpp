#include <Kestrel/FileSystem/Internal/WinFileEntry.h>

#include <Kestrel/FileSystem/Internal/FileTimes.h>

#include "Tests/Support/FileSystem/Connection.h"
#include "Tests/Support/FileSystem/ScriptedFileCalls.h"
#include "Tests/Support/TempFolder.h"

#include <gtest/gtest.h>

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
    unsigned long long position = 0;
    EXPECT_EQ(file->Seek(Entry::SeekOrigin::Current, 0, &position), Entry::SeekStatus::Other);
    EXPECT_EQ(file->Flush(), Entry::WriteStatus::WriteError);
    EXPECT_EQ(file->Close(), Entry::CloseStatus::Other) << "closed, and no other is taken for it";
}

TEST(FileTimes, ConvertBetweenSecondsAndFileTimes) {
    constexpr unsigned long long epoch = 116444736000000000;
    constexpr long long longest = 0x7FFFFFFF;
    int seconds = 77;
    for (long long const second :
         {-longest - 2, -longest - 1, -1ll, 0ll, 1ll, longest, longest + 1})
        for (unsigned int const part : {0u, 9999999u}) {
            bool const fits = second == static_cast<int>(second);
            unsigned long long const whole =
                epoch + static_cast<unsigned long long>(second * 10000000);
            seconds = 77;
            EXPECT_EQ(IO::FromFileTime(second < 0 ? whole - part : whole + part, &seconds),
                      fits ? IO::FSEntry::TimeStatus::Done : IO::FSEntry::TimeStatus::InvalidTime);
            EXPECT_EQ(seconds, fits ? second : 77);
            EXPECT_EQ(IO::ToFileTime(second), whole);
        }
    EXPECT_EQ(IO::FromFileTime(1, &seconds), IO::FSEntry::TimeStatus::InvalidTime);
    EXPECT_EQ(IO::FromFileTime(0, &seconds), IO::FSEntry::TimeStatus::Done);
    EXPECT_EQ(seconds, 0);
}
