#include <Kestrel/FileSystem/FileSystem.h>

#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/Folder.h>

#include <Kestrel/Location/Internal/OSErrors.h>
#include <Kestrel/Root/Logger.h>

#include "Tests/Support/FileSystem/MemoryFS.h"
#include "Tests/Support/FileSystem/ScriptedFileCalls.h"
#include "Tests/Support/HandClock.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/TempFolder.h"
#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <regex>

namespace {

using Action = IO::FileSystem::AccessDeniedAction;
using Treatment = IO::AccessDeniedTreatment;

IO::Location At(Tests::TempFolder const & folder) {
    return IO::Location(Mu::UniString(folder.GetPortable()));
}

IO::Location At(Tests::TempFolder const & folder, char const * name) {
    return IO::Location(Mu::UniString(folder.GetPortable(name)));
}

unsigned int CountTries(IO::Location const & location, Treatment treatment) {
    unsigned int counter = 99, tries = 0;
    IO::fileSystem.InitAccessDeniedCounter(&counter);
    while (IO::fileSystem.ProcessAccessDenied(location, treatment, &counter) == Action::Retry)
        ++tries;
    return tries;
}

IO::EntryType TypeOf(IO::Location const & location) {
    IO::EntryType type = static_cast<IO::EntryType>(9);
    EXPECT_EQ(IO::fileSystem.GetType(location, &type), IO::NoError);
    return type;
}

template <typename T>
__attribute__((no_sanitize("null"))) T const & NullReference() {
    T const * volatile none = nullptr;
    return *none;
}

} // namespace

TEST(FileSystem, CreatesRenamesMovesCopiesAndDeletesWholeLocations) {
    Tests::TempFolder folder;
    IO::fileSystem.CreateFolder(At(folder, "sub"));
    EXPECT_EQ(IO::fileSystem.CreateFile(At(folder, "a")), IO::NoError);
    EXPECT_EQ(IO::fileSystem.CreateFile(At(folder, "a")), IO::ErrTargetExists);
    folder.Write("a", "content");
    EXPECT_EQ(IO::fileSystem.Rename(At(folder, "a"), IO::Name("b"), Treatment::Fail), IO::NoError);
    EXPECT_EQ(
        IO::fileSystem.Move(At(folder, "b"), At(folder, "sub\\c"), IO::DataSafety::KeepProtected),
        IO::NoError);
    EXPECT_EQ(IO::fileSystem.Copy(At(folder, "sub"), At(folder, "twin")), IO::NoError);
    EXPECT_EQ(folder.Read("twin/c"), "content");
    EXPECT_EQ(
        IO::fileSystem.Delete(At(folder, "sub"), IO::DataSafety::KeepProtected, Treatment::Fail),
        IO::NoError);
    bool contained = true;
    EXPECT_EQ(IO::fileSystem.Contains(At(folder, "sub"), &contained), IO::NoError);
    EXPECT_FALSE(contained);
    EXPECT_EQ(IO::fileSystem.Contains(At(folder, "twin\\c"), &contained), IO::NoError);
    EXPECT_TRUE(contained);
    EXPECT_EQ(
        IO::fileSystem.Delete(At(folder, "sub"), IO::DataSafety::KeepProtected, Treatment::Fail),
        IO::ErrEntryNotFound);
    EXPECT_EQ(IO::fileSystem.CreateFile(At(folder, "none\\a")), IO::ErrFolderNotFound)
        << "a folder that does not connect answers with its own status";
}

TEST(FileSystem, RefusesRootsAndNullsWhereAnEntryIsNeeded) {
    IO::Location const root, unhealthy("C:\\\\");
    IO::Location const & none = NullReference<IO::Location>();
    IO::Location const healthy("C:\\a");
    for (IO::Location const * location : {&root, &unhealthy, &none}) {
        EXPECT_EQ(IO::fileSystem.CreateFile(*location), IO::Error);
        EXPECT_EQ(IO::fileSystem.CreateFolder(*location), IO::Error);
        EXPECT_EQ(IO::fileSystem.Rename(*location, IO::Name("b"), Treatment::Fail), IO::Error);
        EXPECT_EQ(IO::fileSystem.Move(*location, healthy, IO::DataSafety::KeepProtected),
                  IO::Error);
        EXPECT_EQ(IO::fileSystem.Copy(*location, healthy), IO::Error);
        EXPECT_EQ(IO::fileSystem.Delete(*location, IO::DataSafety::KeepProtected, Treatment::Fail),
                  IO::Error);
    }
    bool contained = false;
    IO::EntryType type;
    for (IO::Location const * location : {&unhealthy, &none}) {
        EXPECT_EQ(IO::fileSystem.GetType(*location, &type), IO::Error);
        EXPECT_EQ(IO::fileSystem.GetResolvedType(*location, &type), IO::Error);
        EXPECT_EQ(IO::fileSystem.EstimateResolvedType(*location, &type), IO::Error);
        EXPECT_EQ(IO::fileSystem.Contains(*location, &contained), IO::Error);
        EXPECT_EQ(IO::fileSystem.CreateFolderTree(*location), IO::Error);
    }
    EXPECT_EQ(IO::fileSystem.GetType(healthy, nullptr), IO::Error);
    EXPECT_EQ(IO::fileSystem.GetResolvedType(healthy, nullptr), IO::Error);
    EXPECT_EQ(IO::fileSystem.Contains(healthy, nullptr), IO::Error);
    EXPECT_EQ(IO::fileSystem.GetSpecialLocation(IO::SpecLocId::System, nullptr), IO::Error);
    EXPECT_FALSE(IO::fileSystem.IsOnLine(none));
    EXPECT_FALSE(IO::fileSystem.ResolveLocation(healthy, nullptr));
    IO::FileEntry * entry = nullptr;
    EXPECT_EQ(IO::fileSystem.Connect(nullptr, &entry), IO::Error);
    IO::fileSystem.Disconnect(entry);
}

TEST(FileSystem, TakesNoTimeThatIsNotThere) {
    Tests::TempFolder const disk;
    disk.Write("file", "");
    int const & none = NullReference<int>();
    IO::Folder folder(IO::Location(disk.GetPortable().c_str()));
    IO::File file(folder, "file");
    EXPECT_EQ(folder.SetCreationTime(none), IO::Error);
    EXPECT_EQ(folder.SetModificationTime(none), IO::Error);
    EXPECT_EQ(file.SetCreationTime(none), IO::Error);
    EXPECT_EQ(file.SetModificationTime(none), IO::Error);
}

TEST(FileSystem, ReportsTheErrorsOfTheLastTryAlone) {
    unsigned int counter = 2;
    IO::AddOSError("denied");
    EXPECT_EQ(
        IO::fileSystem.ProcessAccessDenied(IO::Location("C:\\x"), Treatment::RetryAlways, &counter),
        Action::Retry);
    EXPECT_STREQ(IO::GetOSErrors(), "");
    IO::AddOSError("denied");
    EXPECT_EQ(IO::fileSystem.ProcessAccessDenied(IO::Location("C:\\x"), Treatment::RetryPrivate,
                                                 &counter),
              Action::GiveUp);
    EXPECT_STREQ(IO::GetOSErrors(), "denied");
    IO::ClearOSErrors();
}

TEST(Folder, IsNamedInALineWhenItFailedToo) {
    Tests::LogCapture log;
    IO::Folder const folder(IO::Location("C:\\no such folder 8351"),
                            IO::Folder::OnNotFound::FailQuietly);
    Mu::ErrorLogLine line("about %", "IO", nullptr);
    Mu::LogComposer composer;
    Append(composer, folder);
    Mu::logger.Append(line, &composer);
    EXPECT_TRUE(log.Contains("about C:\\no such folder 8351"));
}

TEST(FileSystem, TellsTypesOfEntries) {
    Tests::TempFolder folder;
    folder.Write("file", "x");
    ASSERT_EQ(IO::fileSystem.CreateFolder(At(folder, "sub")), IO::NoError);
    EXPECT_EQ(TypeOf(At(folder, "file")), IO::EntryType::File);
    EXPECT_EQ(TypeOf(At(folder, "sub")), IO::EntryType::Folder);
    EXPECT_EQ(TypeOf(IO::Location()), IO::EntryType::Folder);
    EXPECT_EQ(TypeOf(IO::Location("C:\\")), IO::EntryType::Folder);
    IO::EntryType type;
    EXPECT_EQ(IO::fileSystem.GetType(At(folder, "none"), &type), IO::ErrFSEntryNotFound);
    EXPECT_EQ(IO::fileSystem.GetResolvedType(At(folder, "none"), &type), IO::ErrFSEntryNotFound);
    EXPECT_EQ(IO::fileSystem.EstimateResolvedType(At(folder, "none"), &type),
              IO::ErrFSEntryNotFound);
    EXPECT_EQ(IO::fileSystem.GetType(At(folder, "none\\a"), &type), IO::Error);
    bool contained = false;
    EXPECT_EQ(IO::fileSystem.Contains(IO::Location(), &contained), IO::NoError);
    EXPECT_TRUE(contained);
}

TEST(FileSystem, MakesTheMissingPartOfAFolderTree) {
    Tests::TempFolder folder;
    folder.Write("file", "");
    EXPECT_EQ(IO::fileSystem.CreateFolderTree(At(folder), IO::RelativeLocation(U("a\\b\\c"))),
              IO::NoError);
    EXPECT_EQ(IO::fileSystem.CreateFolderTree(At(folder), IO::RelativeLocation(U("a\\b\\d"))),
              IO::NoError);
    EXPECT_EQ(IO::fileSystem.CreateFolderTree(At(folder, "a\\x\\y")), IO::NoError);
    EXPECT_EQ(TypeOf(At(folder, "a\\b\\c")), IO::EntryType::Folder);
    EXPECT_EQ(TypeOf(At(folder, "a\\b\\d")), IO::EntryType::Folder);
    EXPECT_EQ(TypeOf(At(folder, "a\\x\\y")), IO::EntryType::Folder);
    IO::RelativeLocation out(U("a"));
    out.Append(IO::Name(".."));
    out.Append(IO::Name(".."));
    out.Append(IO::Name("beside"));
    EXPECT_EQ(IO::fileSystem.CreateFolderTree(At(folder, "a"), out), IO::Error);
    EXPECT_EQ(IO::fileSystem.CreateFolderTree(At(folder, "file\\x")), IO::ErrFSNotAFolder);
    EXPECT_EQ(IO::fileSystem.CreateFolderTree(At(folder, "none"), IO::RelativeLocation(U("x"))),
              IO::ErrFSEntryNotFound);
    EXPECT_EQ(IO::fileSystem.CreateFolderTree(At(folder, "file"), IO::RelativeLocation(U("x"))),
              IO::ErrFSNotAFolder);
}

TEST(FileSystem, TranslatesWhatStopsAFolderTree) {
    Tests::MemoryFixedVFS system;
    IO::Location const place("Q:\\tree");
    ASSERT_EQ(IO::fileSystem.Mount(system, place), IO::NoError);
    IO::RelativeLocation const path(U("a\\b"));
    system.tree.freeSpace = 1;
    EXPECT_EQ(IO::fileSystem.CreateFolderTree(place, path), IO::ErrFSDeviceFull);
    EXPECT_NE(system.tree.Find("a"), nullptr);
    system.tree.freeSpace = 100;
    system.tree.isReadOnly = true;
    EXPECT_EQ(IO::fileSystem.CreateFolderTree(place, path), IO::ErrFSAccessDenied);
    system.tree.refusesAccess = true;
    EXPECT_EQ(IO::fileSystem.CreateFolderTree(place, path), IO::ErrFSAccessDenied);
    EXPECT_EQ(system.tree.CountConnected(), 0);
    EXPECT_EQ(IO::fileSystem.Unmount(system), IO::NoError);
}

// What is a link to the end is neither a file nor a folder.
TEST(FileSystem, GivesNoResolvedTypeToALinkThatCannotBeFollowed) {
    Tests::MemoryFixedVFS system;
    IO::Location const place("Q:\\links");
    ASSERT_EQ(IO::fileSystem.Mount(system, place), IO::NoError);
    system.tree.AddFile("link", "").type = IO::EntryType::Link;
    IO::EntryType type = IO::EntryType::File;
    IO::Location const link(place, IO::Name("link"));
    EXPECT_EQ(IO::fileSystem.GetType(link, &type), IO::NoError);
    EXPECT_EQ(type, IO::EntryType::Link);
    EXPECT_EQ(IO::fileSystem.GetResolvedType(link, &type), IO::Error);
    EXPECT_EQ(IO::fileSystem.Unmount(system), IO::NoError);
}

TEST(FileSystem, KnowsPrivateLocationsAndWhatLiesBelow) {
    IO::Location const place("C:\\private");
    EXPECT_FALSE(IO::fileSystem.IsPrivateLocation(place));
    IO::fileSystem.AddPrivateLocation(place);
    IO::fileSystem.AddPrivateLocation(IO::Location("C:\\PRIVATE")); // listed already
    EXPECT_TRUE(IO::fileSystem.IsPrivateLocation(place));
    EXPECT_TRUE(IO::fileSystem.IsPrivateLocation(IO::Location("C:\\private\\a\\b")));
    EXPECT_FALSE(IO::fileSystem.IsPrivateLocation(IO::Location("C:\\privates")));
    IO::fileSystem.DeletePrivateLocation(place);
    EXPECT_FALSE(IO::fileSystem.IsPrivateLocation(place));
}

TEST(FileSystem, RetriesAsOftenAsTheDurationHasIntervals) {
    Tests::HandClock clock;
    IO::Location const common("C:\\common"), place("C:\\private"), below("C:\\private\\x");
    IO::fileSystem.AddPrivateLocation(place);
    struct {
        IO::Location const * location;
        Treatment treatment;
        unsigned int duration;
        unsigned int tries;
        unsigned int sleeps;
    } const table[] = {
        {&place, Treatment::Fail, 1000, 0, 0},
        {&common, Treatment::RetryAlways, 1000, 10, 0},
        {&place, Treatment::RetryAlways, 1000, 10, 0},
        {&common, Treatment::RetryPrivate, 1000, 0, 0},
        {&below, Treatment::RetryPrivate, 1000, 10, 10},
        {&below, Treatment::RetryPrivate, 250, 2, 2},
        {&below, Treatment::RetryPrivate, 50, 0, 0},
        {&common, Treatment::RetryAlways, 99, 0, 0},
    };
    for (auto const & row : table) {
        SCOPED_TRACE(testing::Message() << "row " << &row - table);
        std::size_t const before = clock.GetSleeps().size();
        IO::fileSystem.SetAccessDeniedRetryDuration(row.duration);
        EXPECT_EQ(CountTries(*row.location, row.treatment), row.tries);
        auto const sleeps = clock.GetSleeps();
        EXPECT_EQ(sleeps.size() - before, row.sleeps);
        for (std::size_t i = before; i < sleeps.size(); ++i)
            EXPECT_EQ(sleeps[i], 100u);
    }
    IO::fileSystem.SetAccessDeniedRetryDuration(1000);
    IO::fileSystem.DeletePrivateLocation(place);

    unsigned int counter = 5;
    EXPECT_EQ(IO::fileSystem.ProcessAccessDenied(NullReference<IO::Location>(),
                                                 Treatment::RetryAlways, &counter),
              Action::GiveUp);
    EXPECT_EQ(counter, 5u);
    EXPECT_EQ(IO::fileSystem.ProcessAccessDenied(common, Treatment::RetryAlways, nullptr),
              Action::GiveUp);
    EXPECT_EQ(IO::fileSystem.ProcessAccessDenied(common, Treatment::RetryPrivate, &counter),
              Action::GiveUp);
    EXPECT_EQ(counter, 4u) << "a try that is not worth it is spent all the same";
}

TEST(FileSystem, FindsTheSpecialLocations) {
    Tests::LogCapture log;
    for (unsigned int id = 0; id <= 17; ++id) {
        SCOPED_TRACE(id);
        IO::Location location;
        MuErrCode const status =
            IO::fileSystem.GetSpecialLocation(static_cast<IO::SpecLocId>(id), &location);
        EXPECT_EQ(status, IO::NoError);
        EXPECT_TRUE(location.IsValid());
        EXPECT_GE(location.GetLocalLength(), 1u);
    }
    IO::Location location, folder;
    EXPECT_EQ(IO::fileSystem.GetSpecialLocation(static_cast<IO::SpecLocId>(18), &location),
              IO::Error);
    EXPECT_TRUE(log.GetLines().empty());

    ASSERT_EQ(IO::fileSystem.GetSpecialLocation(IO::SpecLocId::ApplicationFile, &location),
              IO::NoError);
    ASSERT_EQ(IO::fileSystem.GetSpecialLocation(IO::SpecLocId::ApplicationFolder, &folder),
              IO::NoError);
    EXPECT_EQ(TypeOf(location), IO::EntryType::File);
    EXPECT_TRUE(folder.IsAncestorOf(location));
    EXPECT_EQ(folder.GetLocalLength() + 1, location.GetLocalLength());
    ASSERT_EQ(IO::fileSystem.GetSpecialLocation(IO::SpecLocId::TemporaryFolder, &location),
              IO::NoError);
    EXPECT_EQ(TypeOf(location), IO::EntryType::Folder);
}

TEST(FileSystem, TellsWhichLocationCannotBeResolved) {
    Tests::LogCapture log;
    IO::Location const illegal("C:\\a*b");
    IO::Location location;
    EXPECT_FALSE(IO::fileSystem.ResolveLocation(illegal, &location));
    ASSERT_EQ(log.GetLines().size(), 1u);
    EXPECT_EQ(log.GetLines()[0].text,
              "Resolvation of the location \"C:\\a*b\" has failed (OS errors: )");
    EXPECT_EQ(log.GetLines()[0].severity, Mu::LogSeverity::Error);
    EXPECT_TRUE(IO::fileSystem.ResolveLocation(IO::Location("C:\\none"), &location));
    EXPECT_EQ(location, IO::Location("C:\\none")) << "what is no link leads to itself";
    EXPECT_EQ(log.GetLines().size(), 1u);
}

TEST(FileSystem, IsOnLineForAllButAnEmptyDrive) {
    EXPECT_TRUE(IO::fileSystem.IsOnLine(IO::Location()));
    EXPECT_TRUE(IO::fileSystem.IsOnLine(IO::Location("C:\\a\\b")));
    EXPECT_TRUE(IO::fileSystem.IsOnLine(IO::Location("\\\\nowhere\\share")));
    EXPECT_TRUE(IO::fileSystem.IsOnLine(IO::Location("C:\\\\"))) << "unhealthy";
}

// The calls that the line of a failure names: those that failed it, each once, and none that only
// looked whether something is there.
TEST(FileSystem, BlamesWhatFailedAlone) {
    using Tests::FileCall;
    constexpr auto keep = IO::DataSafety::KeepProtected;
    Tests::TempFolder folder;
    std::filesystem::create_directories(folder / "tree/sub/deep");
    folder.Write("tree/sub/deep/file", "x");
    struct {
        FileCall call;
        unsigned int error;
        std::function<void()> run;
        std::string blamed;
    } const table[] = {
        {FileCall::DeleteFile, 5,
         [&] { (void)IO::fileSystem.Delete(At(folder, "tree"), keep, Treatment::RetryAlways); },
         "DeleteFile"},
        {FileCall::CopyFile, 112,
         [&] { (void)IO::fileSystem.Copy(At(folder, "tree"), At(folder, "twin")); }, "CopyFile"},
        {FileCall::MoveFile, 2,
         [&] { (void)IO::fileSystem.Move(At(folder, "none"), At(folder, "x"), keep); }, "MoveFile"},
        {FileCall::CreateFile, 112,
         [&] { IO::File const file(At(folder, "new"), IO::File::OnNotFound::Create); },
         "CreateFile"},
        {FileCall::CreateDirectory, 112,
         [&] { IO::Folder const made(At(folder, "new"), IO::Folder::OnNotFound::Create); },
         "CreateDirectory"},
        {FileCall::CreateDirectory, 5,
         [&] { (void)IO::fileSystem.CreateFolderTree(At(folder, "a\\b")); }, "CreateDirectory"},
        {FileCall::CreateFile, 32,
         [&] {
             IO::File file(At(folder, "tree\\sub\\deep\\file"));
             (void)file.Open(IO::File::OpenMode::WriteOnly, Treatment::RetryAlways);
         },
         "CreateFile"},
    };
    for (auto const & row : table) {
        SCOPED_TRACE(row.blamed);
        Tests::ScriptedFileCalls calls;
        calls.Fail(row.call, 1, row.error, true);
        Tests::LogCapture log;
        row.run();
        std::string blamed;
        for (Tests::LogCapture::Line const & line : log.GetLines()) {
            std::smatch found;
            std::string text = line.text;
            for (; std::regex_search(text, found, std::regex("(\\w+): \\d+ = "));
                 text = found.suffix())
                blamed += found[1].str() + " ";
        }
        EXPECT_EQ(blamed, row.blamed + " ");
        calls.Clear();
        IO::ClearOSErrors();
    }
}
