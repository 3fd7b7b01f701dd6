#include <Kestrel/FileSystem/Internal/WinFolderEntry.h>

#include "Tests/Support/FileSystem/Connection.h"
#include "Tests/Support/FileSystem/Place.h"
#include "Tests/Support/FileSystem/ScriptedFileCalls.h"
#include "Tests/Support/TempFolder.h"
#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

#include <optional>
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
    // A folder "tree" with a file and a folder with a file in it.
    void MakeTree() const {
        std::filesystem::create_directories(folder / "tree/sub");
        folder.Write("tree/a", "A");
        folder.Write("tree/sub/b", "B");
    }
    Tests::TempFolder folder;
    Tests::ScriptedFileCalls calls;
    IO::Location root;
    FolderConnection connection;
};

} // namespace

TEST_F(WinFolderEntry, RefusesNamesThatAreNotLegal) {
    Entry::EntryType type;
    IO::DiskUse use;
    IO::Folder whole(root);
    folder.Write("x", "");
    for (char const * bad : {"", "a?", "a\\b", "nul:", ".", ".."}) {
        SCOPED_TRACE(bad);
        IO::Name const name(bad);
        for (MuErrCode const status :
             {whole.Replace(name, "x"), whole.Replace("x", name), whole.CreateFileLike(name, "x"),
              whole.CreateFileLike("y", name), whole.GetDiskUse(name, &use)})
            EXPECT_EQ(status, IO::Error);
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
    Tests::Place const other(true);
    FolderConnection const foreign(other.GetRoot());
    EXPECT_EQ(GetEntry().Move("file", *foreign, "x", true), Entry::MoveStatus::Other);
    EXPECT_EQ(GetEntry().Copy("file", *foreign, "x"), Entry::CopyStatus::Other);
}

TEST_F(WinFolderEntry, MovesToAnotherDriveByCopyAndDelete) {
    struct OtherDrive : Tests::ScriptedFileCalls {
        unsigned int MoveFile(Tests::PathText, Tests::PathText) override {
            return IO::FileError::NotSameDevice;
        }
    } drive;
    MakeTree();
    EXPECT_EQ(GetEntry().Move("tree", GetEntry(), "moved", true), Entry::MoveStatus::Done);
    EXPECT_EQ(List(), (std::set<std::string>{"moved/"}));
    EXPECT_EQ(folder.Read("moved/sub/b"), "B");
    EXPECT_EQ(GetEntry().Delete("moved", true), Entry::DeleteStatus::Done);
    folder.Write("a", "A");
    struct {
        FileCall call;
        unsigned int error;
        Entry::MoveStatus status;
    } const table[] = {{FileCall::DeleteFile, 5, Entry::MoveStatus::AccessDenied},
                       {FileCall::DeleteFile, 87, Entry::MoveStatus::Other},
                       {FileCall::CopyFile, 112, Entry::MoveStatus::DeviceFull}};
    for (auto const & row : table) {
        drive.Fail(row.call, 1, row.error);
        EXPECT_EQ(GetEntry().Move("a", GetEntry(), "b", false), row.status);
        EXPECT_TRUE(drive.Clear());
        EXPECT_EQ(List(), (std::set<std::string>{"a"})) << "the copy goes when the source stays";
    }
    EXPECT_EQ(GetEntry().Move("a", GetEntry(), "b", false), Entry::MoveStatus::Done);
    EXPECT_EQ(folder.Read("b"), "A");
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

TEST_F(WinFolderEntry, GivesItsProtectionBackToAFileThatCannotBeDeleted) {
    folder.Write("file", "x");
    FileConnection const file(At("file"));
    bool isProtected = false;
    EXPECT_EQ(file->SetWriteProtection(true), Entry::AttributeStatus::Done);
    calls.Fail(FileCall::DeleteFile, 2, IO::FileError::SharingViolation);
    EXPECT_EQ(GetEntry().Delete("file", true), Entry::DeleteStatus::AccessDenied);
    EXPECT_TRUE(calls.Clear());
    EXPECT_EQ(file->IsWriteProtected(&isProtected), Entry::AttributeStatus::Done);
    EXPECT_TRUE(isProtected);
    calls.Fail(FileCall::SetFileAttributes, 1, IO::FileError::AccessDenied);
    EXPECT_EQ(GetEntry().Delete("file", true), Entry::DeleteStatus::AccessDenied);
    EXPECT_TRUE(calls.Clear());
    EXPECT_EQ(GetEntry().Delete("file", true), Entry::DeleteStatus::Done);
}

TEST_F(WinFolderEntry, KnowsFilesFoldersAndLinks) {
    folder.Write("file", "x");
    folder.Write("empty", "");
    ASSERT_EQ(GetEntry().CreateFolder("sub", nullptr), Entry::CreateStatus::Done);
    ASSERT_EQ(GetEntry().CreateLink("to file.lnk", At("file")), Entry::CreateStatus::Done);
    ASSERT_EQ(GetEntry().CreateLink("to folder.lnk", At("sub")), Entry::CreateStatus::Done);
    ASSERT_EQ(GetEntry().CreateLink("broken.lnk", At("none")), Entry::CreateStatus::Done);
    ASSERT_EQ(GetEntry().CreateLink("far.lnk", IO::Location(At("none"), IO::Name("x"))),
              Entry::CreateStatus::Done);
    EXPECT_EQ(GetEntry().CreateLink("file", At("sub")), Entry::CreateStatus::AlreadyExists);
    EXPECT_EQ(GetEntry().Copy("broken.lnk", GetEntry(), "copy.lnk"), Entry::CopyStatus::Done);
    constexpr auto file = IO::EntryType::File, sub = IO::EntryType::Folder;
    constexpr auto link = IO::EntryType::Link;
    struct {
        char const * name;
        IO::EntryType type;
        std::optional<IO::EntryType> resolved;
    } const table[] = {
        {"file", file, file},        {"empty", file, file},        {"sub", sub, sub},
        {"to file.lnk", link, file}, {"to folder.lnk", link, sub}, {"broken.lnk", link, {}},
        {"copy.lnk", link, {}},      {"far.lnk", link, {}},
    };
    for (auto const & row : table) {
        SCOPED_TRACE(row.name);
        IO::EntryType type;
        EXPECT_EQ(GetEntry().GetType(row.name, &type), Entry::GetTypeStatus::Done);
        EXPECT_EQ(type, row.type);
        MuErrCode const expected = row.resolved ? IO::NoError : IO::ErrFSEntryNotFound;
        EXPECT_EQ(IO::fileSystem.EstimateResolvedType(At(row.name), &type), expected);
        EXPECT_TRUE(!row.resolved || type == row.resolved);
        EXPECT_EQ(IO::fileSystem.GetResolvedType(At(row.name), &type), expected);
        EXPECT_TRUE(!row.resolved || type == row.resolved);
        EXPECT_EQ(FileConnection(At(row.name)).GetStatus(), !row.resolved ? IO::ErrFSFileNotFound
                                                            : row.resolved == file
                                                                ? IO::NoError
                                                                : IO::ErrFSNotAFile);
    }
    IO::Folder whole(root);
    EXPECT_EQ(IO::File(whole, "far.lnk", IO::File::OnNotFound::Create).GetStatus(),
              IO::ErrFileCreationFailed);
    EXPECT_EQ(IO::Folder(whole, "far.lnk", IO::Folder::OnNotFound::Create).GetStatus(),
              IO::ErrFolderNotFound);
    EXPECT_EQ(List().count("x") + List().count("x/"), 0u) << "a stray one";
    EXPECT_EQ(FileConnection(At("to file.lnk")).GetLocation(), At("file"))
        << "the location becomes the target's";
    IO::Location target;
    EXPECT_TRUE(IO::fileSystem.ResolveLocation(At("to file.lnk"), &target));
    EXPECT_EQ(target, At("file"));
    EXPECT_TRUE(IO::fileSystem.ResolveLocation(&target));
    EXPECT_EQ(target, At("file")) << "what is no link stays";
    FolderConnection const through(At("to folder.lnk"));
    EXPECT_EQ(through->CreateFile("through", nullptr), Entry::CreateStatus::Done);
    EXPECT_EQ(folder.Read("sub/through"), "");
}

// Each of the looks, and all behind it; a link that cannot be read is a file.
TEST_F(WinFolderEntry, IsDeniedWhateverLookIsDenied) {
    ASSERT_EQ(GetEntry().CreateLink("link.lnk", root), Entry::CreateStatus::Done);
    auto const sweep = [&](auto const & ask) {
        for (std::string results;;) {
            unsigned int const n = static_cast<unsigned int>(results.size()) + 1;
            calls.Fail(FileCall::Any, n, IO::FileError::LockViolation, true);
            MuErrCode const status = ask();
            if (!calls.Clear())
                return results;
            results += status == IO::ErrFSAccessDenied ? '-' : status == IO::NoError ? '+' : '?';
        }
    };
    auto & front = IO::fileSystem;
    IO::EntryType type;
    EXPECT_EQ(sweep([&] { return front.EstimateResolvedType(At("link.lnk"), &type); }),
              "--+--+-----");
    EXPECT_EQ(sweep([&] { return front.GetResolvedType(At("link.lnk"), &type); }), "--+-----");
    EXPECT_EQ(sweep([&] { return front.CreateFolderTree(root, IO::RelativeLocation(U("x"))); }),
              "---");
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

TEST_F(WinFolderEntry, TriesWhetherItCanBeReadAndWritten) {
    EXPECT_TRUE(GetEntry().IsReadable());
    EXPECT_TRUE(GetEntry().IsWriteable());
    EXPECT_EQ(List(), std::set<std::string>()) << "the test of writing leaves nothing";
    for (FileCall const call : {FileCall::DeleteFile, FileCall::CreateFile}) {
        calls.Fail(call, 1, IO::FileError::AccessDenied);
        EXPECT_FALSE(GetEntry().IsWriteable());
    }
    calls.Fail(FileCall::OpenFolder, 1, IO::FileError::FileNotFound);
    EXPECT_FALSE(GetEntry().IsReadable());
    calls.Clear();
    EXPECT_EQ(List(), (std::set<std::string>{"Write Test 245770131727495"}));
}

TEST_F(WinFolderEntry, HasTimesBelowTheDriveOnly) {
    FolderConnection const drive(IO::Location("C:\\")), computer{IO::Location()};
    int time = 0;
    for (FolderConnection const * top : {&drive, &computer}) {
        EXPECT_EQ((*top)->SetCreationTime(1), Entry::TimeStatus::Other);
        EXPECT_EQ((*top)->GetModificationTime(&time), Entry::TimeStatus::Other);
    }
    EXPECT_EQ(GetEntry().SetModificationTime(1000000000), Entry::TimeStatus::Done);
    EXPECT_EQ(GetEntry().GetModificationTime(&time), Entry::TimeStatus::Done);
    EXPECT_EQ(time, 1000000000);
    EXPECT_EQ(GetEntry().SetCreationTime(900000000), Entry::TimeStatus::Done);
}

TEST_F(WinFolderEntry, HoldsTheDrivesAtTheRootOfTheComputer) {
    FolderConnection const computer{IO::Location()};
    ASSERT_EQ(computer.GetStatus(), IO::NoError);
    NameCollector collector;
    EXPECT_EQ(computer->Enumerate(collector), Entry::EnumerateStatus::Done);
    EXPECT_EQ(collector.names.count("C:/"), 1u);
    Entry::EntryType type;
    EXPECT_EQ(computer->GetType("C:", &type), Entry::GetTypeStatus::Done);
    EXPECT_EQ(type, IO::EntryType::Folder);
    calls.ResetCounts();
    EXPECT_EQ(computer->CreateFile("a", nullptr), Entry::CreateStatus::Other);
    EXPECT_EQ(computer->CreateFolder("a", nullptr), Entry::CreateStatus::Other);
    EXPECT_EQ(computer->Delete("C:", true), Entry::DeleteStatus::Other);
    EXPECT_EQ(computer->Move("C:", GetEntry(), "a", true), Entry::MoveStatus::Other);
    EXPECT_EQ(GetEntry().Copy("a", *computer, "b"), Entry::CopyStatus::Other);
    EXPECT_EQ(calls.Count(FileCall::Any), 0u) << "nothing of that is even tried";
    unsigned long long space = 0;
    bool local = false, fixed = false;
    EXPECT_EQ(computer->GetFreeSpace(&space), Entry::AttributeStatus::Done);
    EXPECT_GT(space, 0u);
    EXPECT_TRUE(computer->IsReadable() && !computer->IsWriteable());
    EXPECT_EQ(computer->IsOnLocalVolume(&local), Entry::AttributeStatus::Done);
    EXPECT_EQ(computer->IsOnFixedVolume(&fixed), Entry::AttributeStatus::Done);
    EXPECT_TRUE(local && fixed);
    calls.Fail(FileCall::GetLogicalDriveStrings, 1, IO::FileError::AccessDenied, true);
    EXPECT_EQ(computer->Enumerate(collector), Entry::EnumerateStatus::Other);
    EXPECT_EQ(computer->GetFreeSpace(&space), Entry::AttributeStatus::Other);
    calls.Clear();
}

TEST_F(WinFolderEntry, ReportsEachEntryOnceWhileItIsEmptied) {
    for (int i = 0; i < 300; ++i)
        folder.Write("entry" + std::to_string(i), "");
    NameCollector collector;
    collector.limit = 5;
    EXPECT_EQ(GetEntry().Enumerate(collector), Entry::EnumerateStatus::Stopped);
    EXPECT_EQ(collector.names.size(), 5u);
    EXPECT_EQ(IO::Folder(root).DeleteAll(IO::DataSafety::KeepProtected), IO::NoError)
        << "one that is reported twice is not there any more";
    EXPECT_EQ(List(), std::set<std::string>());
}
