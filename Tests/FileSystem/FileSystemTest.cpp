#include <Kestrel/FileSystem/FileSystem.h>

#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/Folder.h>

#include <Kestrel/Location/Internal/OSErrors.h>

#include "Tests/Support/FileSystem/ScriptedFileCalls.h"
#include "Tests/Support/FileSystem/ScriptedVFS.h"
#include "Tests/Support/HandClock.h"
#include "Tests/Support/Location/Locations.h"
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

} // namespace

TEST(FileSystem, RefusesRootsAndNullsWhereAnEntryIsNeeded) {
    IO::Location const root, unhealthy("C:\\\\");
    IO::Location const & none = Tests::NullReference<IO::Location const>();
    IO::Location const healthy("C:\\a");
    bool contained = false;
    IO::EntryType type;
    auto & front = IO::fileSystem;
    for (IO::Location const * location : {&root, &unhealthy, &none}) {
        EXPECT_EQ(front.CreateFile(*location), IO::Error);
        EXPECT_EQ(front.CreateFolder(*location), IO::Error);
        EXPECT_EQ(front.Rename(*location, IO::Name("b"), Treatment::Fail), IO::Error);
        EXPECT_EQ(front.Move(*location, healthy, IO::DataSafety::KeepProtected), IO::Error);
        EXPECT_EQ(front.Copy(*location, healthy), IO::Error);
        EXPECT_EQ(front.Delete(*location, IO::DataSafety::KeepProtected, Treatment::Fail),
                  IO::Error);
        MuErrCode const expected = location == &root ? IO::NoError : IO::Error;
        EXPECT_EQ(front.GetType(*location, &type), expected);
        EXPECT_EQ(front.GetResolvedType(*location, &type), expected);
        EXPECT_EQ(front.EstimateResolvedType(*location, &type), expected);
        EXPECT_EQ(front.Contains(*location, &contained), expected);
        EXPECT_EQ(contained, location == &root);
        contained = false;
    }
    IO::FileEntry * entry = nullptr;
    IO::Location resolved;
    unsigned int count = 0;
    for (MuErrCode const status :
         {front.CreateFolderTree(unhealthy), front.CreateFolderTree(none),
          front.CreateFolderTree(none, IO::RelativeLocation()),
          front.CreateFolderTree(healthy, Tests::NullReference<IO::RelativeLocation const>()),
          front.GetType(healthy, nullptr), front.GetResolvedType(healthy, nullptr),
          front.EstimateResolvedType(healthy, nullptr), front.Contains(healthy, nullptr),
          front.GetSpecialLocation(IO::SpecLocId::System, nullptr), front.CountFiles(none, &count),
          front.CountFiles(healthy, nullptr), front.CountSize(healthy, nullptr),
          front.Mount(Tests::NullReference<IO::FixedVFS>(), healthy),
          front.Mount(Tests::NullReference<IO::RollingVFS>()), front.Connect(nullptr, &entry)})
        EXPECT_EQ(status, IO::Error);
    EXPECT_FALSE(front.IsOnLine(none) || front.ResolveLocation(none, &resolved) ||
                 front.ResolveLocation(healthy, nullptr) || front.ResolveLocation(nullptr));
    front.Disconnect(entry);
    front.AddPrivateLocation(none);
}

TEST(FileSystem, CreatesTheMissingPartOfAFolderTree) {
    Tests::TempFolder folder;
    folder.Write("file", "");
    auto const create = [&](IO::Location const & place, char const * below) {
        return IO::fileSystem.CreateFolderTree(place, IO::RelativeLocation(U(below)));
    };
    EXPECT_EQ(create(At(folder), "a\\b\\c"), IO::NoError);
    EXPECT_EQ(create(At(folder), "a\\b\\d"), IO::NoError);
    EXPECT_EQ(IO::fileSystem.CreateFolderTree(At(folder, "a\\x\\y")), IO::NoError);
    for (char const * made : {"a/b/c", "a/b/d", "a/x/y"})
        EXPECT_TRUE(std::filesystem::is_directory(folder / made)) << made;
    IO::RelativeLocation out(U("a"));
    for (char const * name : {"..", "..", "beside"})
        out.Append(IO::Name(name));
    EXPECT_EQ(IO::fileSystem.CreateFolderTree(At(folder, "a"), out), IO::Error);
    EXPECT_EQ(IO::fileSystem.CreateFolderTree(At(folder, "file\\x")), IO::ErrFSNotAFolder);
    EXPECT_EQ(create(At(folder, "none"), "x"), IO::ErrFSEntryNotFound);
    EXPECT_EQ(create(At(folder, "file"), "x"), IO::ErrFSNotAFolder);
    Tests::ScriptedFileCalls calls;
    calls.Fail(Tests::FileCall::CreateDirectory, 2, IO::FileError::DiskFull);
    EXPECT_EQ(create(At(folder), "half\\made"), IO::ErrFSDeviceFull);
    EXPECT_TRUE(std::filesystem::remove(folder / "half"));
}

// What is a link to the end is neither a file nor a folder.
TEST(FileSystem, GivesNoResolvedTypeToALinkThatCannotBeFollowed) {
    Tests::ScriptedVFS system;
    system.folder.type = IO::EntryType::Link;
    IO::EntryType type = IO::EntryType::File;
    EXPECT_EQ(IO::fileSystem.GetType(system.GetFile(), &type), IO::NoError);
    EXPECT_EQ(type, IO::EntryType::Link);
    EXPECT_EQ(IO::fileSystem.GetResolvedType(system.GetFile(), &type), IO::Error);
    system.folder.typeStatus = {1};
    EXPECT_EQ(IO::fileSystem.GetType(system.GetFile(), &type), IO::ErrFSAccessDenied);
}

TEST(FileSystem, RetriesAsOftenAsTheDurationHasIntervals) {
    Tests::HandClock clock;
    IO::Location const common("C:\\privates"), place("C:\\private"), below("C:\\private\\x");
    EXPECT_FALSE(IO::fileSystem.IsPrivateLocation(place));
    IO::fileSystem.AddPrivateLocation(place);
    IO::fileSystem.AddPrivateLocation(IO::Location("C:\\PRIVATE")); // listed already
    std::vector<unsigned long long> sleeps;
    for (unsigned int const duration : {1000u, 250u, 100u, 99u})
        for (IO::Location const * const location : {&common, &place, &below}) {
            EXPECT_EQ(IO::fileSystem.IsPrivateLocation(*location), location != &common);
            IO::fileSystem.SetAccessDeniedRetryDuration(duration);
            unsigned int const waits = location == &common ? 0 : duration / 100;
            EXPECT_EQ(CountTries(*location, Treatment::Fail), 0u);
            EXPECT_EQ(CountTries(*location, Treatment::RetryAlways), duration / 100);
            EXPECT_EQ(CountTries(*location, Treatment::RetryPrivate), waits);
            sleeps.insert(sleeps.end(), waits, 100);
            EXPECT_EQ(clock.GetSleeps(), sleeps) << duration << *location;
        }
    IO::fileSystem.SetAccessDeniedRetryDuration(1000);
    IO::fileSystem.DeletePrivateLocation(place);
    EXPECT_FALSE(IO::fileSystem.IsPrivateLocation(place));

    unsigned int counter = 5;
    EXPECT_EQ(IO::fileSystem.ProcessAccessDenied(Tests::NullReference<IO::Location const>(),
                                                 Treatment::RetryAlways, &counter),
              Action::GiveUp);
    EXPECT_EQ(counter, 5u);
    EXPECT_EQ(IO::fileSystem.ProcessAccessDenied(common, Treatment::RetryAlways, nullptr),
              Action::GiveUp);
    EXPECT_EQ(IO::fileSystem.ProcessAccessDenied(common, Treatment::RetryPrivate, &counter),
              Action::GiveUp);
    EXPECT_EQ(counter, 4u) << "a try that is not worth it is spent all the same";
    IO::AddOSError("denied");
    EXPECT_EQ(IO::fileSystem.ProcessAccessDenied(common, Treatment::RetryPrivate, &counter),
              Action::GiveUp);
    EXPECT_STREQ(IO::GetOSErrors(), "denied");
    EXPECT_EQ(IO::fileSystem.ProcessAccessDenied(common, Treatment::RetryAlways, &counter),
              Action::Retry);
    EXPECT_STREQ(IO::GetOSErrors(), "") << "the errors are those of the last try alone";
}

TEST(FileSystem, FindsTheSpecialLocations) {
    Tests::LogCapture log;
    IO::Location location, application;
    for (unsigned int id = 0; id <= 17; ++id) {
        SCOPED_TRACE(id);
        EXPECT_EQ(IO::fileSystem.GetSpecialLocation(static_cast<IO::SpecLocId>(id), &location),
                  IO::NoError);
        EXPECT_TRUE(location.IsValid());
        EXPECT_GE(location.GetLocalLength(), 1u);
        if (static_cast<IO::SpecLocId>(id) == IO::SpecLocId::TemporaryFolder) {
            EXPECT_EQ(TypeOf(location), IO::EntryType::Folder);
        }
        if (static_cast<IO::SpecLocId>(id) == IO::SpecLocId::ApplicationFile)
            application = location;
    }
    EXPECT_EQ(TypeOf(application), IO::EntryType::File);
    EXPECT_EQ(IO::fileSystem.GetSpecialLocation(IO::SpecLocId::ApplicationFolder, &location),
              IO::NoError);
    IO::Name name;
    EXPECT_EQ(application.MoveLastLocalName(&name), IO::NoError);
    EXPECT_EQ(location, application);
    EXPECT_EQ(IO::fileSystem.GetSpecialLocation(static_cast<IO::SpecLocId>(18), &location),
              IO::Error);
    EXPECT_TRUE(log.GetLines().empty());
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
