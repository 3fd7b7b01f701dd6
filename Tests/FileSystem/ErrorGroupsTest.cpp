// Which status a failed call of the system becomes at an entry of the disk.

#include <Kestrel/FileSystem/Internal/ErrorGroups.h>

#include "Tests/Support/FileSystem/Connection.h"
#include "Tests/Support/FileSystem/ScriptedFileCalls.h"
#include "Tests/Support/TempFolder.h"

#include <gtest/gtest.h>

#include <functional>
#include <sstream>

namespace {

using Tests::FileCall;
using Mode = IO::FileEntry::OpenMode;
using Origin = IO::FileEntry::SeekOrigin;

class Ignorer final : public IO::EntryEnumerator {
public:
    bool EntryFound(IO::Name const &, bool) override { return true; }
};

struct Row {
    FileCall call;
    char const * statuses; // by error number
    std::function<unsigned int()> run;
};

} // namespace

TEST(ErrorGroups, BecomeTheStatusesOfEntries) {
    Tests::TempFolder const disk;
    disk.Write("file", "0123456789");
    disk.Write("b", "");
    std::filesystem::create_directory(disk / "sub");
    IO::Location const root(disk.GetPortable().c_str());
    Tests::ScriptedFileCalls calls;
    Tests::FolderConnection const folder(root);
    Tests::FileConnection const closed(IO::Location(root, IO::Name("file")));
    Tests::FileConnection const open(IO::Location(root, IO::Name("file")));
    Tests::FileConnection const closing(IO::Location(root, IO::Name("b")));
    ASSERT_EQ(open->Open(Mode::WriteShared), IO::FileEntry::OpenStatus::Done);
    unsigned long long number = 0;
    unsigned int count = 77;
    int time = 0;
    bool flag = false;
    auto const is = [](auto status) { return static_cast<unsigned int>(status); };
    auto const move = [&] { return is(folder->Move("b", *folder, "d", true)); };
    auto const setTime = [&] { return is(folder->SetModificationTime(5)); };
    auto const seek = [&] { return is(open->Seek(Origin::Beginning, 3, &number)); };
    auto const setLength = [&] { return is(closing->SetDataLength(2)); };
    auto const setFileTime = [&] { return is(closing->SetModificationTime(5)); };
    auto const write = [&] { return is(open->Write("a", 1, &count)); };
    auto const close = [&] {
        EXPECT_EQ(closing->Open(Mode::ReadWrite), IO::FileEntry::OpenStatus::Done);
        return is(closing->Close());
    };
    auto const enumerate = [&] {
        Ignorer all;
        return is(folder->Enumerate(all));
    };
    Row const rows[] = {
        {FileCall::CreateFile, "5=3 32=3 33=3 80=1 183=1 39=2 112=2 3=4",
         [&] { return is(folder->CreateFile("a", nullptr)); }},
        {FileCall::CreateDirectory, "5=3 32=3 33=3 183=1 80=4 39=2 112=2 3=4",
         [&] { return is(folder->CreateFolder("a", nullptr)); }},
        {FileCall::CreateShellLink, "5=4 112=4",
         [&] { return is(folder->CreateLink("a.lnk", root)); }},
        {FileCall::MoveFile, "2=5 3=5 5=4 32=4 33=4 80=2 183=2 39=3 112=3 87=5", move},
        {FileCall::CopyFile, "5=4 32=4 33=4 39=3 112=3 80=5 2=5",
         [&] { return is(folder->Copy("b", *folder, "copy")); }},
        {FileCall::DeleteFile, "5=2 32=2 33=2 87=3", [&] { return is(folder->Delete("b", true)); }},
        {FileCall::GetFileAttributes, "33=2 3=1 2=1",
         [&] { return is(folder->Delete("sub", true)); }},
        {FileCall::RemoveDirectory, "5=2 32=2 33=3 145=3",
         [&] { return is(folder->Delete("sub", true)); }},
        {FileCall::OpenFolder, "5=1 32=1 33=1 3=3", enumerate},
        {FileCall::FindNextFile, "87=3", enumerate},
        {FileCall::GetDiskFreeSpaceEx, "33=1 2=2",
         [&] { return is(folder->GetFreeSpace(&number)); }},
        {FileCall::CreateFile, "5=1 2=3", setTime},
        {FileCall::SetFileTime, "1901=2 87=3", setTime},
        {FileCall::CreateFile, "4=2 5=1 32=1 33=1 2=3 112=3",
         [&] { return is(closed->Open(Mode::Read)); }},
        {FileCall::WriteFile, "39=1 112=1 5=2 29=2", write},
        {FileCall::FlushFileBuffers, "39=1 112=1 5=2", [&] { return is(open->Flush()); }},
        {FileCall::CloseHandle, "19=1 29=1 39=2 112=2 6=3", close},
        {FileCall::SetFilePointerEx, "87=1 131=1 5=2", seek},
        {FileCall::GetFileSizeEx, "5=2", seek},
        {FileCall::CreateFile, "32=1 4=3", setLength},
        {FileCall::SetFilePointerEx, "112=3", setLength},
        {FileCall::SetEndOfFile, "39=2 112=2 5=3", setLength},
        {FileCall::FindFirstFile, "5=1 32=1 33=1 2=3",
         [&] { return is(closed->GetDataLength(&number)); }},
        {FileCall::GetFileAttributes, "5=1 33=1 2=2",
         [&] { return is(closed->IsWriteProtected(&flag)); }},
        {FileCall::SetFileAttributes, "32=1 19=2",
         [&] { return is(closed->SetWriteProtection(true)); }},
        {FileCall::CreateFile, "32=1 4=3", setFileTime},
        {FileCall::SetFileTime, "1901=2 5=3 87=3", setFileTime},
        {FileCall::FindFirstFile, "5=1 2=3",
         [&] { return is(closed->GetModificationTime(&time)); }},
    };
    for (Row const & row : rows) {
        std::istringstream statuses(row.statuses);
        char equals;
        for (unsigned int error, status; statuses >> error >> equals >> status;) {
            calls.Fail(row.call, 1, error, true);
            EXPECT_EQ(row.run(), status) << "row " << &row - rows << " error " << error;
            EXPECT_TRUE(calls.Clear()) << "the call was not made";
        }
    }
    EXPECT_EQ(count, 77u) << "what is written is reported by a success alone";
    EXPECT_EQ(open->Close(), IO::FileEntry::CloseStatus::Done);
    EXPECT_EQ(calls.CountOpen(), 0) << "a handle is left";
}
