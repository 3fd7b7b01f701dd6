#include <Kestrel/FileSystem/Internal/WinFileEntry.h>

#include <Kestrel/FileSystem/Internal/FileTimes.h>

#include "Tests/Support/FileSystem/Connection.h"
#include "Tests/Support/FileSystem/Protection.h"
#include "Tests/Support/FileSystem/ScriptedFileCalls.h"
#include "Tests/Support/TempFolder.h"
#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

#include <climits>
#include <optional>

namespace {

using Entry = IO::FileEntry;
using Tests::FileCall;
using Tests::FileConnection;
using Origin = Entry::SeekOrigin;
using Mode = Entry::OpenMode;

// A file on the disk, the calls below it scripted.
class WinFileEntry : public testing::Test {
protected:
    WinFileEntry() {
        folder.Write("file", "0123456789");
        location = IO::Location(Mu::UniString(folder.GetPortable("file")));
        file.emplace(location);
        EXPECT_EQ(file->GetStatus(), IO::NoError);
    }
    ~WinFileEntry() override {
        file.reset();
        EXPECT_EQ(calls.CountOpen(), 0) << "a handle is left";
    }

    Entry & GetEntry() { return **file; }
    void Open(Mode mode) { ASSERT_EQ(GetEntry().Open(mode), Entry::OpenStatus::Done); }
    std::string Read(unsigned int count) {
        std::string text(count, '?');
        unsigned int read = 99;
        (void)GetEntry().Read(text.data(), count, &read);
        return text.substr(0, read);
    }

    Tests::TempFolder folder;
    Tests::ScriptedFileCalls calls;
    IO::Location location;
    std::optional<FileConnection> file;
};

// One operation with one of its calls failing: by error number, the status that is told.
struct Fault {
    FileCall call;
    unsigned int error;
    unsigned int status;
};

template <typename Operation, std::size_t count>
void ExpectStatuses(Tests::ScriptedFileCalls & calls, Fault const (&table)[count],
                    Operation const & operation) {
    for (Fault const & row : table) {
        SCOPED_TRACE(testing::Message()
                     << "call " << static_cast<int>(row.call) << " error " << row.error);
        calls.Fail(row.call, 1, row.error);
        EXPECT_EQ(static_cast<unsigned int>(operation()), row.status);
        EXPECT_TRUE(calls.Clear()) << "the call was not made";
    }
}

} // namespace

TEST_F(WinFileEntry, TellsWhyItCouldNotOpen) {
    ExpectStatuses(calls,
                   {{FileCall::CreateFile, 4, 2},
                    {FileCall::CreateFile, 5, 1},
                    {FileCall::CreateFile, 32, 1},
                    {FileCall::CreateFile, 33, 1},
                    {FileCall::CreateFile, 2, 3},
                    {FileCall::CreateFile, 112, 3}},
                   [&] { return GetEntry().Open(Mode::Read); });
}

TEST_F(WinFileEntry, ReadsUpToTheEnd) {
    Open(Mode::Read);
    EXPECT_EQ(Read(4), "0123");
    char rest[9];
    unsigned int read = 0;
    EXPECT_EQ(GetEntry().Read(rest, 6, &read), Entry::ReadStatus::Done);
    EXPECT_EQ(read, 6u);
    EXPECT_EQ(GetEntry().Read(rest, 1, &read), Entry::ReadStatus::EndOfFile);
    EXPECT_EQ(read, 0u);
    unsigned long long position;
    ASSERT_EQ(GetEntry().Seek(Origin::Beginning, 8, &position), Entry::SeekStatus::Done);
    EXPECT_EQ(GetEntry().Read(rest, 9, &read), Entry::ReadStatus::EndOfFile);
    EXPECT_EQ(read, 2u);
    ASSERT_EQ(GetEntry().Seek(Origin::Beginning, 0, &position), Entry::SeekStatus::Done);
    calls.Fail(FileCall::ReadFile, 1, IO::FileError::ReadFault, false, 3);
    EXPECT_EQ(GetEntry().Read(rest, 9, &read), Entry::ReadStatus::ReadError);
    EXPECT_EQ(read, 3u) << "what was read is told after a failure, too";
    calls.Clear();
}

TEST_F(WinFileEntry, TellsWhyItCouldNotWrite) {
    Open(Mode::Write);
    unsigned int written = 77;
    ExpectStatuses(calls,
                   {{FileCall::WriteFile, 39, 1},
                    {FileCall::WriteFile, 112, 1},
                    {FileCall::WriteFile, 5, 2},
                    {FileCall::WriteFile, 29, 2}},
                   [&] { return GetEntry().Write("a", 1, &written); });
    EXPECT_EQ(written, 77u);
    ExpectStatuses(calls,
                   {{FileCall::FlushFileBuffers, 39, 1},
                    {FileCall::FlushFileBuffers, 112, 1},
                    {FileCall::FlushFileBuffers, 5, 2}},
                   [&] { return GetEntry().Flush(); });
    EXPECT_EQ(GetEntry().Write("ab", 2, &written), Entry::WriteStatus::Done);
    EXPECT_EQ(written, 2u);
    EXPECT_EQ(GetEntry().Flush(), Entry::WriteStatus::Done);
}

TEST_F(WinFileEntry, ClosesWhateverTheSystemSays) {
    struct {
        unsigned int error;
        Entry::CloseStatus status;
    } const table[] = {
        {19, Entry::CloseStatus::WriteError}, {29, Entry::CloseStatus::WriteError},
        {39, Entry::CloseStatus::DeviceFull}, {112, Entry::CloseStatus::DeviceFull},
        {6, Entry::CloseStatus::Other},
    };
    for (auto const & row : table) {
        Open(Mode::ReadWrite);
        calls.Fail(FileCall::CloseHandle, 1, row.error);
        EXPECT_EQ(GetEntry().Close(), row.status) << row.error;
        calls.Clear();
        EXPECT_EQ(calls.CountOpen(), 0);
    }
}

TEST_F(WinFileEntry, TellsWhyItCouldNotSeek) {
    Open(Mode::Read);
    unsigned long long position;
    ExpectStatuses(calls,
                   {{FileCall::SetFilePointerEx, 87, 1},
                    {FileCall::SetFilePointerEx, 131, 1},
                    {FileCall::SetFilePointerEx, 5, 2},
                    {FileCall::GetFileSizeEx, 5, 2}},
                   [&] { return GetEntry().Seek(Origin::Beginning, 3, &position); });
    ExpectStatuses(calls, {{FileCall::SetFilePointerEx, 5, 2}},
                   [&] { return GetEntry().Seek(Origin::Current, 3, &position); });
}

TEST_F(WinFileEntry, SetsItsLengthOpenOrClosed) {
    EXPECT_EQ(GetEntry().SetDataLength(4), Entry::LengthStatus::Done);
    EXPECT_EQ(folder.Read("file"), "0123");
    Open(Mode::ReadWrite);
    EXPECT_EQ(GetEntry().SetDataLength(6), Entry::LengthStatus::Done);
    EXPECT_EQ(GetEntry().Close(), Entry::CloseStatus::Done);
    EXPECT_EQ(folder.Read("file"), std::string("0123\0\0", 6));
    ExpectStatuses(calls,
                   {{FileCall::CreateFile, 32, 1},
                    {FileCall::CreateFile, 4, 3},
                    {FileCall::SetFilePointerEx, 112, 3},
                    {FileCall::SetEndOfFile, 39, 2},
                    {FileCall::SetEndOfFile, 112, 2},
                    {FileCall::SetEndOfFile, 5, 3}},
                   [&] { return GetEntry().SetDataLength(2); });
    EXPECT_EQ(GetEntry().SetDataLength(~0ull), Entry::LengthStatus::Other);
}

TEST_F(WinFileEntry, TellsItsLengthAndProtection) {
    unsigned long long length = 0;
    EXPECT_EQ(GetEntry().GetDataLength(&length), Entry::LengthStatus::Done);
    EXPECT_EQ(length, 10u);
    ExpectStatuses(calls,
                   {{FileCall::FindFirstFile, 5, 1},
                    {FileCall::FindFirstFile, 32, 1},
                    {FileCall::FindFirstFile, 33, 1},
                    {FileCall::FindFirstFile, 2, 3}},
                   [&] { return GetEntry().GetDataLength(&length); });
    bool isProtected = true;
    EXPECT_EQ(GetEntry().IsWriteProtected(&isProtected), Entry::AttributeStatus::Done);
    EXPECT_FALSE(isProtected);
    EXPECT_EQ(GetEntry().SetWriteProtection(true), Entry::AttributeStatus::Done);
    EXPECT_EQ(GetEntry().IsWriteProtected(&isProtected), Entry::AttributeStatus::Done);
    EXPECT_TRUE(isProtected);
    if (Tests::IsProtectionKept(folder / "file")) {
        EXPECT_EQ(GetEntry().Open(Mode::Write), Entry::OpenStatus::AccessDenied);
        EXPECT_EQ(GetEntry().SetDataLength(1), Entry::LengthStatus::AccessDenied);
    }
    EXPECT_EQ(GetEntry().SetWriteProtection(false), Entry::AttributeStatus::Done);
    ExpectStatuses(calls,
                   {{FileCall::GetFileAttributes, 5, 1},
                    {FileCall::GetFileAttributes, 33, 1},
                    {FileCall::GetFileAttributes, 2, 2}},
                   [&] { return GetEntry().IsWriteProtected(&isProtected); });
    ExpectStatuses(calls,
                   {{FileCall::SetFileAttributes, 32, 1}, {FileCall::SetFileAttributes, 19, 2}},
                   [&] { return GetEntry().SetWriteProtection(true); });
    unsigned int type = 1, creator = 1;
    EXPECT_EQ(GetEntry().SetTypeInfo(5, 6), Entry::TypeStatus::Done);
    EXPECT_EQ(GetEntry().GetTypeInfo(&type, &creator), Entry::TypeStatus::Done);
    EXPECT_EQ(type + creator, 0u);
    Mu::UniString locker;
    EXPECT_EQ(GetEntry().GetWriteLocker(&locker), Entry::LockerStatus::Unknown);
}

TEST_F(WinFileEntry, KeepsItsTimes) {
    int time = 0;
    EXPECT_EQ(GetEntry().SetModificationTime(1234567890), Entry::TimeStatus::Done);
    EXPECT_EQ(GetEntry().SetCreationTime(987654321), Entry::TimeStatus::Done);
    EXPECT_EQ(GetEntry().GetModificationTime(&time), Entry::TimeStatus::Done);
    EXPECT_EQ(time, 1234567890);
    EXPECT_EQ(GetEntry().GetCreationTime(nullptr), Entry::TimeStatus::Other);
    ExpectStatuses(calls,
                   {{FileCall::CreateFile, 32, 1},
                    {FileCall::CreateFile, 4, 3},
                    {FileCall::SetFileTime, 1901, 2},
                    {FileCall::SetFileTime, 5, 3},
                    {FileCall::SetFileTime, 87, 3}},
                   [&] { return GetEntry().SetModificationTime(5); });
    ExpectStatuses(calls, {{FileCall::FindFirstFile, 5, 1}, {FileCall::FindFirstFile, 2, 3}},
                   [&] { return GetEntry().GetModificationTime(&time); });
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
        {epoch, IO::FSEntry::TimeStatus::Done, 0},
        {epoch + 19999999, IO::FSEntry::TimeStatus::Done, 1},
        {epoch - 10000000, IO::FSEntry::TimeStatus::Done, -1},
        {IO::ToFileTime(INT_MAX) + 9999999, IO::FSEntry::TimeStatus::Done, INT_MAX},
        {IO::ToFileTime(INT_MAX) + 10000000, IO::FSEntry::TimeStatus::InvalidTime, 77},
        {1, IO::FSEntry::TimeStatus::InvalidTime, 77},
        {~0ull, IO::FSEntry::TimeStatus::InvalidTime, 77},
    };
    for (auto const & row : table) {
        int seconds = 77;
        EXPECT_EQ(IO::FromFileTime(row.fileTime, &seconds), row.status) << row.fileTime;
        EXPECT_EQ(seconds, row.seconds) << row.fileTime;
    }
}
