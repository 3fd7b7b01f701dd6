#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/FileEntry.h>
#include <Kestrel/FileSystem/Internal/FileTurn.h>
#include <Kestrel/FileSystem/Internal/Report.h>

#include <limits>
#include <utility>

namespace IO {

using Level = ReportLine::Level;

namespace {

constexpr unsigned int NoNumber = 0xFFFFFFFFu;

// For positions as well as for lengths; the line mentions the length in both cases, which log
// searches rely on.
MuErrCode Narrow(Location const & location, unsigned long long number, unsigned int * narrow) {
    static ReportLine tooLarge(Level::Error,
                               "Querying length of file \"%\" in folder \"%\": 64-bit "
                               "number in 32-bit API (OS errors: %)");
    *narrow = number > NoNumber ? NoNumber : static_cast<unsigned int>(number);
    if (number <= NoNumber)
        return NoError;
    Report(tooLarge, {EntryOf{location}});
    return Error;
}

} // namespace

MuErrCode File::CheckSeek() const {
    if (outputBuffer.IsInMarkMode())
        return Error;
    return CheckFlag(seekable);
}

MuErrCode File::GetInputPosition(unsigned long long * result) const {
    if (result == nullptr)
        return Error;
    NoteInLine();
    MuErrCode const check = CheckFlag(readable);
    *result = check == NoError ? position : 0;
    return check;
}

MuErrCode File::GetOutputPosition(unsigned long long * result) const {
    return GetPosition(result);
}

MuErrCode File::GetPosition(unsigned long long * result) const {
    if (result == nullptr)
        return Error;
    NoteInLine();
    MuErrCode const check = CheckFlag(seekable);
    *result = check == NoError ? position : 0;
    return check;
}

MuErrCode File::GetPosition(unsigned int * result) const {
    if (result == nullptr)
        return Error;
    unsigned long long wide = 0;
    MuErrCode const check = GetPosition(&wide);
    *result = 0;
    return check != NoError ? check : Narrow(location, wide, result);
}

// Kept: the offset is truncated to its low 32 bits, so that a jump of 5 GiB moves by 1 GiB.
MuErrCode File::SetPosition(unsigned long long newPosition) {
    NoteInLine();
    if (MuErrCode const check = CheckSeek(); check != NoError)
        return check;
    return Seek(SeekOrigin::Current, static_cast<int>(newPosition - position));
}

MuErrCode File::Seek(SeekOrigin origin, long long offset) {
    Turn const turn(*this);
    if (MuErrCode const check = CheckSeek(); check != NoError)
        return check;
    if (readable && SeekInBuffer(origin, &offset))
        return NoError;
    if (MuErrCode const flushed = FlushBuffer(); flushed != NoError)
        return flushed;
    return SeekEntry(origin, offset);
}

// True when the buffered data contains the target. Otherwise the buffer is emptied, and an offset
// from the current position is reduced by what it held, since the entry is that much further on.
bool File::SeekInBuffer(SeekOrigin origin, long long * offset) {
    inputBuffer.ResetEOI();
    unsigned int const buffered = inputBuffer.GetDataSize();
    if (origin == SeekOrigin::Current && *offset >= 0 && *offset <= buffered) {
        unsigned long long skipped = 0;
        inputBuffer.Skip(static_cast<unsigned long long>(*offset), &skipped);
        position += skipped;
        return true;
    }
    if (origin == SeekOrigin::Current) {
        long long const lowest = std::numeric_limits<long long>::min() + buffered;
        *offset = *offset < lowest ? std::numeric_limits<long long>::min() : *offset - buffered;
    }
    inputBuffer.ClearContent();
    position += buffered;
    return false;
}

// Moves the entry to the caller's position, so that a write takes place there: data read ahead or
// pushed back is dropped, and a reported end may no longer be one.
MuErrCode File::LeaveReadAhead() {
    unsigned int const ahead = inputBuffer.GetDataSize();
    if (ahead != 0)
        if (MuErrCode const sought = SeekEntry(SeekOrigin::Current, -static_cast<long long>(ahead));
            sought != NoError)
            return sought;
    inputBuffer.ClearContent();
    inputBuffer.ResetEOI();
    return NoError;
}

MuErrCode File::SeekEntry(SeekOrigin origin, long long offset) {
    static Outcome failures[] = {
        {ErrIllegalPosition,
         {Level::Error, "Seeking on file \"%\" in folder \"%\": illegal position (OS errors: %)"}},
        {Error,
         {Level::Error, "Seeking on file \"%\" in folder \"%\": unknown error (OS errors: %)"}},
        {Error,
         {Level::Error, "Seeking on file \"%\" in folder \"%\": internal error (OS errors: %)"}},
    };
    if (static_cast<unsigned int>(origin) > static_cast<unsigned int>(SeekOrigin::End))
        return ReportOutcome(failures, 2, {EntryOf{location}});
    unsigned long long reached = position;
    FileEntry::SeekStatus const result =
        entry->Seek(static_cast<FileEntry::SeekOrigin>(origin), offset, &reached);
    if (result == FileEntry::SeekStatus::Done)
        position = reached;
    return ReportFailure(failures, result, {EntryOf{location}});
}

MuErrCode File::Skip(unsigned long long count, unsigned long long * skipped) {
    if (inputWindow.Skip(count)) {
        if (skipped != nullptr)
            *skipped = count;
        return NoError;
    }
    Turn const turn(*this);
    unsigned long long passed = 0;
    MuErrCode result = CheckFlag(readable);
    if (result == NoError) {
        bool const far =
            count > inputBuffer.GetDataSize() && seekable && std::in_range<long long>(count);
        unsigned long long const start = position;
        if (far && Seek(SeekOrigin::Current, static_cast<long long>(count)) == NoError)
            passed = count;
        else {
            passed = position - start;
            unsigned long long rest = 0;
            result = inputBuffer.Skip(count - passed, &rest);
            position += rest;
            passed += rest;
        }
    }
    if (skipped != nullptr)
        *skipped = passed;
    return result;
}

MuErrCode File::GetAvailable(unsigned long long * available) const {
    if (available == nullptr)
        return Error;
    *available = 0;
    if (MuErrCode const check = CheckFlag(readable); check != NoError)
        return check;
    unsigned long long length = 0;
    MuErrCode const result = GetDataLength(&length); // also counts what was read in line
    // The position is before the beginning, modulo 2^64, after more was pushed back than was read.
    if (result == NoError && static_cast<long long>(length - position) > 0)
        *available = length - position;
    return result;
}

MuErrCode File::SetDataLength(unsigned long long length) {
    static Outcome failures[] = {
        {ErrFileAccessDenied,
         {Level::Error, "Setting length of file \"%\" in folder \"%\": access "
                        "denied (OS errors: %)"}},
        {EOO,
         {Level::Error, "Setting length of file \"%\" in folder \"%\": device is full (OS "
                        "errors: %)"}},
        {Error,
         {Level::Error, "Setting length of file \"%\" in folder \"%\": unknown error (OS "
                        "errors: %)"}},
        {Error,
         {Level::Error, "Setting length of file \"%\" in folder \"%\": internal error (OS "
                        "errors: %)"}},
    };
    if (status != NoError)
        return status;
    bool const isOpen = fileStatus == FileStatus::Open;
    if (isOpen && !writeable)
        return Error;
    Turn const turn(*this);
    MuErrCode result = FlushBuffer();
    if (result == NoError && readable)
        result = LeaveReadAhead();
    if (result != NoError)
        return result;
    result = ReportFailure(failures, entry->SetDataLength(length), {EntryOf{location}});
    if (result == NoError && isOpen)
        position = length;
    return result;
}

MuErrCode File::GetDataLength(unsigned long long * length) const {
    // Buffered data is written first, and that can fill a device; the query itself never does, so
    // that a full device is an internal error of an entry.
    static Outcome failures[] = {
        {ErrFileAccessDenied,
         {Level::Error, "Querying length of file \"%\" in folder \"%\": access "
                        "denied (OS errors: %)"}},
        {Error,
         {Level::Error, "Querying length of file \"%\" in folder \"%\": internal error (OS "
                        "errors: %)"}},
        {Error,
         {Level::Error, "Querying length of file \"%\" in folder \"%\": unknown error (OS "
                        "errors: %)"}},
        {Error,
         {Level::Error, "Querying length of file \"%\" in folder \"%\": internal error (OS "
                        "errors: %)"}},
    };
    if (length == nullptr)
        return Error;
    *length = 0;
    if (status != NoError)
        return status;
    Turn const turn(*this);
    if (MuErrCode const flushed = FlushBuffer(); flushed != NoError)
        return flushed;
    return ReportFailure(failures, entry->GetDataLength(length), {EntryOf{location}});
}

MuErrCode File::GetDataLength(unsigned int * length) const {
    if (length == nullptr)
        return Error;
    *length = 0;
    unsigned long long wide = 0;
    MuErrCode const result = GetDataLength(&wide);
    return result != NoError ? result : Narrow(location, wide, length);
}

} // namespace IO
