#include <Kestrel/FileSystem/Internal/WinFolderEntry.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/FileSystem/Connection.h"
#include "Tests/Support/FileSystem/MemoryFS.h"
#include "Tests/Support/FileSystem/ScriptedFileCalls.h"
#include "Tests/Support/TempFolder.h"
#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

#include <set>

namespace {

using Entry = IO::FolderEntry;
using Tests::FileCall;
using Tests::FileConnection;
using Tests::FolderConnection;

class NameCollector final : public IO::EntryEnumerator {
public:
    bool EntryFound(IO::Name const & name, bool isFolder) override {
        names.insert(ToUtf8(name) + (isFolder ? "/" : ""));
        return names.size() < limit;
    }
    std::set<std::string> names;
    std::size_t limit = 1000;
};

// A folder on the disk, the calls below it scripted.
class WinFolderEntry : public testing::Test {
protected:
    WinFolderEntry() : root(Mu::UniString(folder.GetPortable())), connection(root) {
        EXPECT_EQ(connection.GetStatus(), IO::NoError);
    }
    ~WinFolderEntry() override { EXPECT_EQ(calls.CountOpen(), 0) << "a handle is left"; }

    Entry & GetEntry() { return *connection; }
    IO::Location At(char const * name) const { return IO::Location(root, IO::Name(name)); }
    std::set<std::string> List() {
        NameCollector collector;
        EXPECT_EQ(GetEntry().Enumerate(collector), Entry::EnumerateStatus::Done);
        return collector.names;
    }
    void Protect(char const * name, bool isProtected) {
        FileConnection const file(At(name));
        ASSERT_EQ(file->SetWriteProtection(isProtected), Entry::AttributeStatus::Done);
    }
    bool IsProtected(char const * name) {
        FileConnection const file(At(name));
        bool isProtected = false;
        EXPECT_EQ(file->IsWriteProtected(&isProtected), Entry::AttributeStatus::Done);
        return isProtected;
    }
    // A folder "tree" with a file, a protected file and a folder with a file in it.
    void MakeTree() {
        ASSERT_EQ(GetEntry().CreateFolder("tree", nullptr), Entry::CreateStatus::Done);
        FolderConnection const tree(At("tree"));
        ASSERT_EQ(tree->CreateFolder("sub", nullptr), Entry::CreateStatus::Done);
        folder.Write("tree/a", "A");
        folder.Write("tree/p", "P");
        folder.Write("tree/sub/b", "B");
        ProtectInTree(true);
    }
    void ProtectInTree(bool isProtected) {
        FileConnection const file(IO::Location(At("tree"), IO::Name("p")));
        ASSERT_EQ(file->SetWriteProtection(isProtected), Entry::AttributeStatus::Done);
    }

    Tests::TempFolder folder;
    Tests::ScriptedFileCalls calls;
    IO::Location root;
    FolderConnection connection;
};

struct Fault {
    FileCall call;
    unsigned int error;
    unsigned int status;
};

// The n-th call of the kind fails for good.
template <typename Operation, std::size_t count>
void ExpectStatuses(Tests::ScriptedFileCalls & calls, Fault const (&table)[count],
                    Operation const & operation) {
    for (Fault const & row : table) {
        SCOPED_TRACE(testing::Message()
                     << "call " << static_cast<int>(row.call) << " error " << row.error);
        calls.Fail(row.call, 1, row.error, true);
        EXPECT_EQ(static_cast<unsigned int>(operation()), row.status);
        EXPECT_TRUE(calls.Clear()) << "the call was not made";
    }
}

} // namespace

TEST_F(WinFolderEntry, TellsWhyItCouldNotCreate) {
    ExpectStatuses(calls,
                   {{FileCall::CreateFile, 5, 3},
                    {FileCall::CreateFile, 32, 3},
                    {FileCall::CreateFile, 33, 3},
                    {FileCall::CreateFile, 80, 1},
                    {FileCall::CreateFile, 183, 1},
                    {FileCall::CreateFile, 39, 2},
                    {FileCall::CreateFile, 112, 2},
                    {FileCall::CreateFile, 3, 4}},
                   [&] { return GetEntry().CreateFile("a", nullptr); });
    ExpectStatuses(calls,
                   {{FileCall::CreateDirectory, 5, 3},
                    {FileCall::CreateDirectory, 32, 3},
                    {FileCall::CreateDirectory, 33, 3},
                    {FileCall::CreateDirectory, 183, 1},
                    {FileCall::CreateDirectory, 80, 4},
                    {FileCall::CreateDirectory, 39, 2},
                    {FileCall::CreateDirectory, 112, 2},
                    {FileCall::CreateDirectory, 3, 4}},
                   [&] { return GetEntry().CreateFolder("a", nullptr); });
    ExpectStatuses(calls, {{FileCall::CreateShellLink, 5, 4}, {FileCall::CreateShellLink, 112, 4}},
                   [&] { return GetEntry().CreateLink("a.lnk", root); });
    EXPECT_EQ(List(), std::set<std::string>());
}

TEST_F(WinFolderEntry, RefusesNamesThatAreNotLegal) {
    Entry::EntryType type;
    for (char const * bad : {"", "a?", "a\\b", "nul", ".", ".."}) {
        SCOPED_TRACE(bad);
        IO::Name const name(bad);
        EXPECT_EQ(GetEntry().CreateFile(name, nullptr), Entry::CreateStatus::Other);
        EXPECT_EQ(GetEntry().CreateFolder(name, nullptr), Entry::CreateStatus::Other);
        EXPECT_EQ(GetEntry().CreateLink(name, root), Entry::CreateStatus::Other);
        EXPECT_EQ(GetEntry().Move(name, GetEntry(), "x", true), Entry::MoveStatus::Other);
        EXPECT_EQ(GetEntry().Move("x", GetEntry(), name, true), Entry::MoveStatus::Other);
        EXPECT_EQ(GetEntry().Copy(name, GetEntry(), "x"), Entry::CopyStatus::Other);
        EXPECT_EQ(GetEntry().Copy("x", GetEntry(), name), Entry::CopyStatus::Other);
        EXPECT_EQ(GetEntry().Delete(name, true), Entry::DeleteStatus::Other);
        if (bad[0] != '.') { // which lead somewhere, and may be asked about
            EXPECT_EQ(GetEntry().GetType(name, &type), Entry::GetTypeStatus::Other);
        }
    }
    folder.Write("file", "");
    FileConnection const file(At("file"));
    EXPECT_EQ(GetEntry().CreateFile("a", &*file), Entry::CreateStatus::Other);
    EXPECT_EQ(GetEntry().CreateFolder("a", &GetEntry()), Entry::CreateStatus::Other);
    Tests::MemoryFixedVFS memory;
    IO::Location const place("Q:\\foreign");
    ASSERT_EQ(IO::fileSystem.Mount(memory, place), IO::NoError);
    {
        FolderConnection const foreign(place);
        EXPECT_EQ(GetEntry().Move("file", *foreign, "x", true), Entry::MoveStatus::Other);
        EXPECT_EQ(GetEntry().Copy("file", *foreign, "x"), Entry::CopyStatus::Other);
    }
    EXPECT_EQ(IO::fileSystem.Unmount(memory), IO::NoError);
}

TEST_F(WinFolderEntry, MovesAndTellsWhyItCouldNot) {
    folder.Write("a", "A");
    EXPECT_EQ(GetEntry().Move("a", GetEntry(), "a", false), Entry::MoveStatus::Done);
    EXPECT_EQ(GetEntry().Move("a", GetEntry(), "b", false), Entry::MoveStatus::Done);
    EXPECT_EQ(folder.Read("b"), "A");
    EXPECT_EQ(GetEntry().Move("a", GetEntry(), "c", false), Entry::MoveStatus::EntryNotFound);
    folder.Write("c", "C");
    EXPECT_EQ(GetEntry().Move("b", GetEntry(), "c", true), Entry::MoveStatus::TargetExists);
    EXPECT_EQ(folder.Read("c"), "C");
    ExpectStatuses(calls,
                   {{FileCall::MoveFile, 2, 5}, // the source is there
                    {FileCall::MoveFile, 3, 5},
                    {FileCall::MoveFile, 5, 4},
                    {FileCall::MoveFile, 32, 4},
                    {FileCall::MoveFile, 33, 4},
                    {FileCall::MoveFile, 80, 2},
                    {FileCall::MoveFile, 183, 2},
                    {FileCall::MoveFile, 39, 3},
                    {FileCall::MoveFile, 112, 3},
                    {FileCall::MoveFile, 87, 5}},
                   [&] { return GetEntry().Move("b", GetEntry(), "d", true); });
    Protect("b", true);
    EXPECT_EQ(GetEntry().Move("b", GetEntry(), "d", false), Entry::MoveStatus::AccessDenied);
    EXPECT_EQ(GetEntry().Move("b", GetEntry(), "d", true), Entry::MoveStatus::Done);
    EXPECT_TRUE(IsProtected("d"));
    Protect("d", false);
}

TEST_F(WinFolderEntry, MovesToAnotherDriveByCopyAndDelete) {
    MakeTree();
    calls.Fail(FileCall::MoveFile, 1, IO::FileError::NotSameDevice);
    EXPECT_EQ(GetEntry().Move("tree", GetEntry(), "moved", true), Entry::MoveStatus::Done);
    calls.Clear();
    EXPECT_EQ(List(), (std::set<std::string>{"moved/"}));
    EXPECT_EQ(folder.Read("moved/sub/b"), "B");
    EXPECT_EQ(GetEntry().Delete("moved", true), Entry::DeleteStatus::Done);
}

TEST_F(WinFolderEntry, TakesTheCopyAwayWhenTheSourceStays) {
    struct OtherDrive : Tests::ScriptedFileCalls {
        unsigned int MoveFile(Tests::PathText, Tests::PathText) override {
            return IO::FileError::NotSameDevice;
        }
    } drive;
    folder.Write("a", "A");
    struct {
        unsigned int error;
        Entry::MoveStatus status;
    } const table[] = {{5, Entry::MoveStatus::AccessDenied}, {87, Entry::MoveStatus::Other}};
    for (auto const & row : table) {
        drive.Fail(FileCall::DeleteFile, 1, row.error);
        EXPECT_EQ(GetEntry().Move("a", GetEntry(), "b", false), row.status);
        EXPECT_TRUE(drive.Clear());
        EXPECT_EQ(List(), (std::set<std::string>{"a"}));
    }
    drive.Fail(FileCall::CopyFile, 1, IO::FileError::DiskFull);
    EXPECT_EQ(GetEntry().Move("a", GetEntry(), "b", false), Entry::MoveStatus::DeviceFull);
    drive.Clear();
    EXPECT_EQ(List(), (std::set<std::string>{"a"}));
    EXPECT_EQ(GetEntry().Move("a", GetEntry(), "b", false), Entry::MoveStatus::Done);
    EXPECT_EQ(folder.Read("b"), "A");
}

TEST_F(WinFolderEntry, CopiesFilesAndTrees) {
    MakeTree();
    EXPECT_EQ(GetEntry().Copy("tree", GetEntry(), "twin"), Entry::CopyStatus::Done);
    EXPECT_EQ(folder.Read("twin/a"), "A");
    EXPECT_EQ(folder.Read("twin/p"), "P");
    EXPECT_EQ(folder.Read("twin/sub/b"), "B");
    EXPECT_EQ(GetEntry().Copy("tree", GetEntry(), "tree"), Entry::CopyStatus::Done);
    EXPECT_EQ(GetEntry().Copy("tree", GetEntry(), "twin"), Entry::CopyStatus::TargetExists);
    EXPECT_EQ(GetEntry().Copy("none", GetEntry(), "x"), Entry::CopyStatus::EntryNotFound);
    FolderConnection const tree(At("tree"));
    calls.ResetCounts();
    EXPECT_EQ(GetEntry().Copy("tree", *tree, "inside"), Entry::CopyStatus::Other);
    EXPECT_EQ(calls.Count(FileCall::CreateDirectory), 0u)
        << "a copy would find itself, without end";
    EXPECT_EQ(GetEntry().Delete("tree", true), Entry::DeleteStatus::Done);
    EXPECT_EQ(GetEntry().Delete("twin", true), Entry::DeleteStatus::Done);
}

// What the path of the target looks like does not matter, but where it leads.
TEST_F(WinFolderEntry, CopiesNoTreeIntoItselfByADetour) {
    MakeTree();
    std::error_code failure;
    std::filesystem::create_directory_symlink(folder / "tree/sub", folder / "detour", failure);
    if (failure)
        GTEST_SKIP() << "no links can be made here";
    std::set<std::string> const before = List();
    for (char const * place : {"detour", "TREE\\SUB"}) {
        FolderConnection const inside(IO::Location(folder.GetPortable(place).c_str()));
        EXPECT_EQ(GetEntry().Copy("tree", *inside, "copy"), Entry::CopyStatus::Other) << place;
        EXPECT_FALSE(std::filesystem::exists(folder / "tree/sub/copy"));
    }
    EXPECT_EQ(List(), before);
}

TEST_F(WinFolderEntry, TakesTreesInAnySpelling) {
    MakeTree();
    EXPECT_EQ(GetEntry().Copy("TREE", GetEntry(), "twin"), Entry::CopyStatus::Done);
    EXPECT_EQ(folder.Read("twin/sub/b"), "B");
    EXPECT_EQ(GetEntry().Delete("TREE", true), Entry::DeleteStatus::Done);
    EXPECT_EQ(GetEntry().Delete("Twin", true), Entry::DeleteStatus::Done);
    EXPECT_TRUE(List().empty());
}

TEST_F(WinFolderEntry, LeavesNothingOfACopyThatBreaksOff) {
    MakeTree();
    folder.Write("file", "x");
    ExpectStatuses(calls,
                   {{FileCall::CopyFile, 5, 4},
                    {FileCall::CopyFile, 32, 4},
                    {FileCall::CopyFile, 33, 4},
                    {FileCall::CopyFile, 39, 3},
                    {FileCall::CopyFile, 112, 3},
                    {FileCall::CopyFile, 80, 5},
                    {FileCall::CopyFile, 2, 5}},
                   [&] { return GetEntry().Copy("file", GetEntry(), "copy"); });
    for (FileCall const call : {FileCall::CreateDirectory, FileCall::FindNextFile,
                                FileCall::CopyFile, FileCall::GetFileAttributes})
        for (unsigned int n = 1; n <= 3; ++n) {
            SCOPED_TRACE(testing::Message() << static_cast<int>(call) << " " << n);
            calls.Fail(call, n, IO::FileError::GeneralFailure);
            Entry::CopyStatus const status = GetEntry().Copy("tree", GetEntry(), "copy");
            if (calls.Clear() && status != Entry::CopyStatus::Done) {
                EXPECT_EQ(List(), (std::set<std::string>{"file", "tree/"}));
            } else {
                EXPECT_EQ(GetEntry().Delete("copy", true), Entry::DeleteStatus::Done);
            }
        }
    ProtectInTree(false);
}

TEST_F(WinFolderEntry, DeletesProtectedFilesOnlyWithForce) {
    MakeTree();
    EXPECT_EQ(GetEntry().Delete("tree", false), Entry::DeleteStatus::AccessDenied);
    EXPECT_EQ(folder.Read("tree/p"), "P");
    EXPECT_EQ(GetEntry().Delete("tree", true), Entry::DeleteStatus::Done);
    EXPECT_EQ(GetEntry().Delete("tree", true), Entry::DeleteStatus::EntryNotFound);

    folder.Write("file", "x");
    Protect("file", true);
    EXPECT_EQ(GetEntry().Delete("file", false), Entry::DeleteStatus::AccessDenied);
    calls.Fail(FileCall::DeleteFile, 2, IO::FileError::SharingViolation);
    EXPECT_EQ(GetEntry().Delete("file", true), Entry::DeleteStatus::AccessDenied);
    EXPECT_TRUE(calls.Clear());
    EXPECT_TRUE(IsProtected("file")) << "what stays gets its protection back";
    calls.Fail(FileCall::SetFileAttributes, 1, IO::FileError::AccessDenied);
    EXPECT_EQ(GetEntry().Delete("file", true), Entry::DeleteStatus::AccessDenied);
    EXPECT_TRUE(calls.Clear());
    EXPECT_EQ(GetEntry().Delete("file", true), Entry::DeleteStatus::Done);
    EXPECT_EQ(List(), std::set<std::string>());
}

TEST_F(WinFolderEntry, TellsWhyItCouldNotDelete) {
    folder.Write("file", "x");
    ASSERT_EQ(GetEntry().CreateFolder("sub", nullptr), Entry::CreateStatus::Done);
    ExpectStatuses(calls,
                   {{FileCall::DeleteFile, 5, 2},
                    {FileCall::DeleteFile, 32, 2},
                    {FileCall::DeleteFile, 33, 2},
                    {FileCall::DeleteFile, 87, 3},
                    {FileCall::GetFileAttributes, 33, 2},
                    {FileCall::GetFileAttributes, 3, 1},
                    {FileCall::GetFileAttributes, 2, 1}},
                   [&] { return GetEntry().Delete("file", true); });
    ExpectStatuses(calls,
                   {{FileCall::RemoveDirectory, 5, 2},
                    {FileCall::RemoveDirectory, 32, 2},
                    {FileCall::RemoveDirectory, 33, 3},
                    {FileCall::RemoveDirectory, 145, 3}},
                   [&] { return GetEntry().Delete("sub", true); });
    FileConnection const file(At("file"));
    ASSERT_EQ(file->Open(IO::FileEntry::OpenMode::Read), IO::FileEntry::OpenStatus::Done);
    EXPECT_EQ(GetEntry().Delete("file", true), Entry::DeleteStatus::AccessDenied)
        << "an open file stays";
    EXPECT_EQ(file->Close(), IO::FileEntry::CloseStatus::Done);
}

TEST_F(WinFolderEntry, KnowsFilesFoldersAndLinks) {
    folder.Write("file", "x");
    folder.Write("empty", "");
    ASSERT_EQ(GetEntry().CreateFolder("sub", nullptr), Entry::CreateStatus::Done);
    ASSERT_EQ(GetEntry().CreateLink("to file.lnk", At("file")), Entry::CreateStatus::Done);
    ASSERT_EQ(GetEntry().CreateLink("to folder.lnk", At("sub")), Entry::CreateStatus::Done);
    ASSERT_EQ(GetEntry().CreateLink("broken.lnk", At("none")), Entry::CreateStatus::Done);
    EXPECT_EQ(GetEntry().CreateLink("file", At("sub")), Entry::CreateStatus::AlreadyExists);
    struct {
        char const * name;
        IO::EntryType type;
    } const table[] = {
        {"file", IO::EntryType::File},          {"empty", IO::EntryType::File},
        {"sub", IO::EntryType::Folder},         {"to file.lnk", IO::EntryType::Link},
        {"to folder.lnk", IO::EntryType::Link}, {"broken.lnk", IO::EntryType::Link},
    };
    for (auto const & row : table) {
        Entry::EntryType type;
        EXPECT_EQ(GetEntry().GetType(row.name, &type), Entry::GetTypeStatus::Done);
        EXPECT_EQ(type, row.type) << row.name;
    }
    FileConnection const file(At("to file.lnk"));
    ASSERT_EQ(file.GetStatus(), IO::NoError);
    EXPECT_EQ(file.GetLocation(), At("file")) << "the location becomes the target's";
    FolderConnection const sub(At("to folder.lnk"));
    ASSERT_EQ(sub.GetStatus(), IO::NoError);
    EXPECT_EQ(sub->CreateFile("through", nullptr), Entry::CreateStatus::Done);
    EXPECT_EQ(folder.Read("sub/through"), "");
    EXPECT_EQ(FileConnection(At("to folder.lnk")).GetStatus(), IO::ErrFSNotAFile);
    EXPECT_EQ(FileConnection(At("broken.lnk")).GetStatus(), IO::ErrFSFileNotFound);
    EXPECT_EQ(FolderConnection(At("broken.lnk")).GetStatus(), IO::ErrFSFolderNotFound);

    IO::Location target;
    EXPECT_TRUE(IO::fileSystem.ResolveLocation(At("to file.lnk"), &target));
    EXPECT_EQ(target, At("file"));
    EXPECT_TRUE(IO::fileSystem.ResolveLocation(&target));
    EXPECT_EQ(target, At("file")) << "what is no link stays";
    IO::EntryType type;
    EXPECT_EQ(IO::fileSystem.EstimateResolvedType(At("to folder.lnk"), &type), IO::NoError);
    EXPECT_EQ(type, IO::EntryType::Folder);
    EXPECT_EQ(IO::fileSystem.GetResolvedType(At("to file.lnk"), &type), IO::NoError);
    EXPECT_EQ(type, IO::EntryType::File);
    EXPECT_EQ(IO::fileSystem.EstimateResolvedType(At("broken.lnk"), &type), IO::ErrFSEntryNotFound);
    ASSERT_EQ(GetEntry().CreateLink("far.lnk", IO::Location(At("none"), IO::Name("x"))),
              Entry::CreateStatus::Done);
    EXPECT_EQ(IO::fileSystem.EstimateResolvedType(At("far.lnk"), &type), IO::ErrFSEntryNotFound);
}

TEST_F(WinFolderEntry, TakesOnlyLnkFilesForLinksWhenRestricted) {
    ASSERT_EQ(GetEntry().CreateFolder("sub", nullptr), Entry::CreateStatus::Done);
    ASSERT_EQ(GetEntry().CreateLink("plain", At("sub")), Entry::CreateStatus::Done);
    ASSERT_EQ(GetEntry().CreateLink("link.lnk", At("sub")), Entry::CreateStatus::Done);
    IO::NativeFileSystem & native = *IO::NativeFileSystem::Get();
    native.SetOption(0x12345678, 0); // unknown, so nothing happens
    Entry::EntryType type;
    EXPECT_EQ(GetEntry().GetType("plain", &type), Entry::GetTypeStatus::Done);
    EXPECT_EQ(type, IO::EntryType::Link);
    IO::RestrictLinkExtensions();
    EXPECT_EQ(GetEntry().GetType("plain", &type), Entry::GetTypeStatus::Done);
    EXPECT_EQ(type, IO::EntryType::File);
    EXPECT_EQ(GetEntry().GetType("link.lnk", &type), Entry::GetTypeStatus::Done);
    EXPECT_EQ(type, IO::EntryType::Link);
    EXPECT_EQ(GetEntry().CreateLink("other", At("sub")), Entry::CreateStatus::Other);
    EXPECT_EQ(GetEntry().CreateLink("other.LNK", At("sub")), Entry::CreateStatus::Other);
    EXPECT_EQ(GetEntry().CreateLink("other.lnk", At("sub")), Entry::CreateStatus::Done);
    native.SetOption(IO::NativeFileSystem::LinkExtensionsOption, 1);
    EXPECT_EQ(GetEntry().CreateLink("another", At("sub")), Entry::CreateStatus::Done);
}

TEST_F(WinFolderEntry, EnumeratesAndStopsWhenTold) {
    for (int i = 0; i < 30; ++i)
        folder.Write("file" + std::to_string(i), "");
    ASSERT_EQ(GetEntry().CreateFolder("sub", nullptr), Entry::CreateStatus::Done);
    EXPECT_EQ(List().size(), 31u);
    EXPECT_EQ(List().count("sub/"), 1u);
    NameCollector collector;
    collector.limit = 5;
    EXPECT_EQ(GetEntry().Enumerate(collector), Entry::EnumerateStatus::Stopped);
    EXPECT_EQ(collector.names.size(), 5u);
    ExpectStatuses(calls,
                   {{FileCall::OpenFolder, 5, 1},
                    {FileCall::OpenFolder, 32, 1},
                    {FileCall::OpenFolder, 33, 1},
                    {FileCall::OpenFolder, 3, 3},
                    {FileCall::FindNextFile, 87, 3}},
                   [&] {
                       NameCollector all;
                       return GetEntry().Enumerate(all);
                   });
}

TEST_F(WinFolderEntry, TellsAboutItsVolume) {
    unsigned long long space = 0;
    bool flag = false;
    EXPECT_EQ(GetEntry().GetFreeSpace(&space), Entry::AttributeStatus::Done);
    EXPECT_GT(space, 0u);
    EXPECT_EQ(GetEntry().IsOnLocalVolume(&flag), Entry::AttributeStatus::Done);
    EXPECT_TRUE(GetEntry().IsReadable());
    EXPECT_TRUE(GetEntry().IsWriteable());
    EXPECT_EQ(List(), std::set<std::string>()) << "the test of writing leaves nothing";
    calls.Fail(FileCall::DeleteFile, 1, 5);
    EXPECT_FALSE(GetEntry().IsWriteable());
    calls.Fail(FileCall::CreateFile, 1, 5);
    EXPECT_FALSE(GetEntry().IsWriteable());
    calls.Fail(FileCall::OpenFolder, 1, 2);
    EXPECT_FALSE(GetEntry().IsReadable());
    calls.Clear();
    ExpectStatuses(calls,
                   {{FileCall::GetDiskFreeSpaceEx, 33, 1}, {FileCall::GetDiskFreeSpaceEx, 2, 2}},
                   [&] { return GetEntry().GetFreeSpace(&space); });
    EXPECT_EQ(GetEntry().Delete("Write Test 245770131727495", true), Entry::DeleteStatus::Done);
}

TEST_F(WinFolderEntry, HasTimesBelowTheDriveOnly) {
    FolderConnection const drive(IO::Location("C:\\")), computer{IO::Location()};
    int time = 0;
    for (FolderConnection const * top : {&drive, &computer}) {
        EXPECT_EQ((*top)->SetCreationTime(1), Entry::TimeStatus::Other);
        EXPECT_EQ((*top)->GetCreationTime(&time), Entry::TimeStatus::Other);
        EXPECT_EQ((*top)->SetModificationTime(1), Entry::TimeStatus::Other);
        EXPECT_EQ((*top)->GetModificationTime(&time), Entry::TimeStatus::Other);
    }
    EXPECT_EQ(GetEntry().SetModificationTime(1000000000), Entry::TimeStatus::Done);
    EXPECT_EQ(GetEntry().GetModificationTime(&time), Entry::TimeStatus::Done);
    EXPECT_EQ(time, 1000000000);
    EXPECT_EQ(GetEntry().SetCreationTime(900000000), Entry::TimeStatus::Done);
    ExpectStatuses(calls,
                   {{FileCall::CreateFile, 5, 1},
                    {FileCall::CreateFile, 2, 3},
                    {FileCall::SetFileTime, 1901, 2},
                    {FileCall::SetFileTime, 87, 3}},
                   [&] { return GetEntry().SetModificationTime(5); });
}

TEST_F(WinFolderEntry, HoldsTheDrivesAtTheRootOfTheComputer) {
    FolderConnection const computer{IO::Location()};
    ASSERT_EQ(computer.GetStatus(), IO::NoError);
    NameCollector collector;
    EXPECT_EQ(computer->Enumerate(collector), Entry::EnumerateStatus::Done);
    EXPECT_EQ(collector.names.count("C:/"), 1u);
    collector.names.clear();
    collector.limit = 1;
    EXPECT_EQ(computer->Enumerate(collector), Entry::EnumerateStatus::Stopped);
    Entry::EntryType type;
    EXPECT_EQ(computer->GetType("C:", &type), Entry::GetTypeStatus::Done);
    EXPECT_EQ(type, IO::EntryType::Folder);
    calls.ResetCounts();
    EXPECT_EQ(computer->CreateFile("a", nullptr), Entry::CreateStatus::Other);
    EXPECT_EQ(computer->CreateFolder("a", nullptr), Entry::CreateStatus::Other);
    EXPECT_EQ(computer->CreateLink("a.lnk", root), Entry::CreateStatus::Other);
    EXPECT_EQ(computer->Delete("C:", true), Entry::DeleteStatus::Other);
    EXPECT_EQ(computer->Move("C:", GetEntry(), "a", true), Entry::MoveStatus::Other);
    EXPECT_EQ(GetEntry().Copy("a", *computer, "b"), Entry::CopyStatus::Other);
    EXPECT_EQ(calls.Count(FileCall::Any), 0u) << "nothing of that is even tried";
    unsigned long long space = 0;
    bool flag = false;
    EXPECT_EQ(computer->GetFreeSpace(&space), Entry::AttributeStatus::Done);
    EXPECT_GT(space, 0u);
    EXPECT_TRUE(computer->IsReadable());
    EXPECT_FALSE(computer->IsWriteable());
    EXPECT_EQ(computer->IsOnLocalVolume(&flag), Entry::AttributeStatus::Done);
    EXPECT_TRUE(flag);
    EXPECT_EQ(computer->IsOnFixedVolume(&flag), Entry::AttributeStatus::Done);
    EXPECT_TRUE(flag);
    calls.Fail(FileCall::GetLogicalDriveStrings, 1, 5);
    EXPECT_EQ(computer->Enumerate(collector), Entry::EnumerateStatus::Other);
    calls.Fail(FileCall::GetLogicalDriveStrings, 1, 5);
    EXPECT_EQ(computer->GetFreeSpace(&space), Entry::AttributeStatus::Other);
    calls.Clear();
}
