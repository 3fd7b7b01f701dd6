// What each status of an entry becomes at File and Folder: a code, and one line in the log.

#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/Folder.h>

#include "Tests/Support/FileSystem/ScriptedVFS.h"
#include "Tests/Support/HandClock.h"
#include "Tests/Support/LogCapture.h"

#include <Kestrel/Location/Internal/OSErrors.h>

#include <gtest/gtest.h>

#include <functional>

using IO::File;
using IO::Folder;
using Mode = IO::File::OpenMode;
using Severity = Mu::LogSeverity;
using Tests::ScriptedVFS;
using Treatment = IO::AccessDeniedTreatment;

namespace {

/// A phrase that no errors of the system follow begins with "!"; a line without one tells of success.
struct Row {
    unsigned int status;
    MuErrCode code;
    std::string phrase;
    Severity severity = Severity::Error;
};

using Rows = std::vector<Row>;

struct Case {
    std::string text; // of the line, with "#" for the file or folder itself, and "@" for the folder
    std::function<MuErrCode(File &, Folder &)> run;
    Rows rows;
    Mode mode = static_cast<Mode>(9); // in which the file is open; one that is none: it is closed
    std::function<void(ScriptedVFS &)> script = [](ScriptedVFS &) {};
};

std::string Fill(std::string text, bool ofFile) {
    std::string const above = "C:\\no such folder 8351";
    std::string const self = ofFile ? "file \"file\" in folder \"" + above + "\\scripted\""
                                    : "folder \"scripted\" in folder \"" + above + "\"";
    for (std::size_t at; (at = text.find_first_of("#@")) != text.npos;)
        text.replace(at, 1, text[at] == '#' ? self : "in folder \"" + above + "\\scripted\"");
    return text;
}

template <typename Status>
void Set(Status & place, unsigned int status) {
    place = static_cast<Status>(status);
}

// All that the entries are asked answers so.
void SetAll(ScriptedVFS & system, unsigned int status) {
    Tests::ScriptedFile & file = system.file;
    Tests::ScriptedFolder & folder = system.folder;
    Set(file.open, status);
    Set(file.read, status);
    Set(file.write, status);
    Set(file.flush, status);
    Set(file.seek, status);
    Set(file.close, status);
    Set(file.length, status);
    Set(file.time, status);
    Set(file.type, status);
    Set(file.attribute, status);
    Set(folder.create, status);
    Set(folder.move, status);
    Set(folder.copy, status);
    Set(folder.exchange, status);
    Set(folder.remove, status);
    Set(folder.enumerate, status);
    Set(folder.attribute, status);
    Set(folder.time, status);
}

void Expect(Case const & each, bool ofFile) {
    for (Row const & row : each.rows) {
        SCOPED_TRACE(each.text + row.phrase);
        ScriptedVFS system;
        File file(system.GetFile());
        Folder folder(system.GetPlace());
        if (each.mode <= Mode::WriteOnlyEmptySharedToRead) {
            ASSERT_EQ(file.Open(each.mode), IO::NoError);
        }
        SetAll(system, row.status);
        each.script(system);
        IO::fileSystem.SetAccessDeniedRetryDuration(
            0); // a second try forgets the errors of the first
        IO::AddOSError("scripted");
        Tests::LogCapture log;
        EXPECT_EQ(each.run(file, folder), row.code);
        IO::fileSystem.SetAccessDeniedRetryDuration(1000);
        std::string line = Fill(each.text, ofFile);
        if (row.phrase.starts_with("!"))
            line += ": " + row.phrase.substr(1);
        else if (!row.phrase.empty())
            line += ": " + row.phrase + " (OS errors: scripted)";
        ASSERT_EQ(log.GetLines().size(), 1u);
        EXPECT_EQ(log.GetLines()[0].text, line);
        EXPECT_EQ(log.GetLines()[0].severity, row.severity);
        EXPECT_EQ(log.GetLines()[0].domain, "IO");
        EXPECT_STREQ(IO::GetOSErrors(), "") << "the errors are forgotten once they are told";
    }
}

// The rows of a question for an attribute, or with `invalidTime` for a time.
Rows PropertyRows(MuErrCode denied, MuErrCode invalidTime = IO::NoError) {
    Rows rows = {{1, denied, "access denied"}};
    if (invalidTime != IO::NoError)
        rows.push_back({2, invalidTime, "invalid time is encountered"});
    for (char const * phrase : {"unknown error", "internal error"})
        rows.push_back({static_cast<unsigned int>(rows.size()) + 1, IO::Error, phrase});
    return rows;
}

// Those of MoveStatus and CopyStatus, which differ in two phrases.
Rows MoveRows(char const * notFound, char const * internal) {
    return {{0, IO::NoError, "", Severity::Info},
            {1, IO::ErrSourceNotFound, notFound},
            {2, IO::ErrTargetExists, "target already exists"},
            {3, IO::ErrDeviceFull, "device is full"},
            {4, IO::ErrFolderAccessDenied, "access denied"},
            {5, IO::Error, "unknown error"},
            {6, IO::Error, internal}};
}

unsigned int number;
unsigned long long bytes;
int seconds;
bool answer;

} // namespace

TEST(FileReport, TellsHowEachOperationFailed) {
    Rows const lengthRows = {{1, IO::ErrFileAccessDenied, "access denied"},
                             {3, IO::Error, "unknown error"},
                             {4, IO::Error, "internal error"}};
    Rows const tooLong = {{0, IO::Error, "64-bit number in 32-bit API"}};
    Rows const times = PropertyRows(IO::ErrFileAccessDenied, IO::ErrFileInvalidTime);
    Rows const attributes = PropertyRows(IO::ErrFileAccessDenied);
    auto const close = [](File & f, Folder &) {
        MuErrCode const code = f.Close();
        EXPECT_FALSE(f.IsOpen());
        return code;
    };
    Case const cases[] = {
        {"Opening # in read-only mode",
         [](File & f, Folder &) { return f.Open(Mode::ReadOnly, Treatment::RetryAlways); },
         {{1, IO::ErrFileAccessDenied, "access denied"},
          {2, IO::ErrNoMoreFileHandle, "no more OS file handle"},
          {3, IO::Error, "unknown error"},
          {4, IO::Error, "!internal error"}}},
        {"Opening # in append mode",
         [](File & f, Folder &) { return f.Open(Mode::Append); },
         {{2, IO::Error, "seek error"}},
         static_cast<Mode>(9),
         [](ScriptedVFS & s) { s.file.open = IO::FileEntry::OpenStatus::Done; }},
        {"Opening #",
         [](File & f, Folder &) { return f.Open(static_cast<Mode>(8)); },
         {{0, IO::Error, "!illegal open mode"}}},
        {"Closing #",
         close,
         {{1, IO::OutputClosed, "write error"},
          {2, IO::EOO, "device is full"},
          {3, IO::Error, "unknown error"},
          {4, IO::Error, "!internal error"}},
         Mode::WriteOnly},
        {"Closing #",
         [close](File & f, Folder & folder) {
             EXPECT_EQ(f.WriteBin("x", 1, nullptr), IO::NoError);
             return close(f, folder);
         },
         {{1, IO::EOO, "device is full"}},
         Mode::WriteOnly,
         [](ScriptedVFS & s) { s.file.close = IO::FileEntry::CloseStatus::Done; }},
        {"Reading #",
         [](File & f, Folder &) {
             char c;
             return f.ReadBin(&c, 1, nullptr);
         },
         {{2, IO::InputFailure, "read error"}, {3, IO::Error, "internal error"}},
         Mode::ReadWrite},
        {"Writing #",
         [](File & f, Folder &) { return f.WriteBin("x", 1, nullptr); },
         {{2, IO::OutputClosed, "write error"}, {3, IO::Error, "internal error"}},
         Mode::ReadWrite},
        {"Flushing #",
         [](File & f, Folder &) { return f.Flush(); },
         {{1, IO::EOO, "device is full"},
          {2, IO::OutputClosed, "unknown error"},
          {3, IO::Error, "internal error"}},
         Mode::ReadWrite},
        {"Seeking on #",
         [](File & f, Folder &) { return f.Seek(File::SeekOrigin::Beginning, 0); },
         {{1, IO::ErrIllegalPosition, "illegal position"},
          {2, IO::Error, "unknown error"},
          {3, IO::Error, "internal error"}},
         Mode::WriteOnly},
        {"Setting length of #",
         [](File & f, Folder &) { return f.SetDataLength(1); },
         {{1, IO::ErrFileAccessDenied, "access denied"},
          {2, IO::EOO, "device is full"},
          {3, IO::Error, "unknown error"},
          {4, IO::Error, "internal error"}},
         Mode::WriteOnly},
        {"Querying length of #", [](File & f, Folder &) { return f.GetDataLength(&bytes); },
         lengthRows, Mode::WriteOnly},
        {"Querying length of #",
         [](File & f, Folder &) {
             MuErrCode const code = f.GetDataLength(&number);
             EXPECT_EQ(number, 0xFFFFFFFFu);
             return code;
         },
         tooLong, Mode::WriteOnly, [](ScriptedVFS & s) { s.file.reportedLength = 0x100000000ull; }},
        {"Querying length of #", // for the position, too
         [](File & f, Folder &) {
             EXPECT_EQ(f.Seek(File::SeekOrigin::Beginning, 0x140000000ll), IO::NoError);
             MuErrCode const code = f.GetPosition(&number);
             EXPECT_EQ(number, 0xFFFFFFFFu);
             return code;
         },
         tooLong, Mode::WriteOnly},
        {"Setting creation time of #", [](File & f, Folder &) { return f.SetCreationTime(1); },
         times},
        {"Querying creation time of #",
         [](File & f, Folder &) { return f.GetCreationTime(&seconds); }, times},
        {"Setting modification time of #",
         [](File & f, Folder &) { return f.SetModificationTime(1); }, times},
        {"Querying modification time of #",
         [](File & f, Folder &) { return f.GetModificationTime(&seconds); }, times},
        {"Setting type information of #", [](File & f, Folder &) { return f.SetTypeInfo(1, 2); },
         attributes},
        {"Querying type information of #",
         [](File & f, Folder &) { return f.GetTypeInfo(&number, &number); }, attributes},
        {"Querying write protection of #",
         [](File & f, Folder &) { return f.IsWriteProtected(&answer); }, attributes},
        {"Setting write protection of #", [](File & f, Folder &) { return f.SetWriteProtection(); },
         attributes},
        {"Clearing write protection of #",
         [](File & f, Folder &) { return f.ClearWriteProtection(); }, attributes},
    };
    for (Case const & each : cases)
        Expect(each, true);
}

TEST(FileReport, NamesEachModeInTheLog) {
    char const * const texts[] = {"read-only",
                                  "write-only",
                                  "write-only empty",
                                  "read/write",
                                  "append",
                                  "read-only shared to read-write",
                                  "write-only shared to read",
                                  "write-only empty shared to read"};
    for (int mode = 0; mode < 8; ++mode) {
        Expect({std::string("Opening # in ") + texts[mode] + " mode",
                [mode](File & f, Folder &) { return f.Open(static_cast<Mode>(mode)); },
                {{0, IO::NoError, "", Severity::Info}}},
               true);
        Expect({"Closing #",
                [](File & f, Folder &) { return f.Close(); },
                {{0, IO::NoError, "", Severity::Info}},
                static_cast<Mode>(mode)},
               true);
    }
}

TEST(FileReport, DoesNotRetryAgainstWriteProtection) {
    ScriptedVFS system;
    system.file.open = IO::FileEntry::OpenStatus::AccessDenied;
    system.file.isProtected = true;
    File file(system.GetFile());
    EXPECT_EQ(file.Open(Mode::WriteOnly, Treatment::RetryAlways), IO::ErrFileAccessDenied);
    EXPECT_EQ(system.file.opens, 1);
    EXPECT_EQ(file.Open(Mode::ReadOnly, Treatment::RetryAlways), IO::ErrFileAccessDenied);
    EXPECT_EQ(system.file.opens, 12) << "reading is not what protection forbids";
}

TEST(FileReport, TellsHowConnectingFailed) {
    Rows const rows = {{1, IO::ErrNotAFile, "not a file was specified"},
                       {2, IO::Error, "unknown error"},
                       {3, IO::ErrFileAccessDenied, "access to file is denied"},
                       {4, IO::ErrFileNotFound, "file is not found"},
                       {5, IO::Error, "unknown error"}};
    for (Row const & row : rows) {
        ScriptedVFS system;
        Set(system.connect, row.status);
        Tests::LogCapture log;
        EXPECT_EQ(File(system.GetFile()).GetStatus(), row.code) << row.status;
        ASSERT_EQ(log.GetLines().size(), 1u);
        EXPECT_EQ(log.GetLines()[0].text,
                  Fill("Connection to # has failed: " + row.phrase + " (OS errors: )", true));
    }
}

TEST(FileReport, EndsWhateverItsEntryThrows) {
    ScriptedVFS system;
    {
        File file(system.GetFile());
        ASSERT_EQ(file.Open(Mode::WriteOnly), IO::NoError);
        ASSERT_EQ(file.WriteBin("x", 1, nullptr), IO::NoError);
        system.file.throws = true;
    }
    EXPECT_EQ(system.file.written, "");
}

TEST(FileReport, TellsWhoLocksTheFile) {
    using Reason = File::WriteAccessFailureReason;
    using Locker = IO::FileEntry::LockerStatus;
    ScriptedVFS system;
    system.file.open = IO::FileEntry::OpenStatus::AccessDenied;
    File file(system.GetFile());
    Mu::UniString locker;
    for (auto const & [asked, expected] : {std::pair(Locker::Program, Reason::LockedByProgram),
                                           std::pair(Locker::User, Reason::LockedByUser),
                                           std::pair(Locker::Unknown, Reason::Unknown)}) {
        Reason reason;
        system.file.locker = asked;
        EXPECT_FALSE(file.IsWriteable(&reason, &locker));
        EXPECT_EQ(reason, expected);
        EXPECT_TRUE(locker == "editor");
    }
    EXPECT_FALSE(file.IsWriteable(nullptr, &locker)) << "both answers are needed";
}

TEST(FolderReport, TellsHowEachOperationWent) {
    struct {
        char const * kind;
        IO::EntryType type;
        std::function<MuErrCode(File &, Folder &)> run;
    } const creations[] = {
        {"file", IO::EntryType::File, [](File &, Folder & f) { return f.CreateFile("x"); }},
        {"folder", IO::EntryType::Folder, [](File &, Folder & f) { return f.CreateFolder("x"); }},
        {"link", IO::EntryType::Link,
         [](File &, Folder & f) { return f.CreateLink("x", IO::Location(u"C:\\x")); }},
    };
    for (auto const & each : creations) {
        std::string const kind = each.kind;
        std::string const text = "Creating " + kind + " \"x\" @";
        auto const find = [&](IO::EntryType type) {
            return [type](ScriptedVFS & s) { s.folder.type = type; };
        };
        bool const isFile = each.type == IO::EntryType::File;
        Expect({text,
                each.run,
                {{0, IO::NoError, "", Severity::Info},
                 {1, IO::ErrTargetExists, "entry with different type already exists"},
                 {2, IO::ErrDeviceFull, "device is full"},
                 {3, IO::ErrFolderAccessDenied, "access denied"},
                 {4, IO::Error, "unknown error"},
                 {5, IO::Error, "!internal error"}},
                static_cast<Mode>(9),
                find(isFile ? IO::EntryType::Folder : IO::EntryType::File)},
               false);
        Expect({text,
                each.run,
                {{1, IO::ErrTargetExists, "!" + kind + " already exists", Severity::Warning}},
                static_cast<Mode>(9),
                find(each.type)},
               false);
    }
    constexpr auto keep = IO::DataSafety::KeepProtected;
    constexpr auto always = Treatment::RetryAlways;
    Rows const times = PropertyRows(IO::ErrFolderAccessDenied, IO::ErrFolderInvalidTime);
    auto const ignore = [](Folder const &, IO::Name const &, bool, void *) { return true; };
    Case const cases[] = {
        {"Renaming entry \"a\" to \"b\" @",
         [](File &, Folder & f) { return f.Rename("a", "b", always); },
         MoveRows("entry is not found", "!internal error")},
        {"Moving entry \"a\" @ to \"b\" @",
         [](File &, Folder & f) { return f.Move("a", f, "b", keep); },
         MoveRows("entry is not found", "!internal error")},
        {"Copying entry \"a\" @ to \"b\" @", [](File &, Folder & f) { return f.Copy("a", f, "b"); },
         MoveRows("source is not found", "unknown error")},
        {"Copying entry \"a\" to \"b\" @", [](File &, Folder & f) { return f.Copy("a", "b"); },
         MoveRows("entry is not found", "!internal error")},
        {"Exchanging entry \"a\" with \"b\" @",
         [](File &, Folder & f) { return f.Exchange("a", "b", always); },
         {{0, IO::NoError, "", Severity::Info},
          {1, IO::ErrSourceNotFound, "entry is not found"},
          {2, IO::ErrDeviceFull, "device is full"},
          {3, IO::ErrFolderAccessDenied, "access denied"},
          {4, IO::Error, "unknown error"},
          {5, IO::Error, "!internal error"}}},
        {"Deleting entry \"a\" @",
         [](File &, Folder & f) { return f.Delete("a", keep, always); },
         {{0, IO::NoError, "", Severity::Info},
          {1, IO::ErrEntryNotFound, "entry is not found", Severity::Warning},
          {2, IO::ErrFolderAccessDenied, "access denied"},
          {3, IO::Error, "unknown error"},
          {4, IO::Error, "!internal error"}}},
        {"Enumerating #",
         [&](File &, Folder & f) {
             return f.Enumerate(static_cast<Folder::ConstCallback>(ignore), nullptr);
         },
         {{1, IO::ErrFolderAccessDenied, "access denied"},
          {3, IO::Error, "unknown error"},
          {4, IO::Error, "internal error"}}},
        {"Querying free space of #", [](File &, Folder & f) { return f.GetFreeSpace(&bytes); },
         PropertyRows(IO::ErrFolderAccessDenied)},
        {"Setting creation time of #", [](File &, Folder & f) { return f.SetCreationTime(1); },
         times},
        {"Querying creation time of #",
         [](File &, Folder & f) { return f.GetCreationTime(&seconds); }, times},
        {"Setting modification time of #",
         [](File &, Folder & f) { return f.SetModificationTime(1); }, times},
        {"Querying modification time of #",
         [](File &, Folder & f) { return f.GetModificationTime(&seconds); }, times},
    };
    for (Case const & each : cases)
        Expect(each, false);
}

TEST(FolderReport, KeepsUnloggedQuestionsUnlogged) {
    ScriptedVFS system;
    Folder folder(system.GetPlace());
    Tests::LogCapture log;
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
        Set(system.folder.typeStatus, row.status);
        EXPECT_EQ(folder.GetType("x", &type), row.typeCode);
        answer = false;
        EXPECT_EQ(folder.Contains("x", &answer), row.containsCode);
        EXPECT_EQ(answer, row.contained);
    }
    MuErrCode const codes[] = {IO::NoError, IO::ErrFolderAccessDenied, IO::Error, IO::Error};
    for (unsigned int status = 0; status < 4; ++status) {
        Set(system.folder.attribute, status);
        EXPECT_EQ(folder.IsOnLocalVolume(&answer), codes[status]);
        EXPECT_EQ(folder.IsOnFixedVolume(&answer), codes[status]);
    }
    EXPECT_TRUE(log.GetLines().empty());
}

// A denial is an error line only where it is not to be expected.
TEST(FolderReport, RetriesADenialAsOftenAsIsWorthIt) {
    Tests::HandClock clock;
    ScriptedVFS system;
    system.folder.move = IO::FolderEntry::MoveStatus::AccessDenied;
    system.file.open = IO::FileEntry::OpenStatus::AccessDenied;
    auto const expect = [&](Treatment treatment, Severity severity, int tries) {
        Tests::LogCapture log;
        system.folder.tries = system.file.opens = 0;
        File file(system.GetFile());
        EXPECT_EQ(file.Open(Mode::ReadOnly, treatment), IO::ErrFileAccessDenied);
        EXPECT_EQ(log.GetLines().back().severity, severity);
        EXPECT_EQ(system.file.opens, tries);
        EXPECT_EQ(Folder(system.GetPlace()).Rename("a", "b", treatment), IO::ErrFolderAccessDenied);
        EXPECT_EQ(log.GetLines().back().severity, severity);
        EXPECT_EQ(system.folder.tries, tries);
    };
    expect(Treatment::Fail, Severity::Info, 1);
    expect(Treatment::RetryAlways, Severity::Error, 11);
    expect(Treatment::RetryPrivate, Severity::Info, 1);
    EXPECT_TRUE(clock.GetSleeps().empty());
    IO::fileSystem.AddPrivateLocation(system.GetPlace());
    expect(Treatment::RetryPrivate, Severity::Error, 11);
    EXPECT_EQ(clock.GetSleeps(), std::vector<unsigned long long>(20, 100));
    IO::fileSystem.DeletePrivateLocation(system.GetPlace());
}
