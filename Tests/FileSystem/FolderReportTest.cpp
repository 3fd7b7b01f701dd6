#include <Kestrel/FileSystem/Folder.h>

#include "Tests/Support/FileSystem/ScriptedVFS.h"
#include "Tests/Support/HandClock.h"
#include "Tests/Support/LogCapture.h"

#include <Kestrel/Location/Internal/OSErrors.h>

#include <gtest/gtest.h>

#include <functional>

using IO::Folder;
using IO::Name;
using Severity = Mu::LogSeverity;
using Tests::ScriptedVFS;

namespace {

std::string const place = "C:\\no such folder 8351\\scripted";

template <typename Status>
Status Make(unsigned int number) {
    return static_cast<Status>(number);
}

/// What one status of an entry becomes.
struct Row {
    unsigned int status;
    MuErrCode code;
    Severity severity;
    std::string line;
};

using Script = std::function<void(ScriptedVFS &, unsigned int)>;
using Operation = std::function<MuErrCode(Folder &)>;

void ExpectRows(Script const & script, Operation const & run, std::vector<Row> const & rows) {
    for (Row const & row : rows) {
        SCOPED_TRACE(row.line);
        ScriptedVFS system;
        Folder folder(system.GetPlace());
        script(system, row.status);
        // Each try forgets the errors of the one before.
        IO::fileSystem.SetAccessDeniedRetryDuration(0);
        IO::AddOSError("scripted");
        Tests::LogCapture log;
        EXPECT_EQ(run(folder), row.code);
        IO::fileSystem.SetAccessDeniedRetryDuration(1000);
        ASSERT_EQ(log.GetLines().size(), 1u);
        EXPECT_EQ(log.GetLines()[0].text, row.line);
        EXPECT_EQ(log.GetLines()[0].severity, row.severity);
        EXPECT_STREQ(IO::GetOSErrors(), "");
    }
}

std::string const os = " (OS errors: scripted)";
constexpr auto always = IO::AccessDeniedTreatment::RetryAlways;

void ExpectCreation(std::string const & kind, IO::EntryType type, IO::EntryType other,
                    Operation const & run) {
    std::string const text = "Creating " + kind + " \"x\" in folder \"" + place + "\"";
    auto const script = [](IO::EntryType found) {
        return [found](ScriptedVFS & s, unsigned int status) {
            s.folder.create = Make<IO::FolderEntry::CreateStatus>(status);
            s.folder.type = found;
        };
    };
    ExpectRows(script(other), run,
               {{0, IO::NoError, Severity::Info, text},
                {1, IO::ErrTargetExists, Severity::Error,
                 text + ": entry with different type already exists" + os},
                {2, IO::ErrDeviceFull, Severity::Error, text + ": device is full" + os},
                {3, IO::ErrFolderAccessDenied, Severity::Error, text + ": access denied" + os},
                {4, IO::Error, Severity::Error, text + ": unknown error" + os},
                {5, IO::Error, Severity::Error, text + ": internal error"}});
    ExpectRows(
        script(type), run,
        {{1, IO::ErrTargetExists, Severity::Warning, text + ": " + kind + " already exists"}});
}

// The rows of MoveStatus and CopyStatus, which differ in the word for a missing source alone.
std::vector<Row> MoveRows(std::string const & text, char const * notFound, bool internal) {
    return {{0, IO::NoError, Severity::Info, text},
            {1, IO::ErrSourceNotFound, Severity::Error, text + ": " + notFound + os},
            {2, IO::ErrTargetExists, Severity::Error, text + ": target already exists" + os},
            {3, IO::ErrDeviceFull, Severity::Error, text + ": device is full" + os},
            {4, IO::ErrFolderAccessDenied, Severity::Error, text + ": access denied" + os},
            {5, IO::Error, Severity::Error, text + ": unknown error" + os},
            {6, IO::Error, Severity::Error,
             text + (internal ? ": internal error" : ": unknown error" + os)}};
}

} // namespace

TEST(FolderReport, TellsHowCreationWent) {
    ExpectCreation("file", IO::EntryType::File, IO::EntryType::Folder,
                   [](Folder & f) { return f.CreateFile("x"); });
    ExpectCreation("folder", IO::EntryType::Folder, IO::EntryType::File,
                   [](Folder & f) { return f.CreateFolder("x"); });
    ExpectCreation("link", IO::EntryType::Link, IO::EntryType::File,
                   [](Folder & f) { return f.CreateLink("x", IO::Location(u"C:\\x")); });
}

TEST(FolderReport, TellsHowMovesAndCopiesWent) {
    auto const move = [](ScriptedVFS & s, unsigned int status) {
        s.folder.move = Make<IO::FolderEntry::MoveStatus>(status);
        s.folder.copy = Make<IO::FolderEntry::CopyStatus>(status);
    };
    std::string const inFolder = " in folder \"" + place + "\"";
    ExpectRows(
        move, [](Folder & f) { return f.Rename("a", "b", always); },
        MoveRows("Renaming entry \"a\" to \"b\"" + inFolder, "entry is not found", true));
    ExpectRows(
        move, [](Folder & f) { return f.Move("a", f, "b", IO::DataSafety::KeepProtected); },
        MoveRows("Moving entry \"a\"" + inFolder + " to \"b\"" + inFolder, "entry is not found",
                 true));
    ExpectRows(
        move, [](Folder & f) { return f.Copy("a", f, "b"); },
        MoveRows("Copying entry \"a\"" + inFolder + " to \"b\"" + inFolder, "source is not found",
                 false));
    ExpectRows(
        move, [](Folder & f) { return f.Copy("a", "b"); },
        MoveRows("Copying entry \"a\" to \"b\"" + inFolder, "entry is not found", true));
}

TEST(FolderReport, TellsHowExchangesWent) {
    std::string const text = "Exchanging entry \"a\" with \"b\" in folder \"" + place + "\"";
    ExpectRows(
        [](ScriptedVFS & s, unsigned int status) {
            s.folder.exchange = Make<IO::FolderEntry::ExchangeStatus>(status);
        },
        [](Folder & f) { return f.Exchange("a", "b", always); },
        {{0, IO::NoError, Severity::Info, text},
         {1, IO::ErrSourceNotFound, Severity::Error, text + ": entry is not found" + os},
         {2, IO::ErrDeviceFull, Severity::Error, text + ": device is full" + os},
         {3, IO::ErrFolderAccessDenied, Severity::Error, text + ": access denied" + os},
         {4, IO::Error, Severity::Error, text + ": unknown error" + os},
         {5, IO::Error, Severity::Error, text + ": internal error"}});
}

TEST(FolderReport, TellsHowDeletionWent) {
    std::string const text = "Deleting entry \"a\" in folder \"" + place + "\"";
    ExpectRows(
        [](ScriptedVFS & s, unsigned int status) {
            s.folder.remove = Make<IO::FolderEntry::DeleteStatus>(status);
        },
        [](Folder & f) { return f.Delete("a", IO::DataSafety::KeepProtected, always); },
        {{0, IO::NoError, Severity::Info, text},
         {1, IO::ErrEntryNotFound, Severity::Warning, text + ": entry is not found" + os},
         {2, IO::ErrFolderAccessDenied, Severity::Error, text + ": access denied" + os},
         {3, IO::Error, Severity::Error, text + ": unknown error" + os},
         {4, IO::Error, Severity::Error, text + ": internal error"}});
}

TEST(FolderReport, TellsHowEnumerationAndPropertiesFailed) {
    std::string const self = "folder \"scripted\" in folder \"C:\\no such folder 8351\"";
    auto const ignore = [](Folder const &, Name const &, bool, void *) { return true; };
    std::string const enumerating = "Enumerating " + self;
    ExpectRows(
        [](ScriptedVFS & s, unsigned int status) {
            s.folder.enumerate = Make<IO::FolderEntry::EnumerateStatus>(status);
        },
        [&](Folder & f) {
            return f.Enumerate(static_cast<Folder::ConstCallback>(ignore), nullptr);
        },
        {{1, IO::ErrFolderAccessDenied, Severity::Error, enumerating + ": access denied" + os},
         {3, IO::Error, Severity::Error, enumerating + ": unknown error" + os},
         {4, IO::Error, Severity::Error, enumerating + ": internal error" + os}});

    auto const attribute = [](ScriptedVFS & s, unsigned int status) {
        s.folder.attribute = Make<IO::FSEntry::AttributeStatus>(status);
        s.folder.time = Make<IO::FSEntry::TimeStatus>(status);
    };
    std::string const space = "Querying free space of " + self;
    ExpectRows(attribute,
               [](Folder & f) {
                   unsigned long long bytes;
                   return f.GetFreeSpace(&bytes);
               },
               {{1, IO::ErrFolderAccessDenied, Severity::Error, space + ": access denied" + os},
                {2, IO::Error, Severity::Error, space + ": unknown error" + os},
                {3, IO::Error, Severity::Error, space + ": internal error" + os}});

    int time = 0;
    std::pair<std::string, Operation> const times[] = {
        {"Setting creation time", [](Folder & f) { return f.SetCreationTime(1); }},
        {"Querying creation time", [&](Folder & f) { return f.GetCreationTime(&time); }},
        {"Setting modification time", [](Folder & f) { return f.SetModificationTime(1); }},
        {"Querying modification time", [&](Folder & f) { return f.GetModificationTime(&time); }}};
    for (auto const & [verb, run] : times) {
        std::string const text = verb + " of " + self;
        ExpectRows(attribute, run,
                   {{1, IO::ErrFolderAccessDenied, Severity::Error, text + ": access denied" + os},
                    {2, IO::ErrFolderInvalidTime, Severity::Error,
                     text + ": invalid time is encountered" + os},
                    {3, IO::Error, Severity::Error, text + ": unknown error" + os},
                    {4, IO::Error, Severity::Error, text + ": internal error" + os}});
    }
}

TEST(FolderReport, KeepsUnloggedQuestionsUnlogged) {
    ScriptedVFS system;
    Folder folder(system.GetPlace());
    Tests::LogCapture log;
    bool answer = false;
    IO::EntryType type;
    struct {
        unsigned int status;
        MuErrCode typeCode, containsCode;
        bool contained;
    } const rows[] = {{0, IO::NoError, IO::NoError, true},
                      {1, IO::ErrFolderAccessDenied, IO::NoError, true},
                      {2, IO::ErrEntryNotFound, IO::NoError, false},
                      {3, IO::Error, IO::Error, false},
                      {4, IO::Error, IO::Error, false}};
    for (auto const & row : rows) {
        system.folder.typeStatus = Make<IO::FolderEntry::GetTypeStatus>(row.status);
        EXPECT_EQ(folder.GetType("x", &type), row.typeCode);
        answer = false;
        EXPECT_EQ(folder.Contains("x", &answer), row.containsCode);
        EXPECT_EQ(answer, row.contained);
    }
    MuErrCode const codes[] = {IO::NoError, IO::ErrFolderAccessDenied, IO::Error, IO::Error};
    for (unsigned int status = 0; status < 4; ++status) {
        system.folder.attribute = Make<IO::FSEntry::AttributeStatus>(status);
        EXPECT_EQ(folder.IsOnLocalVolume(&answer), codes[status]);
        EXPECT_EQ(folder.IsOnFixedVolume(&answer), codes[status]);
    }
    EXPECT_TRUE(log.GetLines().empty());
}

TEST(FolderReport, RetriesADenialAsTold) {
    Tests::HandClock clock;
    ScriptedVFS system;
    system.folder.move = IO::FolderEntry::MoveStatus::AccessDenied;
    Folder folder(system.GetPlace());
    auto const rename = [&](IO::AccessDeniedTreatment treatment, Severity severity) {
        Tests::LogCapture log;
        system.folder.tries = 0;
        EXPECT_EQ(folder.Rename("a", "b", treatment), IO::ErrFolderAccessDenied);
        EXPECT_EQ(log.GetLines().back().severity, severity);
        return system.folder.tries;
    };
    using IO::AccessDeniedTreatment;
    EXPECT_EQ(rename(AccessDeniedTreatment::Fail, Severity::Info), 1);
    EXPECT_EQ(rename(AccessDeniedTreatment::RetryAlways, Severity::Error), 11);
    EXPECT_EQ(rename(AccessDeniedTreatment::RetryPrivate, Severity::Info), 1);
    EXPECT_TRUE(clock.GetSleeps().empty());
    IO::fileSystem.AddPrivateLocation(system.GetPlace());
    EXPECT_EQ(rename(AccessDeniedTreatment::RetryPrivate, Severity::Error), 11);
    EXPECT_EQ(clock.GetSleeps(), std::vector<unsigned long long>(10, 100));
    IO::fileSystem.DeletePrivateLocation(system.GetPlace());
}
