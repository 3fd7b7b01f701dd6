#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/FileEntry.h>
#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/Internal/AccessDenied.h>
#include <Kestrel/FileSystem/Internal/FileTurn.h>
#include <Kestrel/FileSystem/Internal/Report.h>
#include <Kestrel/Location/Internal/OSErrors.h>

#include <iterator>

namespace IO {

using Level = ReportLine::Level;

/// The name of a mode in the log, how the entry is opened for it, and what it allows.
struct File::Mode {
    char const * text;
    FileEntry::OpenMode entryMode;
    bool readable;
    bool writeable;
    bool seekable;
};

// Rows in the order of OpenMode.
File::Mode const * File::FindMode(OpenMode mode) const {
    using Entry = FileEntry::OpenMode;
    static constexpr Mode modes[] = {
        {"read-only", Entry::Read, true, false, true},
        {"write-only", Entry::Write, false, true, true},
        {"write-only empty", Entry::WriteAnew, false, true, true},
        {"read/write", Entry::ReadWrite, true, true, true},
        {"append", Entry::Write, false, true, false},
        {"read-only shared to read-write", Entry::ReadShared, true, false, true},
        {"write-only shared to read", Entry::WriteShared, false, true, true},
        {"write-only empty shared to read", Entry::WriteAnewShared, false, true, true},
    };
    static ReportLine illegal(Level::Error,
                              "Opening file \"%\" in folder \"%\": illegal open mode");
    unsigned int const row = static_cast<unsigned int>(mode);
    if (row < std::size(modes))
        return &modes[row];
    Report(illegal, {EntryOf{location}});
    return nullptr;
}

MuErrCode File::Open(OpenMode mode, AccessDeniedTreatment treatment) {
    static ReportLine opened(Level::Info, "Opening file \"%\" in folder \"%\" in % mode");
    if (status != NoError)
        return status;
    if (fileStatus == FileStatus::Open)
        return NoError;
    Turn const turn(*this);
    inputBuffer.Reset();
    outputBuffer.Reset();
    position = 0;
    Mode const * const row = FindMode(mode);
    if (row == nullptr)
        return Error;
    MuErrCode result = OpenEntry(*row, treatment);
    if (result == NoError && mode == OpenMode::Append)
        result = SeekToEnd(*row);
    if (result != NoError)
        return result;
    MarkOpen(mode, *row);
    Report(opened, {EntryOf{location}, row->text});
    return NoError;
}

MuErrCode File::OpenEntry(Mode const & mode, AccessDeniedTreatment treatment) {
    static ReportLine denied(Level::Error, "Opening file \"%\" in folder \"%\" in % mode: access "
                                           "denied (OS errors: %)");
    static ReportLine expectedDenied(Level::Info, "Opening file \"%\" in folder \"%\" in % mode: "
                                                  "access denied (OS errors: %)");
    static Outcome failures[] = {
        {ErrNoMoreFileHandle,
         {Level::Error, "Opening file \"%\" in folder \"%\" in % mode: no more "
                        "OS file handle (OS errors: %)"}},
        {Error,
         {Level::Error, "Opening file \"%\" in folder \"%\" in % mode: unknown error (OS "
                        "errors: %)"}},
        {Error, {Level::Error, "Opening file \"%\" in folder \"%\" in % mode: internal error"}},
    };
    unsigned int counter;
    fileSystem.InitAccessDeniedCounter(&counter);
    FileEntry::OpenStatus result;
    do
        result = entry->Open(mode.entryMode);
    while (result == FileEntry::OpenStatus::AccessDenied &&
           IsWorthRetry(mode, treatment, &counter));
    if (result == FileEntry::OpenStatus::Done)
        return NoError;
    if (result == FileEntry::OpenStatus::AccessDenied) {
        Report(IsDenialAnError(location, treatment) ? denied : expectedDenied,
               {EntryOf{location}, mode.text});
        return ErrFileAccessDenied;
    }
    // The rows begin with the status after the denial.
    return ReportOutcome(failures, static_cast<unsigned int>(result) - 2u,
                         {EntryOf{location}, mode.text});
}

// A protected file remains protected however often opening is retried.
bool File::IsWorthRetry(Mode const & mode, AccessDeniedTreatment treatment,
                        unsigned int * counter) {
    bool isProtected = false;
    bool const wantsToWrite = mode.entryMode != FileEntry::OpenMode::Read &&
                              mode.entryMode != FileEntry::OpenMode::ReadShared;
    // Queried without a line of its own: the denial is reported once.
    if (wantsToWrite && entry->IsWriteProtected(&isProtected) == FSEntry::AttributeStatus::Done &&
        isProtected)
        return false;
    return fileSystem.ProcessAccessDenied(location, treatment, counter) ==
           FileSystem::AccessDeniedAction::Retry;
}

MuErrCode File::SeekToEnd(Mode const & mode) {
    static ReportLine failed(Level::Error, "Opening file \"%\" in folder \"%\" in % mode: seek "
                                           "error (OS errors: %)");
    if (entry->Seek(FileEntry::SeekOrigin::End, 0, &position) == FileEntry::SeekStatus::Done)
        return NoError;
    entry->Close();
    Report(failed, {EntryOf{location}, mode.text});
    return Error;
}

void File::MarkOpen(OpenMode newMode, Mode const & mode) {
    openMode = newMode;
    fileStatus = FileStatus::Open;
    readable = mode.readable;
    writeable = mode.writeable;
    seekable = mode.seekable;
    // With both directions open, a buffer would hold data that the other one has changed.
    if (newMode == OpenMode::ReadWrite) {
        inputBuffer.DisableBuffering();
        outputBuffer.DisableBuffering();
    } else {
        inputBuffer.EnableBuffering();
        outputBuffer.EnableBuffering();
    }
}

bool File::IsOpen() const {
    return fileStatus == FileStatus::Open;
}

bool File::IsOpenable(OpenMode mode) {
    if (status != NoError || fileStatus == FileStatus::Open)
        return false;
    Mode const * const row = FindMode(mode);
    if (row == nullptr)
        return false;
    bool const openable = entry->Open(row->entryMode) == FileEntry::OpenStatus::Done;
    if (openable)
        entry->Close();
    ClearOSErrors();
    return openable;
}

MuErrCode File::Close() {
    static Outcome outcomes[] = {
        {NoError, {Level::Info, "Closing file \"%\" in folder \"%\""}},
        {OutputClosed,
         {Level::Error, "Closing file \"%\" in folder \"%\": write error (OS errors: %)"}},
        {EOO, {Level::Error, "Closing file \"%\" in folder \"%\": device is full (OS errors: %)"}},
        {Error, {Level::Error, "Closing file \"%\" in folder \"%\": unknown error (OS errors: %)"}},
        {Error, {Level::Error, "Closing file \"%\" in folder \"%\": internal error"}},
    };
    if (status != NoError)
        return status;
    if (fileStatus == FileStatus::Closed)
        return NoError;
    Turn const turn(*this);
    FileEntry::CloseStatus kind = FileEntry::CloseStatus::Done;
    if (writeable) {
        MuErrCode const flushed = outputBuffer.Flush();
        if (flushed == EOO)
            kind = FileEntry::CloseStatus::DeviceFull;
        else if (flushed != NoError)
            kind = FileEntry::CloseStatus::WriteError;
    }
    fileStatus = FileStatus::Closed;
    readable = writeable = seekable = false;
    FileEntry::CloseStatus const closed = entry->Close();
    if (kind == FileEntry::CloseStatus::Done)
        kind = closed;
    inputBuffer.Reset();
    outputBuffer.Reset();
    return ReportOutcome(outcomes, kind, {EntryOf{location}});
}

MuErrCode File::Flush() {
    static Outcome failures[] = {
        {EOO, {Level::Error, "Flushing file \"%\" in folder \"%\": device is full (OS errors: %)"}},
        {OutputClosed,
         {Level::Error, "Flushing file \"%\" in folder \"%\": unknown error (OS errors: %)"}},
        {Error,
         {Level::Error, "Flushing file \"%\" in folder \"%\": internal error (OS errors: %)"}},
    };
    if (MuErrCode const check = CheckFlag(writeable); check != NoError)
        return check;
    Turn const turn(*this);
    if (MuErrCode const flushed = outputBuffer.Flush(); flushed != NoError)
        return flushed;
    return ReportFailure(failures, entry->Flush(), {EntryOf{location}});
}

MuErrCode File::FlushBuffer() const {
    return fileStatus == FileStatus::Open && writeable ? outputBuffer.Flush() : NoError;
}

// Opens briefly, unless the file is open: then Open does nothing and the file is closed here.
// Kept: hosts rely on the query closing a file that is open in the other direction.
bool File::TryOpen(OpenMode mode) {
    if (Open(mode, AccessDeniedTreatment::RetryPrivate) != NoError)
        return false;
    Close();
    return true;
}

bool File::IsReadable() {
    if (status != NoError)
        return false;
    if (fileStatus == FileStatus::Open && readable)
        return true;
    return TryOpen(OpenMode::ReadOnly);
}

bool File::IsWriteable() {
    if (status != NoError)
        return false;
    if (fileStatus == FileStatus::Open && writeable)
        return true;
    return TryOpen(OpenMode::WriteOnly);
}

bool File::IsWriteable(WriteAccessFailureReason * reason, Mu::UniString * locker) {
    if (reason == nullptr || locker == nullptr)
        return false;
    if (IsWriteable())
        return true;
    *reason = WriteAccessFailureReason::Unknown;
    locker->ClearContent();
    if (status != NoError)
        return false;
    bool isProtected = false;
    if (IsWriteProtected(&isProtected) == NoError && isProtected) {
        *reason = WriteAccessFailureReason::WriteProtected;
        return false;
    }
    switch (entry->GetWriteLocker(locker)) {
    case FileEntry::LockerStatus::Program:
        *reason = WriteAccessFailureReason::LockedByProgram;
        break;
    case FileEntry::LockerStatus::User: *reason = WriteAccessFailureReason::LockedByUser; break;
    case FileEntry::LockerStatus::Unknown: break;
    }
    return false;
}

} // namespace IO
