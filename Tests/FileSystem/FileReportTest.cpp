#include <Kestrel/FileSystem/File.h>

#include "Tests/Support/FileSystem/ScriptedVFS.h"
#include "Tests/Support/LogCapture.h"

#include <Kestrel/Location/Internal/OSErrors.h>

#include <gtest/gtest.h>

#include <functional>

using IO::File;
using Mode = IO::File::OpenMode;
using Severity = Mu::LogSeverity;
using Tests::ScriptedVFS;

namespace {

std::string const folderText = "C:\\no such folder 8351\\scripted";

/// One way for one operation to fail: what the entry answers, what the caller gets, and the line.
struct Row {
    std::function<void(ScriptedVFS &)> script;
    std::function<MuErrCode(File &)> run;
    MuErrCode code;
    char const * line; // with % for the file's name and its folder, which every line begins with
};

std::string Fill(std::string text) {
    text.replace(text.find('%'), 1, "file");
    text.replace(text.find("folder \"%") + 8, 1, folderText);
    return text;
}

void ExpectRow(Row const & row, Mode mode, bool open) {
    SCOPED_TRACE(row.line);
    ScriptedVFS system;
    File file(system.GetFile());
    if (open) {
        ASSERT_EQ(file.Open(mode), IO::NoError);
    }
    row.script(system);
    IO::fileSystem.SetAccessDeniedRetryDuration(0); // each try forgets the errors of the one before
    IO::AddOSError("scripted");
    Tests::LogCapture log;
    EXPECT_EQ(row.run(file), row.code);
    IO::fileSystem.SetAccessDeniedRetryDuration(1000);
    ASSERT_EQ(log.GetLines().size(), 1u);
    EXPECT_EQ(log.GetLines()[0].text, Fill(row.line));
    EXPECT_EQ(log.GetLines()[0].severity, Severity::Error);
    EXPECT_EQ(log.GetLines()[0].domain, "IO");
    EXPECT_STREQ(IO::GetOSErrors(), "") << "the errors are forgotten once they are told";
}

template <typename Status>
Status Make(unsigned int number) {
    return static_cast<Status>(number);
}

using Entry = IO::FileEntry;
using IO::ErrFileAccessDenied;
using IO::ErrFileInvalidTime;

} // namespace

TEST(FileReport, TellsHowOpeningFailed) {
    auto const open = [](unsigned int status) {
        return [=](ScriptedVFS & s) { s.file.open = Make<Entry::OpenStatus>(status); };
    };
    auto const run = [](File & f) {
        return f.Open(Mode::ReadOnly, IO::AccessDeniedTreatment::RetryAlways);
    };
    Row const rows[] = {
        {open(1), run, ErrFileAccessDenied,
         "Opening file \"%\" in folder \"%\" in read-only mode: access denied (OS errors: "
         "scripted)"},
        {open(2), run, IO::ErrNoMoreFileHandle,
         "Opening file \"%\" in folder \"%\" in read-only mode: no more OS file handle (OS errors: "
         "scripted)"},
        {open(3), run, IO::Error,
         "Opening file \"%\" in folder \"%\" in read-only mode: unknown error (OS errors: "
         "scripted)"},
        {open(4), run, IO::Error,
         "Opening file \"%\" in folder \"%\" in read-only mode: internal error"},
        {[](ScriptedVFS & s) { s.file.seek = Entry::SeekStatus::Other; },
         [](File & f) { return f.Open(Mode::Append); }, IO::Error,
         "Opening file \"%\" in folder \"%\" in append mode: seek error (OS errors: scripted)"},
        {[](ScriptedVFS &) {}, [](File & f) { return f.Open(static_cast<Mode>(8)); }, IO::Error,
         "Opening file \"%\" in folder \"%\": illegal open mode"},
    };
    for (Row const & row : rows)
        ExpectRow(row, Mode::ReadOnly, false);
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
    ScriptedVFS system;
    for (int mode = 0; mode < 8; ++mode) {
        Tests::LogCapture log;
        File file(system.GetFile());
        ASSERT_EQ(file.Open(static_cast<Mode>(mode)), IO::NoError);
        ASSERT_EQ(file.Close(), IO::NoError);
        ASSERT_EQ(log.GetLines().size(), 2u);
        EXPECT_EQ(log.GetLines()[0].text,
                  Fill("Opening file \"%\" in folder \"%\" in ") + texts[mode] + " mode");
        EXPECT_EQ(log.GetLines()[1].text, Fill("Closing file \"%\" in folder \"%\""));
        EXPECT_EQ(log.GetLines()[1].severity, Severity::Info);
    }
}

TEST(FileReport, MakesADenialAnErrorOnlyWhereItIsUnexpected) {
    ScriptedVFS system;
    system.file.open = Entry::OpenStatus::AccessDenied;
    auto const denied = [&](IO::AccessDeniedTreatment treatment) {
        Tests::LogCapture log;
        system.file.opens = 0;
        File file(system.GetFile());
        EXPECT_EQ(file.Open(Mode::ReadOnly, treatment), ErrFileAccessDenied);
        return log.GetLines().back().severity;
    };
    EXPECT_EQ(denied(IO::AccessDeniedTreatment::Fail), Severity::Info);
    EXPECT_EQ(system.file.opens, 1);
    EXPECT_EQ(denied(IO::AccessDeniedTreatment::RetryPrivate), Severity::Info);
    EXPECT_EQ(system.file.opens, 1) << "the location is not private";
    EXPECT_EQ(denied(IO::AccessDeniedTreatment::RetryAlways), Severity::Error);
    EXPECT_EQ(system.file.opens, 11) << "ten retries";
}

TEST(FileReport, DoesNotRetryAgainstWriteProtection) {
    ScriptedVFS system;
    system.file.open = Entry::OpenStatus::AccessDenied;
    system.file.isProtected = true;
    File file(system.GetFile());
    EXPECT_EQ(file.Open(Mode::WriteOnly, IO::AccessDeniedTreatment::RetryAlways),
              ErrFileAccessDenied);
    EXPECT_EQ(system.file.opens, 1);
    EXPECT_EQ(file.Open(Mode::ReadOnly, IO::AccessDeniedTreatment::RetryAlways),
              ErrFileAccessDenied);
    EXPECT_EQ(system.file.opens, 12) << "reading is not what protection forbids";
}

TEST(FileReport, TellsHowClosingFailedAndIsClosedAllTheSame) {
    auto const close = [](unsigned int status) {
        return [=](ScriptedVFS & s) { s.file.close = Make<Entry::CloseStatus>(status); };
    };
    auto const run = [](File & f) {
        MuErrCode const code = f.Close();
        EXPECT_FALSE(f.IsOpen());
        return code;
    };
    auto const writeThenClose = [run](File & f) {
        f.WriteBin("x", 1, nullptr);
        return run(f);
    };
    Row const rows[] = {
        {close(1), run, IO::OutputClosed,
         "Closing file \"%\" in folder \"%\": write error (OS errors: scripted)"},
        {close(2), run, IO::EOO,
         "Closing file \"%\" in folder \"%\": device is full (OS errors: scripted)"},
        {close(3), run, IO::Error,
         "Closing file \"%\" in folder \"%\": unknown error (OS errors: scripted)"},
        {close(4), run, IO::Error, "Closing file \"%\" in folder \"%\": internal error"},
        {[](ScriptedVFS & s) { s.file.write = Entry::WriteStatus::DeviceFull; }, writeThenClose,
         IO::EOO, "Closing file \"%\" in folder \"%\": device is full (OS errors: scripted)"},
    };
    for (Row const & row : rows)
        ExpectRow(row, Mode::WriteOnly, true);
}

TEST(FileReport, TellsHowReadingWritingAndFlushingFailed) {
    auto const read = [](File & f) {
        char c;
        return f.ReadBin(&c, 1, nullptr);
    };
    auto const write = [](File & f) { return f.WriteBin("x", 1, nullptr); };
    auto const flush = [](File & f) { return f.Flush(); };
    auto const readScript = [](unsigned int status) {
        return [=](ScriptedVFS & s) { s.file.read = Make<Entry::ReadStatus>(status); };
    };
    auto const writeScript = [](unsigned int status) {
        return [=](ScriptedVFS & s) { s.file.write = Make<Entry::WriteStatus>(status); };
    };
    auto const flushScript = [](unsigned int status) {
        return [=](ScriptedVFS & s) { s.file.flush = Make<Entry::WriteStatus>(status); };
    };
    Row const rows[] = {
        {readScript(2), read, IO::InputFailure,
         "Reading file \"%\" in folder \"%\": read error (OS errors: scripted)"},
        {readScript(3), read, IO::Error,
         "Reading file \"%\" in folder \"%\": internal error (OS errors: scripted)"},
        {writeScript(2), write, IO::OutputClosed,
         "Writing file \"%\" in folder \"%\": write error (OS errors: scripted)"},
        {writeScript(3), write, IO::Error,
         "Writing file \"%\" in folder \"%\": internal error (OS errors: scripted)"},
        {flushScript(1), flush, IO::EOO,
         "Flushing file \"%\" in folder \"%\": device is full (OS errors: scripted)"},
        {flushScript(2), flush, IO::OutputClosed,
         "Flushing file \"%\" in folder \"%\": unknown error (OS errors: scripted)"},
        {flushScript(3), flush, IO::Error,
         "Flushing file \"%\" in folder \"%\": internal error (OS errors: scripted)"},
    };
    for (Row const & row : rows)
        ExpectRow(row, Mode::ReadWrite, true);
}

TEST(FileReport, TellsHowSeekingAndLengthsFailed) {
    auto const seek = [](unsigned int status) {
        return [=](ScriptedVFS & s) { s.file.seek = Make<Entry::SeekStatus>(status); };
    };
    auto const length = [](unsigned int status) {
        return [=](ScriptedVFS & s) { s.file.length = Make<Entry::LengthStatus>(status); };
    };
    auto const sought = [](File & f) { return f.Seek(File::SeekOrigin::Beginning, 0); };
    auto const set = [](File & f) { return f.SetDataLength(1); };
    auto const get = [](File & f) {
        unsigned long long number;
        return f.GetDataLength(&number);
    };
    Row const rows[] = {
        {seek(1), sought, IO::ErrIllegalPosition,
         "Seeking on file \"%\" in folder \"%\": illegal position (OS errors: scripted)"},
        {seek(2), sought, IO::Error,
         "Seeking on file \"%\" in folder \"%\": unknown error (OS errors: scripted)"},
        {seek(3), sought, IO::Error,
         "Seeking on file \"%\" in folder \"%\": internal error (OS errors: scripted)"},
        {length(1), set, ErrFileAccessDenied,
         "Setting length of file \"%\" in folder \"%\": access denied (OS errors: scripted)"},
        {length(2), set, IO::EOO,
         "Setting length of file \"%\" in folder \"%\": device is full (OS errors: scripted)"},
        {length(3), set, IO::Error,
         "Setting length of file \"%\" in folder \"%\": unknown error (OS errors: scripted)"},
        {length(4), set, IO::Error,
         "Setting length of file \"%\" in folder \"%\": internal error (OS errors: scripted)"},
        {length(1), get, ErrFileAccessDenied,
         "Querying length of file \"%\" in folder \"%\": access denied (OS errors: scripted)"},
        {length(3), get, IO::Error,
         "Querying length of file \"%\" in folder \"%\": unknown error (OS errors: scripted)"},
        {length(4), get, IO::Error,
         "Querying length of file \"%\" in folder \"%\": internal error (OS errors: scripted)"},
        {[](ScriptedVFS & s) { s.file.reportedLength = 0x100000000ull; },
         [](File & f) {
             unsigned int number = 0;
             MuErrCode const code = f.GetDataLength(&number);
             EXPECT_EQ(number, 0xFFFFFFFFu);
             return code;
         },
         IO::Error,
         "Querying length of file \"%\" in folder \"%\": 64-bit number in 32-bit API (OS errors: "
         "scripted)"},
        {[](ScriptedVFS &) {},
         [](File & f) {
             f.Seek(File::SeekOrigin::Beginning, 0x140000000ll); // 5 GiB
             unsigned int number = 0;
             MuErrCode const code = f.GetPosition(&number);
             EXPECT_EQ(number, 0xFFFFFFFFu);
             return code;
         },
         IO::Error,
         "Querying length of file \"%\" in folder \"%\": 64-bit number in 32-bit API (OS errors: "
         "scripted)"},
    };
    for (Row const & row : rows)
        ExpectRow(row, Mode::WriteOnly, true);
}

TEST(FileReport, TellsHowPropertiesFailed) {
    struct Property {
        std::function<MuErrCode(File &)> run;
        std::string text;
        bool isTime;
    };
    Property const properties[] = {
        {[](File & f) { return f.SetCreationTime(1); }, "Setting creation time", true},
        {[](File & f) {
             int t;
             return f.GetCreationTime(&t);
         },
         "Querying creation time", true},
        {[](File & f) { return f.SetModificationTime(1); }, "Setting modification time", true},
        {[](File & f) {
             int t;
             return f.GetModificationTime(&t);
         },
         "Querying modification time", true},
        {[](File & f) { return f.SetTypeInfo(1, 2); }, "Setting type information", false},
        {[](File & f) {
             unsigned int a, b;
             return f.GetTypeInfo(&a, &b);
         },
         "Querying type information", false},
        {[](File & f) {
             bool b;
             return f.IsWriteProtected(&b);
         },
         "Querying write protection", false},
        {[](File & f) { return f.SetWriteProtection(); }, "Setting write protection", false},
        {[](File & f) { return f.ClearWriteProtection(); }, "Clearing write protection", false},
    };
    struct Phrase {
        MuErrCode code;
        char const * text;
    };
    Phrase const phrases[] = {{ErrFileAccessDenied, "access denied"},
                              {ErrFileInvalidTime, "invalid time is encountered"},
                              {IO::Error, "unknown error"},
                              {IO::Error, "internal error"}};
    for (Property const & property : properties) {
        unsigned int status = 1;
        for (Phrase const & phrase : phrases) {
            if (phrase.code == ErrFileInvalidTime && !property.isTime)
                continue;
            std::string const line = property.text +
                                     " of file \"%\" in folder \"%\": " + phrase.text +
                                     " (OS errors: scripted)";
            ExpectRow({[status](ScriptedVFS & s) {
                           s.file.time = Make<Entry::TimeStatus>(status);
                           s.file.type = Make<Entry::TypeStatus>(status);
                           s.file.attribute = Make<Entry::AttributeStatus>(status);
                       },
                       property.run, phrase.code, line.c_str()},
                      Mode::ReadOnly, false);
            ++status;
        }
    }
}

TEST(FileReport, TellsHowConnectingFailed) {
    struct {
        unsigned int status;
        MuErrCode code;
        char const * phrase;
    } const rows[] = {{1, IO::ErrNotAFile, "not a file was specified"},
                      {2, IO::Error, "unknown error"},
                      {3, ErrFileAccessDenied, "access to file is denied"},
                      {4, IO::ErrFileNotFound, "file is not found"},
                      {5, IO::Error, "unknown error"}};
    for (auto const & row : rows) {
        ScriptedVFS system;
        system.connect = Make<IO::BaseFileSystem::ConnectStatus>(row.status);
        Tests::LogCapture log;
        EXPECT_EQ(File(system.GetFile()).GetStatus(), row.code) << row.status;
        ASSERT_EQ(log.GetLines().size(), 1u);
        EXPECT_EQ(
            log.GetLines()[0].text.rfind(
                Fill("Connection to file \"%\" in folder \"%\" has failed: ") + row.phrase, 0),
            0u)
            << log.GetLines()[0].text;
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
    ScriptedVFS system;
    system.file.open = Entry::OpenStatus::AccessDenied;
    File file(system.GetFile());
    File::WriteAccessFailureReason reason;
    Mu::UniString locker;
    EXPECT_FALSE(file.IsWriteable(&reason, &locker));
    EXPECT_EQ(reason, File::WriteAccessFailureReason::LockedByProgram);
    EXPECT_TRUE(locker == "editor");
    system.file.locker = Entry::LockerStatus::User;
    EXPECT_FALSE(file.IsWriteable(&reason, &locker));
    EXPECT_EQ(reason, File::WriteAccessFailureReason::LockedByUser);
    system.file.locker = Entry::LockerStatus::Unknown;
    EXPECT_FALSE(file.IsWriteable(&reason, &locker));
    EXPECT_EQ(reason, File::WriteAccessFailureReason::Unknown);
    EXPECT_FALSE(file.IsWriteable(nullptr, &locker)) << "both answers are needed";
}
