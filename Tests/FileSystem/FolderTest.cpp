#include <Kestrel/FileSystem/Folder.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/FileSystem/Place.h"
#include "Tests/Support/FileSystem/ScriptedFileCalls.h"
#include "Tests/Support/HandClock.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/Text.h"

#include <Kestrel/Channel/MemoryOChannel.h>
#include <Kestrel/Location/Internal/OSErrors.h>
#include <Kestrel/Root/Exceptions.h>
#include <Kestrel/Root/Thread.h>

#include <set>
#include <string_view>

using IO::Folder;
using IO::Name;
using Safety = IO::DataSafety;

namespace {

std::string Mark(Name const & name, bool isFolder) {
    return ToUtf8(name.ToString()) + (isFolder ? "/" : "");
}

bool Collect(Folder const &, Name const & name, bool isFolder, void * data) {
    static_cast<std::set<std::string> *>(data)->insert(Mark(name, isFolder));
    return true;
}

bool StopAtFirst(Folder const &, Name const &, bool, void * data) {
    ++*static_cast<int *>(data);
    return false;
}

std::set<std::string> List(Folder const & folder, Folder::LinkProcessing links, unsigned int mask) {
    std::set<std::string> found;
    EXPECT_EQ(folder.Enumerate(Collect, links, mask, &found), IO::NoError);
    return found;
}

std::set<std::string> List(Folder const & folder) {
    return List(folder, Folder::LinkProcessing::ReportLinks, Folder::Everything);
}

using Names = std::set<std::string>;

IO::EntryType TypeOf(Folder const & folder, char const * name) {
    IO::EntryType type{};
    EXPECT_EQ(folder.GetType(name, &type), IO::NoError);
    return type;
}

// A tree with a nested folder, an empty one and a file larger than a copy's piece.
void Plant(Tests::Place const & place) {
    Folder root(place.GetRoot());
    ASSERT_EQ(root.CreateFolder("tree"), IO::NoError);
    Folder tree(place / "tree");
    ASSERT_EQ(tree.CreateFolder("empty"), IO::NoError);
    ASSERT_EQ(tree.CreateFolder("deep"), IO::NoError);
    place.Write("small", "small");
    place.Write("large", std::string(40000, 'l'));
    ASSERT_EQ(root.Move("small", tree, "small", Safety::KeepProtected), IO::NoError);
    Folder deep(tree, Name("deep"));
    ASSERT_EQ(root.Move("large", deep, "large", Safety::KeepProtected), IO::NoError);
}

void ExpectPlanted(IO::Location const & tree) {
    EXPECT_EQ(List(Folder(tree)), (Names{"deep/", "empty/", "small"}));
    EXPECT_EQ(Tests::Place::Read(IO::Location(tree, Name("small"))), "small");
    IO::Location const deep(tree, Name("deep"));
    EXPECT_EQ(Tests::Place::Read(IO::Location(deep, Name("large"))), std::string(40000, 'l'));
}

} // namespace

using FolderOn = Tests::OnEachPlace;
INSTANTIATE_TEST_SUITE_P(Place, FolderOn, ::testing::Bool(), Tests::NamePlace);

TEST_P(FolderOn, MakesFindsAndDeletesEntries) {
    Folder folder(place.GetRoot());
    EXPECT_EQ(folder.CreateFile("file"), IO::NoError);
    EXPECT_EQ(folder.CreateFolder("folder"), IO::NoError);
    EXPECT_EQ(folder.CreateLink("link.lnk", place / "file"), IO::NoError);
    EXPECT_EQ(List(folder), (Names{"file", "folder/", "link.lnk"}));
    EXPECT_EQ(TypeOf(folder, "file"), IO::EntryType::File);
    EXPECT_EQ(TypeOf(folder, "folder"), IO::EntryType::Folder);
    EXPECT_EQ(TypeOf(folder, "link.lnk"), IO::EntryType::Link);
    EXPECT_EQ(TypeOf(folder, "FILE"), IO::EntryType::File) << "the platform overlooks case";
    IO::EntryType type;
    EXPECT_EQ(folder.GetType("absent", &type), IO::ErrEntryNotFound);

    EXPECT_EQ(folder.CreateFile("file"), IO::ErrTargetExists);
    EXPECT_EQ(folder.CreateFile("FILE"), IO::ErrTargetExists);
    EXPECT_EQ(folder.CreateFolder("file"), IO::ErrTargetExists);
    EXPECT_EQ(folder.CreateFolder("Folder"), IO::ErrTargetExists);

    bool contained = false;
    EXPECT_EQ(folder.Contains("folder", &contained), IO::NoError);
    EXPECT_TRUE(contained);
    for (char const * name : {"file", "folder", "link.lnk"})
        EXPECT_EQ(folder.Delete(name, Safety::KeepProtected), IO::NoError);
    EXPECT_EQ(folder.Contains("folder", &contained), IO::NoError);
    EXPECT_FALSE(contained);
    bool empty = false;
    EXPECT_EQ(folder.IsEmpty(&empty), IO::NoError);
    EXPECT_TRUE(empty);
    EXPECT_EQ(folder.Delete("file", Safety::KeepProtected), IO::ErrEntryNotFound);
}

TEST_P(FolderOn, RenamesAndExchanges) {
    Folder folder(place.GetRoot());
    place.Write("a", "first");
    place.Write("b", "second");
    EXPECT_EQ(folder.Rename("a", "c"), IO::NoError);
    EXPECT_EQ(folder.Rename("a", "d"), IO::ErrSourceNotFound);
    EXPECT_EQ(folder.Rename("c", "b"), IO::ErrTargetExists);
    EXPECT_EQ(folder.Exchange("b", "c"), IO::NoError);
    EXPECT_EQ(folder.Exchange("b", "absent"), IO::ErrSourceNotFound);
    EXPECT_EQ(List(folder), (Names{"b", "c"})) << "a failed exchange is taken back";
    EXPECT_EQ(place.Read("b"), "first");
    EXPECT_EQ(place.Read("c"), "second");
    ASSERT_EQ(folder.CreateFolder("sub"), IO::NoError);
    EXPECT_EQ(folder.Exchange("b", "sub"), IO::NoError);
    EXPECT_EQ(List(folder), (Names{"b/", "c", "sub"}));
    EXPECT_EQ(place.Read("sub"), "first");
}

TEST_P(FolderOn, CopiesFilesAndTrees) {
    Plant(place);
    Folder folder(place.GetRoot());
    EXPECT_EQ(folder.Copy("tree", "twin"), IO::NoError);
    ExpectPlanted(place / "twin");
    ExpectPlanted(place / "tree");
    EXPECT_EQ(folder.Copy("tree", "twin"), IO::ErrTargetExists);
    EXPECT_EQ(folder.Copy("absent", "other"), IO::ErrSourceNotFound);
    Folder const same(place.GetRoot());
    EXPECT_EQ(same.Copy("tree", folder, "other"), IO::Error) << "the const form wants another";
    EXPECT_EQ(List(folder), (Names{"tree/", "twin/"}));
}

TEST_P(FolderOn, DeletesTreesAndEverything) {
    Plant(place);
    Folder folder(place.GetRoot());
    place.Write("file", "x");
    EXPECT_EQ(folder.DeleteAll(Safety::KeepProtected), IO::NoError);
    EXPECT_EQ(List(folder), Names{});
}

TEST_P(FolderOn, LeavesProtectedFilesUnlessToldOtherwise) {
    place.Write("file", "x");
    IO::File(place / "file").SetWriteProtection();
    Folder folder(place.GetRoot());
    EXPECT_EQ(folder.Delete("file", Safety::KeepProtected), IO::ErrFolderAccessDenied);
    EXPECT_EQ(folder.Move("file", folder, "moved", Safety::KeepProtected),
              IO::ErrFolderAccessDenied);
    EXPECT_EQ(folder.Move("file", folder, "moved", Safety::IgnoreProtection), IO::NoError);
    EXPECT_EQ(folder.Delete("moved", Safety::IgnoreProtection), IO::NoError);
    EXPECT_EQ(List(folder), Names{});
}

// Only the disk follows links.
TEST(Folder, ReportsWhatTheMaskWants) {
    Tests::Place const place(false);
    Folder folder(place.GetRoot());
    folder.CreateFile("file");
    folder.CreateFolder("folder");
    folder.CreateLink("to file.lnk", place / "file");
    folder.CreateLink("to folder.lnk", place / "folder");
    folder.CreateLink("to nothing.lnk", place / "nothing");
    constexpr auto resolve = Folder::LinkProcessing::Resolve;
    constexpr auto asLinks = Folder::LinkProcessing::ReportLinks;
    EXPECT_EQ(List(folder, asLinks, Folder::Files), (Names{"file"}));
    EXPECT_EQ(List(folder, asLinks, Folder::Folders), (Names{"folder/"}));
    EXPECT_EQ(List(folder, asLinks, Folder::Links),
              (Names{"to file.lnk", "to folder.lnk", "to nothing.lnk"}));
    EXPECT_EQ(List(folder, resolve, Folder::Files), (Names{"file", "to file.lnk"}));
    EXPECT_EQ(List(folder, resolve, Folder::Files | Folder::Folders),
              (Names{"file", "folder/", "to file.lnk", "to folder.lnk/"}));
    EXPECT_EQ(List(folder, resolve, Folder::Files | Folder::Untyped),
              (Names{"file", "to file.lnk", "to nothing.lnk"}));
    unsigned int count = 0;
    EXPECT_EQ(folder.CountFiles(&count), IO::NoError);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(folder.CountFolders(&count), IO::NoError);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(folder.CountEntries(&count), IO::NoError);
    EXPECT_EQ(count, 5u);
}

TEST_P(FolderOn, ShowsWhatIsMountedRightBelow) {
    Folder folder(place.GetRoot());
    folder.CreateFile("file");
    Tests::MemoryFixedVFS below;
    Tests::MemoryFixedVFS deeper;
    ASSERT_EQ(IO::fileSystem.Mount(below, place / "mount"), IO::NoError);
    ASSERT_EQ(IO::fileSystem.Mount(deeper, IO::Location(place / "x", Name("y"))), IO::NoError);
    EXPECT_EQ(List(folder), (Names{"file", "mount/"}));
    EXPECT_EQ(List(folder, Folder::LinkProcessing::ReportLinks, Folder::Files), (Names{"file"}));
    int calls = 0;
    EXPECT_EQ(folder.Enumerate(StopAtFirst, &calls), IO::NoError);
    EXPECT_EQ(calls, 1) << "a stop leaves the mount points out";
    IO::fileSystem.Unmount(below);
    IO::fileSystem.Unmount(deeper);
}

TEST(Folder, FollowsALinkOnceForItsType) {
    Tests::Place const place(false);
    Folder folder(place.GetRoot());
    folder.CreateFolder("folder");
    folder.CreateLink("a.lnk", place / "folder");
    folder.CreateLink("gone.lnk", IO::Location(place / "nowhere", Name("x")));
    IO::EntryType type{};
    EXPECT_EQ(folder.GetResolvedType("a.lnk", &type), IO::NoError);
    EXPECT_EQ(type, IO::EntryType::Folder);
    EXPECT_EQ(folder.GetResolvedType("gone.lnk", &type), IO::ErrEntryNotFound);
    EXPECT_EQ(folder.GetResolvedType("absent", &type), IO::ErrEntryNotFound);
}

TEST_P(FolderOn, IsMadeOneLevelDeep) {
    EXPECT_EQ(Folder(place / "one", Folder::OnNotFound::Create).GetStatus(), IO::NoError);
    IO::Location const two(place / "absent", Name("two"));
    EXPECT_EQ(Folder(two, Folder::OnNotFound::Create).GetStatus(), IO::ErrFolderCreationFailed);
    EXPECT_EQ(Folder(place / "absent").GetStatus(), IO::ErrFolderNotFound);
    place.Write("file", "x");
    EXPECT_EQ(Folder(place / "file").GetStatus(), IO::ErrNotAFolder);
    EXPECT_EQ(Folder(IO::Location(u"")).GetStatus(), IO::Error);
    Tests::LogCapture log;
    EXPECT_EQ(Folder(place / "absent", Folder::OnNotFound::FailQuietly).GetStatus(),
              IO::ErrFolderNotFound);
    EXPECT_TRUE(log.GetLines().empty());
    Folder absent(place / "absent");
    EXPECT_TRUE(log.Contains("\" has failed: folder is not found (OS errors: "));
    EXPECT_EQ(absent.CreateFile("x"), IO::ErrFolderNotFound);
    EXPECT_FALSE(absent.IsReadable());
    EXPECT_FALSE(absent.IsWriteable());
    int calls = 0;
    EXPECT_EQ(absent.Enumerate(StopAtFirst, &calls), IO::ErrFolderNotFound);
}

TEST_P(FolderOn, FindsNamesThatNothingHas) {
    Folder folder(place.GetRoot());
    Name first;
    Name second;
    EXPECT_EQ(folder.GenerateUnusedName(&first, "a base of twenty ..."), 0);
    EXPECT_EQ(folder.GenerateUnusedName(&second, "a base of twenty ..."), 0);
    EXPECT_EQ(first.GetLength(), 25u);
    EXPECT_FALSE(first == second);
    folder.CreateFile("n_ame.txt");
    folder.CreateFile("n_ame_0.txt");
    unsigned int counter = 0;
    EXPECT_EQ(folder.GenerateUnusedNameFromString(&first, U("n:ame"), U("txt"), 0, &counter), 0);
    EXPECT_EQ(ToUtf8(first), "n_ame_1.txt");
    EXPECT_EQ(folder.CreateFile("N_AME.TXT"), IO::ErrTargetExists) << "case makes no other name";
    EXPECT_EQ(counter, 2u);
    EXPECT_STREQ(IO::GetOSErrors(), "") << "that nothing has a name is no failure";
}

TEST_P(FolderOn, PrintsWhatItHolds) {
    Folder folder(place.GetRoot());
    folder.CreateFile("file");
    IO::MemoryOChannel channel;
    EXPECT_EQ(folder.PrintContent(channel), IO::NoError);
    char const * const text = channel.GetDestination();
    EXPECT_EQ(std::string_view(text, channel.GetDataSize()), "file\n");
}

// Whichever call fails, and how: what is told to be done is done, and each file is somewhere.
TEST(Folder, DoesWhatItSaysWhateverTheSystemRefuses) {
    Tests::Place place(false);
    Tests::TempFolder const & disk = place.GetDisk();
    auto const isThere = [&](char const * name) { return std::filesystem::exists(disk / name); };
    Tests::SweepFileCalls([&](bool failed) {
        for (char const * name : {"new", "copy", "a", "b", "sub"})
            std::filesystem::remove_all(disk / name);
        disk.Write("a", "A");
        Folder folder(place.GetRoot());
        MuErrCode const made = folder.CreateFolder("new");
        MuErrCode const copied = folder.Copy("a", "copy");
        MuErrCode const renamed = folder.Rename("a", "b");
        MuErrCode const moved = folder.Move("copy", folder, "sub", Safety::KeepProtected);
        MuErrCode const deleted = folder.Delete("new", Safety::KeepProtected);
        EXPECT_STREQ(IO::GetOSErrors(), "");
        EXPECT_TRUE(failed || made + copied + renamed + moved + deleted == IO::NoError);
        EXPECT_EQ(isThere("new"), made == IO::NoError && deleted != IO::NoError);
        EXPECT_EQ(disk.Read(renamed == IO::NoError ? "b" : "a"), "A");
        EXPECT_NE(isThere("a"), isThere("b"));
        EXPECT_EQ(isThere("sub"), moved == IO::NoError);
        EXPECT_EQ(isThere("copy"), copied == IO::NoError && moved != IO::NoError);
    });
}

/// From the disk into memory, and the other way round.
class FolderBetween : public ::testing::TestWithParam<bool> {
protected:
    Tests::Place from{GetParam()};
    Tests::Place to{!GetParam()};
    Tests::MemoryTree & GetTree() { return GetParam() ? from.GetTree() : to.GetTree(); }
};
INSTANTIATE_TEST_SUITE_P(Place, FolderBetween, ::testing::Bool(),
                         [](auto const & info) { return info.param ? "ToDisk" : "ToMemory"; });

TEST_P(FolderBetween, CopiesAndMovesTrees) {
    Plant(from);
    Folder source(from.GetRoot());
    Folder target(to.GetRoot());
    EXPECT_EQ(source.Copy("tree", target, "copy"), IO::NoError);
    ExpectPlanted(to / "copy");
    ExpectPlanted(from / "tree");
    EXPECT_EQ(source.Move("tree", target, "moved", Safety::KeepProtected), IO::NoError);
    ExpectPlanted(to / "moved");
    EXPECT_EQ(List(source), Names{});
}

TEST_P(FolderBetween, NeverTouchesWhatStandsAtTheTarget) {
    from.Write("file", "new");
    to.Write("file", "old");
    Folder source(from.GetRoot());
    Folder target(to.GetRoot());
    EXPECT_EQ(source.Copy("file", target, "file"), IO::ErrTargetExists);
    EXPECT_EQ(source.Move("file", target, "file", Safety::KeepProtected), IO::ErrTargetExists);
    EXPECT_EQ(source.Move("absent", target, "file", Safety::KeepProtected), IO::ErrSourceNotFound);
    EXPECT_EQ(to.Read("file"), "old");
    EXPECT_EQ(from.Read("file"), "new");
}

TEST_P(FolderBetween, TakesAHalfMadeCopyBack) {
    Plant(from);
    Folder source(from.GetRoot());
    Folder target(to.GetRoot());
    GetTree().refusesRead = GetParam();
    GetTree().freeSpace = 20000; // for a file of 40000 bytes
    MuErrCode const expected = GetParam() ? IO::Error : IO::ErrDeviceFull;
    EXPECT_EQ(source.Copy("tree", target, "copy"), expected);
    EXPECT_EQ(source.Move("tree", target, "moved", Safety::KeepProtected), expected);
    EXPECT_EQ(List(target), Names{});
    GetTree().refusesRead = false;
    ExpectPlanted(from / "tree");
}

// The wait for a second try is where a thread can be told to stop.
TEST(Folder, LeavesNoHalfMadeCopyWhereAThreadIsToldToStop) {
    Tests::HandClock const clock;
    Tests::Place from(true);
    Tests::Place to(false);
    from.Write("file", "x");
    Folder source(from.GetRoot());
    Folder target(to.GetRoot());
    IO::fileSystem.AddPrivateLocation(to.GetRoot());
    {
        Tests::ScriptedFileCalls calls;
        calls.Fail(Tests::FileCall::CreateFile, 2, IO::FileError::SharingViolation, true);
        Mu::Thread::GetCurrent().Interrupt();
        EXPECT_THROW((void)source.Copy("file", target, "file"), Mu::InterruptedIOException);
        EXPECT_EQ(calls.Count(Tests::FileCall::CreateFile), 2u) << "made, and not opened";
    }
    EXPECT_EQ(List(target), Names{});
    EXPECT_EQ(source.Copy("file", target, "file"), IO::NoError);
    IO::fileSystem.DeletePrivateLocation(to.GetRoot());
}

TEST(Folder, KeepsTheSourceOfAMoveThatCannotDeleteIt) {
    Tests::Place from(true);
    Tests::Place to(false);
    from.Write("file", "x");
    from.GetTree().refusesDelete = true;
    Folder source(from.GetRoot());
    Folder target(to.GetRoot());
    EXPECT_EQ(source.Move("file", target, "file", Safety::KeepProtected),
              IO::ErrFolderAccessDenied);
    EXPECT_EQ(List(target), Names{});
    EXPECT_EQ(from.Read("file"), "x");
}

TEST(Folder, MovesNothingIntoAFolderThatCannotBeWritten) {
    Tests::Place from(false);
    Tests::Place to(true);
    from.Write("file", "x");
    to.GetTree().isReadOnly = true;
    Folder source(from.GetRoot());
    Folder target(to.GetRoot());
    Tests::LogCapture log;
    EXPECT_EQ(source.Move("file", target, "file", Safety::KeepProtected),
              IO::ErrFolderAccessDenied);
    EXPECT_TRUE(log.Contains(": access denied (OS errors: "));
    EXPECT_EQ(from.Read("file"), "x");
}

TEST(Folder, VanishesWhileItIsEnumerated) {
    Tests::Place place(false);
    Folder root(place.GetRoot());
    root.CreateFolder("folder");
    Folder folder(place / "folder");
    for (char const * name : {"a", "b", "c"})
        folder.CreateFile(name);
    auto const removeAll = [](Folder const &, Name const &, bool, void * data) {
        std::error_code ignored; // where the system keeps a folder that is being listed
        std::filesystem::remove_all(static_cast<Tests::Place *>(data)->GetDisk() / "folder",
                                    ignored);
        return true;
    };
    MuErrCode const status =
        folder.Enumerate(static_cast<Folder::ConstCallback>(removeAll), &place);
    EXPECT_TRUE(status == IO::NoError || status == IO::Error) << status;
    if (std::filesystem::exists(place.GetDisk() / "folder"))
        GTEST_SKIP() << "the system keeps a folder that is being listed";
    EXPECT_NE(folder.CreateFile("d"), IO::NoError);
    EXPECT_NE(Folder(place / "folder").GetStatus(), IO::NoError);
}
