// What each status of an entry becomes at File and Folder: a code, and one line in the log.

#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/Folder.h>

#include "Tests/Support/FileSystem/ScriptedVFS.h"
#include "Tests/Support/HandClock.h"
#include "Tests/Support/LogCapture.h"

#include <Kestrel/Location/Internal/OSErrors.h>

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <sstream>
#include <tuple>

using IO::File;
using IO::Folder;
using Mode = IO::File::OpenMode;
using Severity = Mu::LogSeverity;
using Tests::ScriptedVFS;
using Treatment = IO::AccessDeniedTreatment;

namespace {

struct Case {
    std::string text; // of the line, with "#" for the file or folder itself, and "@" for the folder
    /// What follows the text for each status of the entry from 0 on, with "|" in between. "-" is not
    /// asked, nothing is a success; no errors of the system follow what begins with "!".
    std::string phrases;
    std::function<MuErrCode(File &, Folder &)> run;
    Mode mode = static_cast<Mode>(9); // in which the file is open; one that is none: it is closed
    std::function<void(ScriptedVFS &)> script = [](ScriptedVFS &) {};
};

MuErrCode CodeOf(std::string const & text, std::string const & phrase, bool ofFile) {
    static std::map<std::string, std::pair<MuErrCode, MuErrCode>> const codes = {
        {"", {IO::NoError, IO::NoError}},
        {"access denied", {IO::ErrFileAccessDenied, IO::ErrFolderAccessDenied}},
        {"invalid time is encountered", {IO::ErrFileInvalidTime, IO::ErrFolderInvalidTime}},
        {"device is full", {IO::EOO, IO::ErrDeviceFull}},
        {"no more OS file handle", {IO::ErrNoMoreFileHandle, 0}},
        {"illegal position", {IO::ErrIllegalPosition, 0}},
        {"read error", {IO::InputFailure, 0}},
        {"write error", {IO::OutputClosed, 0}},
        {"entry is not found", {0, IO::ErrSourceNotFound}},
        {"source is not found", {0, IO::ErrSourceNotFound}},
        {"target already exists", {0, IO::ErrTargetExists}},
        {"entry with different type already exists", {0, IO::ErrTargetExists}},
    };
    if (phrase == "unknown error" && text.starts_with("Flushing"))
        return IO::OutputClosed;
    if (phrase == "entry is not found" && text.starts_with("Deleting"))
        return IO::ErrEntryNotFound;
    auto const found = codes.find(phrase);
    if (found == codes.end())
        return phrase.ends_with(" already exists") ? IO::ErrTargetExists : IO::Error;
    return ofFile ? found->second.first : found->second.second;
}

std::string Fill(std::string text, bool ofFile) {
    std::string const above = "C:\\no such folder 8351";
    std::string const self = ofFile ? "file \"file\" in folder \"" + above + "\\scripted\""
                                    : "folder \"scripted\" in folder \"" + above + "\"";
    for (std::size_t at; (at = text.find_first_of("#@")) != text.npos;)
        text.replace(at, 1, text[at] == '#' ? self : "in folder \"" + above + "\\scripted\"");
    return text;
}

void Expect(Case const & each, bool ofFile) {
    std::istringstream phrases(each.phrases + "|");
    std::string phrase;
    for (unsigned int status = 0; std::getline(phrases, phrase, '|'); ++status) {
        if (phrase == "-")
            continue;
        SCOPED_TRACE(each.text + phrase);
        ScriptedVFS system;
        File file(system.GetFile());
        Folder folder(system.GetPlace());
        if (each.mode <= Mode::WriteOnlyEmptySharedToRead) {
            ASSERT_EQ(file.Open(each.mode), IO::NoError);
        }
        system.file.open = system.file.close = system.file.status = system.folder.status = {status};
        each.script(system);
        // A second try forgets the errors of the first.
        IO::fileSystem.SetAccessDeniedRetryDuration(0);
        IO::AddOSError("scripted");
        Tests::LogCapture log;
        bool const isBare = phrase.starts_with("!");
        MuErrCode const code = CodeOf(each.text, phrase.substr(isBare), ofFile);
        EXPECT_EQ(each.run(file, folder), code);
        IO::fileSystem.SetAccessDeniedRetryDuration(1000);
        ASSERT_EQ(log.GetLines().size(), 1u);
        EXPECT_EQ(log.GetLines()[0].text,
                  Fill(each.text, ofFile) + (phrase.empty() ? "" : ": ") + phrase.substr(isBare) +
                      (phrase.empty() || isBare ? "" : " (OS errors: scripted)"));
        bool const isWarning = code == IO::ErrEntryNotFound || phrase.starts_with("!f") ||
                               phrase.starts_with("!l"); // what is there already
        EXPECT_EQ(log.GetLines()[0].severity, phrase.empty() ? Severity::Info
                                              : isWarning    ? Severity::Warning
                                                             : Severity::Error);
        EXPECT_EQ(log.GetLines()[0].domain, "IO");
        EXPECT_STREQ(IO::GetOSErrors(), "") << "the errors are forgotten once they are told";
    }
}

constexpr char const * attributes = "-|access denied|unknown error|internal error";
constexpr char const * times =
    "-|access denied|invalid time is encountered|unknown error|internal error";
constexpr char const * moves = "|entry is not found|target already exists|device is full|access "
                               "denied|unknown error|!internal error";

unsigned int number;
unsigned long long bytes;
int seconds;
long long wide;
bool answer;

// Of the file (0) or the folder (1).
template <int which>
void ExpectTimes() {
    auto const take = [](auto &... entries) -> auto & {
        return std::get<which>(std::tie(entries...));
    };
    for (bool const isCreation : {true, false}) {
        std::string const what = isCreation ? " creation time of #" : " modification time of #";
        auto const kind = isCreation ? IO::TimeKind::Creation : IO::TimeKind::Modification;
        auto const set = [=](auto & entry) {
            return isCreation ? entry.SetCreationTime(1) : entry.SetModificationTime(1);
        };
        auto const get = [=](auto & entry) {
            return isCreation ? entry.GetCreationTime(&seconds)
                              : entry.GetModificationTime(&seconds);
        };
        for (Case const &each :
             {Case{"Setting" + what, times, [=](File &f, Folder &d) { return set(take(f, d)); }},
              Case{"Querying" + what, times, [=](File &f, Folder &d) { return get(take(f, d)); }},
              Case{"Setting" + what, times,
                   [=](File &f, Folder &d) { return take(f, d).SetTime(kind, 1); }},
              Case{"Querying" + what, times,
                   [=](File &f, Folder &d) { return take(f, d).GetTime(kind, &wide); }}})
            Expect(each, which == 0);
    }
}

} // namespace

TEST(FileReport, ReportsHowEachOperationFailed) {
    auto const close = [](File & f, Folder &) {
        MuErrCode const code = f.Close();
        EXPECT_FALSE(f.IsOpen());
        return code;
    };
    Case const cases[] = {
        {"Opening # in read-only mode",
         "-|access denied|no more OS file handle|unknown error|!internal error",
         [](File & f, Folder &) { return f.Open(Mode::ReadOnly, Treatment::RetryAlways); }},
        {"Opening # in append mode", "-|-|seek error",
         [](File & f, Folder &) { return f.Open(Mode::Append); }, static_cast<Mode>(9),
         [](ScriptedVFS & s) { s.file.open = {0}; }},
        {"Opening #", "!illegal open mode",
         [](File & f, Folder &) { return f.Open(static_cast<Mode>(8)); }},
        {"Closing #", "-|write error|device is full|unknown error|!internal error", close,
         Mode::WriteOnly},
        {"Closing #", "-|device is full",
         [close](File & f, Folder & folder) {
             EXPECT_EQ(f.WriteBin("x", 1, nullptr), IO::NoError);
             return close(f, folder);
         },
         Mode::WriteOnly, [](ScriptedVFS & s) { s.file.close = {0}; }},
        {"Reading #", "-|-|read error|internal error",
         [](File & f, Folder &) {
             char c;
             return f.ReadBin(&c, 1, nullptr);
         },
         Mode::ReadWrite},
        {"Writing #", "-|-|write error|internal error",
         [](File & f, Folder &) { return f.WriteBin("x", 1, nullptr); }, Mode::ReadWrite},
        {"Flushing #", "-|device is full|unknown error|internal error",
         [](File & f, Folder &) { return f.Flush(); }, Mode::ReadWrite},
        {"Seeking on #", "-|illegal position|unknown error|internal error",
         [](File & f, Folder &) { return f.Seek(File::SeekOrigin::Beginning, 0); },
         Mode::WriteOnly},
        {"Setting length of #", "-|access denied|device is full|unknown error|internal error",
         [](File & f, Folder &) { return f.SetDataLength(1); }, Mode::WriteOnly},
        {"Querying length of #", "-|access denied|-|unknown error|internal error",
         [](File & f, Folder &) { return f.GetDataLength(&bytes); }, Mode::WriteOnly},
        {"Querying length of #", "64-bit number in 32-bit API",
         [](File & f, Folder &) {
             MuErrCode const code = f.GetDataLength(&number);
             EXPECT_EQ(number, 0xFFFFFFFFu);
             return code;
         },
         Mode::WriteOnly, [](ScriptedVFS & s) { s.file.reportedLength = 0x100000000ull; }},
        {"Querying length of #", "64-bit number in 32-bit API", // for the position, too
         [](File & f, Folder &) {
             EXPECT_EQ(f.Seek(File::SeekOrigin::Beginning, 0x140000000ll), IO::NoError);
             MuErrCode const code = f.GetPosition(&number);
             EXPECT_EQ(number, 0xFFFFFFFFu);
             return code;
         },
         Mode::WriteOnly},
        {"Setting type information of #", attributes,
         [](File & f, Folder &) { return f.SetTypeInfo(1, 2); }},
        {"Querying type information of #", attributes,
         [](File & f, Folder &) { return f.GetTypeInfo(&number, &number); }},
        {"Querying write protection of #", attributes,
         [](File & f, Folder &) { return f.IsWriteProtected(&answer); }},
        {"Setting write protection of #", attributes,
         [](File & f, Folder &) { return f.SetWriteProtection(); }},
        {"Clearing write protection of #", attributes,
         [](File & f, Folder &) { return f.ClearWriteProtection(); }},
    };
    for (Case const & each : cases)
        Expect(each, true);
    ExpectTimes<0>();
    std::istringstream modes(
        "read-only|write-only|write-only empty|read/write|append|read-only shared "
        "to read-write|write-only shared to read|write-only empty shared to "
        "read|");
    for (int mode = 0; mode < 8; ++mode) {
        std::string text;
        std::getline(modes, text, '|');
        Expect({"Opening # in " + text + " mode", "",
                [mode](File & f, Folder &) { return f.Open(static_cast<Mode>(mode)); }},
               true);
        Expect({"Closing #", "", close, static_cast<Mode>(mode)}, true);
    }
}

TEST(FileReport, DoesNotRetryAgainstWriteProtection) {
    ScriptedVFS system;
    system.file.open = {1}; // AccessDenied
    system.file.isProtected = true;
    File file(system.GetFile());
    EXPECT_EQ(file.Open(Mode::WriteOnly, Treatment::RetryAlways), IO::ErrFileAccessDenied);
    EXPECT_EQ(system.file.opens, 1);
    EXPECT_EQ(file.Open(Mode::ReadOnly, Treatment::RetryAlways), IO::ErrFileAccessDenied);
    EXPECT_EQ(system.file.opens, 12) << "reading is not what protection forbids";
}

TEST(FileReport, ReportsHowConnectingFailed) {
    struct {
        MuErrCode code;
        char const * phrase;
    } const rows[] = {{IO::ErrNotAFile, "not a file was specified"},
                      {IO::Error, "unknown error"},
                      {IO::ErrFileAccessDenied, "access to file is denied"},
                      {IO::ErrFileNotFound, "file is not found"},
                      {IO::Error, "unknown error"}};
    for (unsigned int status = 1; status <= std::size(rows); ++status) {
        ScriptedVFS system;
        system.connect = {status};
        Tests::LogCapture log;
        EXPECT_EQ(File(system.GetFile()).GetStatus(), rows[status - 1].code) << status;
        ASSERT_EQ(log.GetLines().size(), 1u);
        EXPECT_EQ(log.GetLines()[0].text, Fill(std::string("Connection to # has failed: ") +
                                                   rows[status - 1].phrase + " (OS errors: )",
                                               true));
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
    system.file.open = {1}; // AccessDenied
    File file(system.GetFile());
    Mu::UniString locker;
    for (auto const & [asked, expected] : {std::pair(Locker::Program, Reason::LockedByProgram),
                                           std::pair(Locker::User, Reason::LockedByUser),
                                           std::pair(Locker::Unknown, Reason::Unknown)}) {
        Reason reason;
        system.file.status = {static_cast<unsigned int>(asked)};
        EXPECT_FALSE(file.IsWriteable(&reason, &locker));
        EXPECT_EQ(reason, expected);
        EXPECT_TRUE(locker == "editor");
    }
    EXPECT_FALSE(file.IsWriteable(nullptr, &locker)) << "both answers are needed";
}

TEST(FolderReport, ReportsHowEachOperationWent) {
    struct {
        std::string kind;
        IO::EntryType type;
        std::function<MuErrCode(File &, Folder &)> run;
    } const creations[] = {
        {"file", IO::EntryType::File, [](File &, Folder & f) { return f.CreateFile("x"); }},
        {"folder", IO::EntryType::Folder, [](File &, Folder & f) { return f.CreateFolder("x"); }},
        {"link", IO::EntryType::Link,
         [](File &, Folder & f) { return f.CreateLink("x", IO::Location(u"C:\\x")); }},
    };
    for (auto const & each : creations)
        for (bool const isSame : {false, true}) {
            IO::EntryType const type = isSame                             ? each.type
                                       : each.type == IO::EntryType::File ? IO::EntryType::Folder
                                                                          : IO::EntryType::File;
            Expect({"Creating " + each.kind + " \"x\" @",
                    isSame ? "|!" + each.kind + " already exists"
                           : "|entry with different type already exists|device is full|access "
                             "denied|unknown error|!internal error",
                    each.run, static_cast<Mode>(9),
                    [type](ScriptedVFS & s) { s.folder.type = type; }},
                   false);
        }
    constexpr auto keep = IO::DataSafety::KeepProtected;
    constexpr auto always = Treatment::RetryAlways;
    auto const ignore = [](Folder const &, IO::Name const &, bool, void *) { return true; };
    Case const cases[] = {
        {"Renaming entry \"a\" to \"b\" @", moves,
         [](File &, Folder & f) { return f.Rename("a", "b", always); }},
        {"Moving entry \"a\" @ to \"b\" @", moves,
         [](File &, Folder & f) { return f.Move("a", f, "b", keep); }},
        {"Copying entry \"a\" @ to \"b\" @",
         "|source is not found|target already exists|device is full|access denied|unknown "
         "error|unknown error",
         [](File &, Folder & f) { return f.Copy("a", f, "b"); }},
        {"Copying entry \"a\" to \"b\" @", moves,
         [](File &, Folder & f) { return f.Copy("a", "b"); }},
        {"Exchanging entry \"a\" with \"b\" @",
         "|entry is not found|device is full|access denied|unknown error|!internal error",
         [](File &, Folder & f) { return f.Exchange("a", "b", always); }},
        {"Deleting entry \"a\" @",
         "|entry is not found|access denied|unknown error|!internal error",
         [](File &, Folder & f) { return f.Delete("a", keep, always); }},
        {"Enumerating #", "-|access denied|-|unknown error|internal error",
         [&](File &, Folder & f) {
             return f.Enumerate(static_cast<Folder::ConstCallback>(ignore), nullptr);
         }},
        {"Querying free space of #", attributes,
         [](File &, Folder & f) { return f.GetFreeSpace(&bytes); }},
    };
    for (Case const & each : cases)
        Expect(each, false);
    ExpectTimes<1>();
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
        system.folder.typeStatus = {row.status};
        EXPECT_EQ(folder.GetType("x", &type), row.typeCode);
        answer = false;
        EXPECT_EQ(folder.Contains("x", &answer), row.containsCode);
        EXPECT_EQ(answer, row.contained);
    }
    MuErrCode const codes[] = {IO::NoError, IO::ErrFolderAccessDenied, IO::Error, IO::Error};
    for (unsigned int status = 0; status < 4; ++status) {
        system.folder.status = {status};
        EXPECT_EQ(folder.IsOnLocalVolume(&answer), codes[status]);
        EXPECT_EQ(folder.IsOnFixedVolume(&answer), codes[status]);
    }
    EXPECT_TRUE(log.GetLines().empty());
}

// A denial is an error line only where it is not to be expected.
TEST(FolderReport, RetriesADenialAsOftenAsIsWorthIt) {
    Tests::HandClock clock;
    ScriptedVFS system;
    system.folder.status = {4}; // AccessDenied of a move
    system.file.open = {1};     // AccessDenied
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
