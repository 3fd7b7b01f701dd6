#include <Kestrel/FileSystem/Internal/WinFileSystem.h>

#include <Kestrel/FileSystem/Internal/SpecialLocations.h>
#include <Kestrel/Location/Internal/OSErrors.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/FileSystem/Connection.h"
#include "Tests/Support/FileSystem/ScriptedFileCalls.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/TempFolder.h"

#include <gtest/gtest.h>

namespace {

using Tests::FileCall;
using Tests::FileConnection;
using Tests::FolderConnection;

// With the marks of links that the system has, and without.
class WinFileSystem : public testing::TestWithParam<bool> {
protected:
    WinFileSystem() : root(Mu::UniString(folder.GetPortable())) { folder.Write("file", "x"); }
    ~WinFileSystem() override {
        IO::ClearOSErrors();
        EXPECT_EQ(calls.CountOpen(), 0) << "a handle is left";
    }

    IO::Location At(char const * name) const { return IO::Location(root, IO::Name(name)); }

    Tests::TempFolder folder;
    IO::Location root;
    struct : Tests::ScriptedFileCalls {
        bool MarksLinks() const override { return GetParam() && GetBelow().MarksLinks(); }
    } calls;
};

INSTANTIATE_TEST_SUITE_P(Marks, WinFileSystem, testing::Bool());

} // namespace

TEST_P(WinFileSystem, ConnectsWhatIsThere) {
    IO::Location unhealthy("C:\\\\"), illegal("C:\\a?"), absent = At("none");
    using Estimate = IO::NativeFileSystem::EstimateStatus;
    constexpr MuErrCode noFile = IO::ErrFSFileNotFound, noFolder = IO::ErrFSFolderNotFound;
    struct {
        IO::Location location;
        MuErrCode file, folder;
        Estimate estimate;
    } const table[] = {
        {At("file"), IO::NoError, IO::ErrFSNotAFolder, Estimate::Done},
        {root, IO::ErrFSNotAFile, IO::NoError, Estimate::Done},
        {IO::Location(), IO::ErrFSNotAFile, IO::NoError, Estimate::Done},
        {IO::Location("C:\\"), IO::ErrFSNotAFile, IO::NoError, Estimate::Done},
        {absent, noFile, noFolder, Estimate::NotFound},
        {IO::Location(absent, IO::Name("x")), noFile, noFolder, Estimate::NotFound},
        {IO::Location(At("file"), IO::Name("x")), noFile, noFolder, Estimate::NotFound},
        {illegal, noFile, noFolder, Estimate::Other},
        {unhealthy, IO::Error, IO::Error, Estimate::Other},
    };
    for (auto const & row : table) {
        SCOPED_TRACE(testing::Message() << "row " << &row - table);
        EXPECT_EQ(FileConnection(row.location).GetStatus(), row.file);
        EXPECT_EQ(FolderConnection(row.location).GetStatus(), row.folder);
        IO::EntryType type{};
        EXPECT_EQ(IO::NativeFileSystem::Get()->EstimateResolvedType(row.location, &type),
                  row.estimate);
        EXPECT_EQ(type == IO::EntryType::Folder, row.folder == IO::NoError);
    }
}

// The look for a link and the question for the type share one look at the disk. Where links are
// marked, that is one call; elsewhere one to find the entry and one to look into it.
TEST_P(WinFileSystem, LooksAtTheDiskOnceToConnect) {
    auto const countLooks = [&](auto const & connect) {
        calls.ResetCounts();
        connect();
        return calls.Count(FileCall::Any);
    };
    bool const marks = calls.MarksLinks();
    EXPECT_EQ(countLooks([&] { FileConnection const file(At("file")); }), marks ? 1u : 2u);
    EXPECT_EQ(countLooks([&] { FolderConnection const one(root); }), 1u);
    EXPECT_EQ(countLooks([&] { FileConnection const none(At("none")); }), 1u);
    EXPECT_EQ(countLooks([&] {
                  FileConnection const file(At("file"));
                  ASSERT_EQ(file->Open(IO::FileEntry::OpenMode::Read),
                            IO::FileEntry::OpenStatus::Done);
                  ASSERT_EQ(file->Close(), IO::FileEntry::CloseStatus::Done);
              }),
              marks ? 3u : 4u);
}

TEST_P(WinFileSystem, ReadsTheFolderWhenAFileMayNotBeAsked) {
    struct {
        unsigned int error;
        MuErrCode code;
    } const whole[] = {
        {5, IO::ErrFSAccessDenied}, {32, IO::ErrFSAccessDenied}, {33, IO::ErrFSAccessDenied},
        {2, IO::ErrFSFileNotFound}, {3, IO::ErrFSFileNotFound},  {87, IO::ErrFSFileNotFound},
    };
    for (auto const & row : whole) {
        SCOPED_TRACE(row.error);
        calls.Fail(FileCall::Any, 1, row.error, true);
        EXPECT_EQ(FileConnection(At("file")).GetStatus(), row.code);
        calls.Clear();
    }
    // A single failure is made good by the look that is left.
    bool const marks = calls.MarksLinks();
    FileCall const first = marks ? FileCall::GetFileAttributes : FileCall::FindFirstFile;
    for (unsigned int const error : {5u, 32u, marks ? 32u : 87u}) {
        calls.Fail(first, 1, error);
        EXPECT_EQ(FileConnection(At("file")).GetStatus(), IO::NoError) << error;
        EXPECT_TRUE(calls.Clear());
    }
    IO::RestrictLinkExtensions(); // the type alone is asked for now
    for (unsigned int const error : {5u, 32u}) {
        calls.Fail(FileCall::GetFileAttributes, 1, error);
        EXPECT_EQ(FileConnection(At("file")).GetStatus(), IO::NoError);
        EXPECT_TRUE(calls.Clear());
    }
    calls.Fail(FileCall::GetFileAttributes, 1, 33);
    EXPECT_EQ(FileConnection(At("file")).GetStatus(), IO::ErrFSAccessDenied);
    calls.Clear();
    IO::NativeFileSystem::Get()->SetOption(IO::NativeFileSystem::LinkExtensionsOption, 1);
}

TEST_P(WinFileSystem, GoesOnWithoutALinkThatCannotBeRead) {
    FolderConnection const parent(root);
    ASSERT_EQ(parent->CreateLink("link.lnk", At("file")), IO::FolderEntry::CreateStatus::Done);
    calls.Fail(FileCall::ReadShellLink, 1, IO::FileError::GeneralFailure);
    FileConnection const link(At("link.lnk"));
    EXPECT_EQ(link.GetStatus(), IO::NoError);
    EXPECT_EQ(link.GetLocation(), At("link.lnk"));
    calls.Fail(FileCall::ReadShellLink, 1, IO::FileError::GeneralFailure);
    IO::EntryType type;
    EXPECT_EQ(parent->GetType("link.lnk", &type), IO::FolderEntry::GetTypeStatus::Done);
    EXPECT_EQ(type, IO::EntryType::File);
    calls.Clear();
}

// An entry costs the text of its path and nothing else.
TEST_P(WinFileSystem, TakesUsedEntriesAgain) {
    IO::Location const file = At("file");
    Mu::UniString path; // whose legality is known from now on
    EXPECT_EQ(file.ToPath(&path), IO::NoError);
    EXPECT_EQ(root.ToPath(&path), IO::NoError);
    auto const allocationsOf = [](auto const & work) {
        unsigned long long const before = Tests::CountAllocations();
        work();
        return Tests::CountAllocations() - before;
    };
    auto const onePath = allocationsOf([&] {
        Mu::UniString text;
        EXPECT_EQ(file.ToPath(&text), IO::NoError);
    });
    EXPECT_EQ(allocationsOf([&] { FileConnection const one(file); }), onePath);
    EXPECT_EQ(allocationsOf([&] { FolderConnection const one(root); }), onePath);
}

TEST_P(WinFileSystem, FindsEachSpecialLocationWhereItIsLookedFor) {
    struct Folders : Tests::ScriptedFileCalls {
        unsigned int SHGetFolderPath(int number, Tests::TextBuffer * path) override {
            asked += (asked.empty() ? "" : " ") + std::to_string(number);
            if (number == missing)
                return 2;
            path->length = 0;
            path->Put(u"C:\\special");
            return 0;
        }
        unsigned int GetTempPath(Tests::TextBuffer *) override {
            asked += "temp ";
            return 2;
        }
        std::string asked;
        int missing = -1;
    } folders;
    struct {
        unsigned int id;
        int missing;
        char const * asked;
    } const table[] = {
        {4, -1, "28"},    {5, 28, "28 26"}, {6, -1, "28"},        {7, 28, "28 26"},  {8, -1, "26"},
        {9, 35, "35 26"}, {10, -1, "16"},   {11, -1, "temp  28"}, {12, -1, "5"},     {13, -1, "46"},
        {14, -1, "46"},   {15, -1, "46"},   {16, 40, "40 5"},     {17, 43, "43 38"},
    };
    for (auto const & row : table) {
        folders.asked.clear();
        folders.missing = row.missing;
        IO::Location location;
        EXPECT_TRUE(IO::FindSpecialLocation(static_cast<IO::SpecLocId>(row.id), &location));
        EXPECT_EQ(folders.asked, row.asked) << row.id;
        EXPECT_EQ(location, IO::Location("C:\\special"));
    }
    folders.missing = 26;
    Tests::LogCapture log;
    IO::Location location;
    EXPECT_EQ(IO::fileSystem.GetSpecialLocation(IO::SpecLocId::UserRoamingSettings, &location),
              IO::Error);
    ASSERT_EQ(log.GetLines().size(), 1u);
    EXPECT_EQ(log.GetLines()[0].severity, Mu::LogSeverity::Error);
    EXPECT_TRUE(
        log.Contains("Query of the special location \"UserRoamingSettings\" has failed (OS"));
}

TEST_P(WinFileSystem, GoesWithoutATemporaryFolderThatCannotBeWritten) {
    IO::Location temporary, settings;
    calls.Fail(FileCall::CreateFile, 1, 5);
    ASSERT_EQ(IO::fileSystem.GetSpecialLocation(IO::SpecLocId::TemporaryFolder, &temporary),
              IO::NoError);
    EXPECT_TRUE(calls.Clear());
    ASSERT_EQ(IO::fileSystem.GetSpecialLocation(IO::SpecLocId::UserLocalSettings, &settings),
              IO::NoError);
    EXPECT_EQ(temporary, settings);
}

TEST_P(WinFileSystem, IsOnLineUnlessARemovableDriveIsEmpty) {
    struct Drives : Tests::ScriptedFileCalls {
        unsigned int GetDriveType(Tests::PathText) override { return type; }
        unsigned int GetVolumeInformation(Tests::PathText) override {
            ++questions;
            return error;
        }
        unsigned int SetErrorMode(unsigned int mode) override {
            modes.push_back(mode);
            return 0x77;
        }
        unsigned int type = 0;
        unsigned int error = 0;
        int questions = 0;
        std::vector<unsigned int> modes;
    } drives;
    for (unsigned int type = 0; type <= 6; ++type)
        for (unsigned int const error : {0u, 21u}) {
            bool const isRemovable = type == 2 || type == 5;
            drives.type = type;
            drives.error = error;
            drives.questions = 0;
            drives.modes.clear();
            EXPECT_EQ(IO::fileSystem.IsOnLine(IO::Location("C:\\a")), !isRemovable || error == 0);
            EXPECT_EQ(drives.questions, isRemovable ? 1 : 0) << type;
            if (isRemovable) {
                EXPECT_EQ(drives.modes.front(), 0x8001u) << "no dialog asks for the medium";
                EXPECT_EQ(drives.modes.back(), 0x77u);
            }
        }
    drives.type = 2;
    drives.error = 21;
    for (char const * elsewhere : {"", "\\\\host\\share\\a", "C:\\a*"})
        EXPECT_TRUE(IO::fileSystem.IsOnLine(IO::Location(elsewhere))) << elsewhere;
}
