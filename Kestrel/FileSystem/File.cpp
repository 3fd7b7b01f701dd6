#include <Kestrel/FileSystem/File.h>

#include <Kestrel/Channel/BinProtocol.h>
#include <Kestrel/FileSystem/FileEntry.h>
#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/Folder.h>
#include <Kestrel/FileSystem/Internal/Connection.h>
#include <Kestrel/FileSystem/Internal/FileTurn.h>
#include <Kestrel/FileSystem/Internal/Make.h>
#include <Kestrel/FileSystem/Internal/Report.h>
#include <Kestrel/FileSystem/Internal/WinFolderEntry.h>
#include <Kestrel/Location/Internal/OSErrors.h>
#include <Kestrel/Root/Log/Quietly.h>
#include <Kestrel/Root/Settings/Preferences.h>

#include <atomic>
#include <optional>

namespace IO {

using Level = ReportLine::Level;

namespace {

constexpr unsigned int DefaultCacheSize = 4096;
constexpr double ReservedRatio = 0.01;

constinit std::atomic<unsigned int> knownCacheSize = 0; // 0: not known yet

// Read once per process: Files are created far more often than the preference changes. When memory
// runs out, the default is used, and the next File reads it again.
unsigned int GetCacheSize() {
    unsigned int size = knownCacheSize.load(std::memory_order_relaxed);
    if (size != 0)
        return size;
    MuPref::IRoot * root = MuPref::OpenRootKey(MuPref::UserDomain);
    if (root == nullptr)
        return DefaultCacheSize;
    root->GetUInt("Kestrel", "FileCacheSize", 0, &size);
    MuPref::CloseRootKey(&root);
    size = size == 0 ? DefaultCacheSize : size;
    knownCacheSize.store(size, std::memory_order_relaxed);
    return size;
}

constexpr ConnectionKind kind{
    "file",      ErrFSFileNotFound,   ErrFSNotAFile,        ErrFileNotFound,
    ErrNotAFile, ErrFileAccessDenied, ErrFileCreationFailed};

} // namespace

File::File(Location const & location, OnNotFound onNotFound)
    : IChannel(binIProtocol), OChannel(binOProtocol), location(location),
      inputBuffer(this, GetCacheSize(), 0, ReservedRatio), outputBuffer(this, 0) {
    ConnectOrCreate(onNotFound, nullptr, nullptr);
}

File::File(Folder const & folder, Name const & name)
    : IChannel(binIProtocol), OChannel(binOProtocol), location(folder.location, name),
      inputBuffer(this, GetCacheSize(), 0, ReservedRatio), outputBuffer(this, 0) {
    ConnectOrCreate(OnNotFound::Report, nullptr, &folder);
}

File::File(Folder & folder, Name const & name, OnNotFound onNotFound)
    : IChannel(binIProtocol), OChannel(binOProtocol), location(folder.location, name),
      inputBuffer(this, GetCacheSize(), 0, ReservedRatio), outputBuffer(this, 0) {
    ConnectOrCreate(onNotFound, &folder, &folder);
}

MuErrCode File::New(File ** file, Location const & location, OnNotFound onNotFound) {
    return MakeHealthy(file, location, onNotFound);
}

MuErrCode File::New(File ** file, Folder const & folder, Name const & name) {
    return MakeHealthy(file, folder, name);
}

MuErrCode File::New(File ** file, Folder & folder, Name const & name, OnNotFound onNotFound) {
    return MakeHealthy(file, folder, name, onNotFound);
}

File::~File() {
    if (status == NoError && fileStatus == FileStatus::Open)
        Mu::Quietly([this] { (void)Close(); });
    if (entry != nullptr)
        Mu::Quietly([this] { fileSystem.Disconnect(entry); });
}

void File::ConnectOrCreate(OnNotFound onNotFound, Folder * folder, Folder const * in) {
    std::optional<Location> own;
    if (folder != nullptr && onNotFound == OnNotFound::Create)
        own = location;
    status = Connect(in);
    if (status == ErrFileNotFound && onNotFound == OnNotFound::Create) {
        status = ErrFileCreationFailed;
        ClearOSErrors(); // that none existed is no failure now
        if (own)
            location = *own; // not where a broken link of that name leads
        if (CreateIn(folder) == NoError)
            status = entry != nullptr ? NoError : Connect(in);
    }
    ReportConnection(kind, status, location, onNotFound == OnNotFound::FailQuietly);
}

MuErrCode File::Connect(Folder const * in) {
    MuErrCode const connected = fileSystem.Connect(&location, &entry);
    if (connected != NoError)
        entry = nullptr; // not ours to release, whatever a file system left there
    MuErrCode const result = GetConnectionStatus(kind, connected);
    return result == kind.notFound && in != nullptr
               ? ConnectBeyond(kind, in->entry, &location, &entry)
               : result;
}

MuErrCode File::CreateIn(Folder * folder) {
    Location parent(location);
    Name name;
    if (MuErrCode const moved = parent.MoveLastLocalName(&name); moved != NoError)
        return moved;
    if (folder != nullptr)
        return CreateIn(*folder, name);
    Folder above(parent, Folder::OnNotFound::Report);
    return CreateIn(above, name);
}

// A file that was just created on a disk is connected to without another look-up.
MuErrCode File::CreateIn(Folder & folder, Name const & name) {
    MuErrCode const created = folder.CreateFile(name);
    auto const * const native =
        created == NoError ? dynamic_cast<WinFolderEntry const *>(folder.entry) : nullptr;
    if (native != nullptr)
        entry = native->ConnectMade(name, location);
    return created;
}

MuErrCode File::CheckFlag(bool flag) const {
    if (status != NoError)
        return status;
    return flag ? NoError : Error;
}

// Takes account of what was read and written in line.
void File::NoteInLine() const {
    if (inputWindow.IsOpen())
        position += inputBuffer.TakeUpTo(inputWindow.GetPlace());
    inputWindow.CloseIfUsedUp();
    if (outputWindow.IsOpen())
        position += outputBuffer.FillUpTo(outputWindow.GetPlace());
}

MuErrCode File::ReadRest(char * destination, unsigned int count, unsigned int * read) {
    unsigned int ignored;
    read = read != nullptr ? read : &ignored;
    if (inputWindow.Take(destination, count)) {
        *read = count;
        return NoError;
    }
    Turn const turn(*this);
    unsigned int got = 0;
    MuErrCode result;
    if (readable) { // never true for an unhealthy file
        result = inputBuffer.Get(destination, count, &got);
        position += got;
    } else
        result = CheckFlag(false);
    *read = got;
    return result;
}

MuErrCode File::CopyBin(char * destination, unsigned int count, unsigned int * copied) {
    if (inputWindow.Copy(destination, count)) {
        if (copied != nullptr)
            *copied = count;
        return NoError;
    }
    Turn const turn(*this);
    unsigned int got = 0;
    MuErrCode result = CheckFlag(readable);
    if (result == NoError)
        result = inputBuffer.Copy(destination, count, &got);
    if (copied != nullptr)
        *copied = got;
    return result;
}

MuErrCode File::Look(unsigned int offset, char * c) {
    if (inputWindow.Look(offset, c))
        return NoError;
    Turn const turn(*this);
    MuErrCode const check = CheckFlag(readable);
    return check != NoError ? check : inputBuffer.Look(offset, c);
}

MuErrCode File::PushBack(char c) {
    return IChannel::PushBack(c);
}

MuErrCode File::PushBack(char const * source, unsigned int count) {
    Turn const turn(*this);
    MuErrCode result = CheckFlag(readable);
    if (result == NoError) {
        result = inputBuffer.PushBack(source, count);
        if (result == NoError)
            position -= count;
    }
    return result;
}

MuErrCode File::DirectInputAccess(unsigned int size, char ** data, unsigned int * available) {
    Turn const turn(*this);
    unsigned int there = 0;
    MuErrCode result = CheckFlag(readable);
    if (result == NoError)
        result = inputBuffer.DirectAccess(size, data, &there);
    if (available != nullptr)
        *available = there;
    return result;
}

void File::SetDefaultInputProtocol() {
    SetInputProtocol(binIProtocol);
}
void File::SetDefaultOutputProtocol() {
    SetOutputProtocol(binOProtocol);
}
MuErrCode File::GetInputStatus() const {
    return inputBuffer.GetStatus();
}
void File::ResetInputStatus() {
    Turn const turn(*this);
    inputBuffer.ResetInputStatus();
}
MuErrCode File::GetOutputStatus() const {
    return outputBuffer.GetStatus();
}
void File::ResetOutputStatus() {
    Turn const turn(*this);
    outputBuffer.ResetOutputStatus();
}

MuErrCode File::WriteRest(char const * source, unsigned int count, unsigned int * written) {
    unsigned int ignored;
    written = written != nullptr ? written : &ignored;
    if (outputWindow.Put(source, count)) {
        *written = count;
        return NoError;
    }
    Turn const turn(*this);
    MuErrCode result = CheckFlag(writeable);
    // After a failure the buffer would still store what fits, and write it later.
    if (result == NoError)
        result = outputBuffer.GetStatus();
    if (readable && result == NoError)
        result = LeaveReadAhead();
    if (result == NoError)
        result = outputBuffer.Put(source, count);
    unsigned int const put = result == NoError ? count : 0;
    position += put;
    *written = put;
    return result;
}

MuErrCode File::DirectOutputAccess(unsigned int offset, char ** data, unsigned int * available) {
    Turn const turn(*this);
    unsigned int there = 0;
    MuErrCode result = CheckFlag(writeable);
    if (result == NoError)
        result = outputBuffer.DirectAccess(offset, data, &there);
    if (available != nullptr)
        *available = there;
    return result;
}

MuErrCode File::PushMark() {
    Turn const turn(*this);
    MuErrCode const check = CheckFlag(writeable);
    return check != NoError ? check : outputBuffer.PushMark();
}

MuErrCode File::PopMark() {
    Turn const turn(*this);
    if (MuErrCode const check = CheckFlag(writeable); check != NoError)
        return check;
    unsigned int const before = outputBuffer.GetWritePosition();
    MuErrCode const result = outputBuffer.PopMark();
    if (result == NoError)
        position -= before - outputBuffer.GetWritePosition();
    return result;
}

unsigned int File::GetOffset() const {
    NoteInLine();
    return CheckFlag(writeable) == NoError ? outputBuffer.GetOffset() : 0;
}

void File::ResetOffset() {
    Turn const turn(*this);
    position += GetOffset();
    outputBuffer.ResetOffset();
}

MuErrCode File::InternalRead(char * destination, unsigned int count, unsigned int * read) {
    static Outcome failures[] = {
        {InputFailure,
         {Level::Error, "Reading file \"%\" in folder \"%\": read error (OS errors: %)"}},
        {Error,
         {Level::Error, "Reading file \"%\" in folder \"%\": internal error (OS errors: %)"}},
    };
    *read = 0;
    FileEntry::ReadStatus const result = entry->Read(destination, count, read);
    switch (result) {
    case FileEntry::ReadStatus::Done: return NoError;
    case FileEntry::ReadStatus::EndOfFile: return EOI;
    case FileEntry::ReadStatus::ReadError: return ReportOutcome(failures, 0, {EntryOf{location}});
    }
    return ReportOutcome(failures, 1, {EntryOf{location}});
}

MuErrCode File::InternalWrite(char const * source, unsigned int count, unsigned int * written) {
    static Outcome failures[] = {
        {OutputClosed,
         {Level::Error, "Writing file \"%\" in folder \"%\": write error (OS errors: %)"}},
        {Error,
         {Level::Error, "Writing file \"%\" in folder \"%\": internal error (OS errors: %)"}},
    };
    *written = 0;
    FileEntry::WriteStatus const result = entry->Write(source, count, written);
    // After a failure, the next write overwrites what arrived. Where that would leave a gap behind
    // the end, for what was buffered and is lost, the position moves back instead.
    constexpr auto sought = FileEntry::SeekStatus::Done;
    unsigned long long reached = 0;
    if (result != FileEntry::WriteStatus::Done &&
        entry->Seek(FileEntry::SeekOrigin::Beginning, static_cast<long long>(position), &reached) !=
            sought &&
        entry->Seek(FileEntry::SeekOrigin::Current, 0, &reached) == sought)
        position = reached;
    switch (result) {
    case FileEntry::WriteStatus::Done: return NoError;
    case FileEntry::WriteStatus::DeviceFull: return EOO;
    case FileEntry::WriteStatus::WriteError: return ReportOutcome(failures, 0, {EntryOf{location}});
    }
    return ReportOutcome(failures, 1, {EntryOf{location}});
}

MuErrCode File::GetLocation(Location * result) const {
    if (result == nullptr)
        return Error;
    if (status == NoError)
        *result = location;
    return status;
}

} // namespace IO
