#include <Kestrel/FileSystem/Internal/WinFileEntry.h>

#include <Kestrel/FileSystem/Internal/ErrorGroups.h>
#include <Kestrel/FileSystem/Internal/FileTimes.h>
#include <Kestrel/FileSystem/Internal/PathType.h>
#include <Kestrel/FileSystem/Internal/WinFileSystem.h>

#include <iterator>

namespace IO {

namespace {

using OpenStatus = FileEntry::OpenStatus;
using WriteStatus = FileEntry::WriteStatus;
using SeekStatus = FileEntry::SeekStatus;
using CloseStatus = FileEntry::CloseStatus;
using LengthStatus = FileEntry::LengthStatus;

struct OpenRow {
    unsigned int access;
    unsigned int share;
    unsigned int disposition;
};

// By FileEntry::OpenMode. Nothing here creates a file.
constexpr OpenRow openRows[] = {
    {FileAccess::Read, FileShare::Read, FileDisposition::OpenExisting},
    {FileAccess::Write, FileShare::None, FileDisposition::OpenExisting},
    {FileAccess::Write, FileShare::None, FileDisposition::TruncateExisting},
    {FileAccess::Read | FileAccess::Write, FileShare::None, FileDisposition::OpenExisting},
    {FileAccess::Read, FileShare::Read | FileShare::Write, FileDisposition::OpenExisting},
    {FileAccess::Write, FileShare::Read, FileDisposition::OpenExisting},
    {FileAccess::Write, FileShare::Read, FileDisposition::TruncateExisting},
};

constexpr ErrorRow<OpenStatus> openErrors[] = {
    {FileError::TooManyOpenFiles, OpenStatus::NoMoreHandles},
    {FileError::AccessDenied, OpenStatus::AccessDenied},
    {FileError::SharingViolation, OpenStatus::AccessDenied},
    {FileError::LockViolation, OpenStatus::AccessDenied},
};

constexpr ErrorRow<WriteStatus> writeErrors[] = {
    {FileError::HandleDiskFull, WriteStatus::DeviceFull},
    {FileError::DiskFull, WriteStatus::DeviceFull},
};

constexpr ErrorRow<SeekStatus> seekErrors[] = {
    {FileError::InvalidParameter, SeekStatus::IllegalPosition},
    {FileError::NegativeSeek, SeekStatus::IllegalPosition},
};

constexpr ErrorRow<CloseStatus> closeErrors[] = {
    {FileError::WriteProtect, CloseStatus::WriteError},
    {FileError::WriteFault, CloseStatus::WriteError},
    {FileError::HandleDiskFull, CloseStatus::DeviceFull},
    {FileError::DiskFull, CloseStatus::DeviceFull},
};

constexpr ErrorRow<LengthStatus> lengthErrors[] = {
    {FileError::HandleDiskFull, LengthStatus::DeviceFull},
    {FileError::DiskFull, LengthStatus::DeviceFull},
};

} // namespace

WinFileEntry::~WinFileEntry() {
    Release();
}

void WinFileEntry::Release() noexcept {
    if (handle != nullptr)
        (void)Close(); // callers that need the status close it first
    path.Clear();
    folder = nullptr;
}

bool WinFileEntry::SetFolder(FindHandle newFolder, PathText expectedPath) noexcept {
    if (!GetFileCalls().IsSameName(path, expectedPath))
        return false;
    folder = newFolder;
    return true;
}

FSEntry::TimeStatus WinFileEntry::SetTime(TimeKind kind, long long seconds) {
    return WritePathTime(path, kind, seconds, 0);
}

FSEntry::TimeStatus WinFileEntry::GetTime(TimeKind kind, long long * seconds) const {
    return ReadPathTime(path, kind, seconds);
}

FSEntry::AttributeStatus WinFileEntry::GetDiskUse(DiskUse * use) const {
    return TranslateDenial<AttributeStatus>(GetFileCalls().GetDiskUse(path, use));
}

FSEntry::TimeStatus WinFileEntry::SetCreationTime(int const & time) {
    return Mu::IsNull(time) ? TimeStatus::Other : SetTime(TimeKind::Creation, time);
}

FSEntry::TimeStatus WinFileEntry::GetCreationTime(int * time) {
    return ReadPathTime(path, TimeKind::Creation, time);
}

FSEntry::TimeStatus WinFileEntry::SetModificationTime(int const & time) {
    return Mu::IsNull(time) ? TimeStatus::Other : SetTime(TimeKind::Modification, time);
}

FSEntry::TimeStatus WinFileEntry::GetModificationTime(int * time) {
    return ReadPathTime(path, TimeKind::Modification, time);
}

BaseFileSystem * WinFileEntry::GetOwnerFileSystem() {
    return &owner;
}

OpenStatus WinFileEntry::Open(OpenMode mode) {
    return handle == nullptr ? OpenHandle(mode, &handle) : OpenStatus::Other;
}

OpenStatus WinFileEntry::OpenHandle(OpenMode mode, FileHandle * opened) {
    unsigned int const number = static_cast<unsigned int>(mode);
    if (number >= std::size(openRows))
        return OpenStatus::Other;
    OpenRow const & row = openRows[number];
    PathText const whole = path;
    EntryPath const entry =
        folder == nullptr ? EntryPath(whole) : EntryPath(folder, whole.substr(FindLastName(whole)));
    unsigned int const error =
        GetFileCalls().CreateFile(entry, row.access, row.share, row.disposition, 0, opened);
    return Translate(openErrors, error, OpenStatus::Other);
}

FileEntry::ReadStatus WinFileEntry::Read(char * destination, unsigned int count,
                                         unsigned int * read) {
    if (GetFileCalls().ReadFile(handle, destination, count, read) != FileError::None)
        return ReadStatus::ReadError;
    return *read < count ? ReadStatus::EndOfFile : ReadStatus::Done;
}

WriteStatus WinFileEntry::Write(char const * source, unsigned int count, unsigned int * written) {
    unsigned int reached = 0;
    unsigned int const error = GetFileCalls().WriteFile(handle, source, count, &reached);
    if (error == FileError::None)
        *written = reached;
    return Translate(writeErrors, error, WriteStatus::WriteError);
}

SeekStatus WinFileEntry::Seek(SeekOrigin origin, long long offset, unsigned long long * position) {
    if (origin > SeekOrigin::End)
        return SeekStatus::Other;
    if (offset > 0) {
        SeekStatus const status = CheckForwardSeek(origin, static_cast<unsigned long long>(offset));
        if (status != SeekStatus::Done)
            return status;
    }
    unsigned int const error = GetFileCalls().SetFilePointerEx(handle, offset, position,
                                                               static_cast<unsigned int>(origin));
    return Translate(seekErrors, error, SeekStatus::Other);
}

// The system would move past the end and leave a hole there; this library does not.
SeekStatus WinFileEntry::CheckForwardSeek(SeekOrigin origin, unsigned long long offset) {
    if (origin == SeekOrigin::End)
        return SeekStatus::IllegalPosition;
    FileCalls & calls = GetFileCalls();
    unsigned long long start = 0;
    unsigned long long length;
    if (origin == SeekOrigin::Current &&
        calls.SetFilePointerEx(handle, 0, &start, 1) != FileError::None)
        return SeekStatus::Other;
    if (calls.GetFileSizeEx(handle, &length) != FileError::None)
        return SeekStatus::Other;
    return start <= length && offset <= length - start ? SeekStatus::Done
                                                       : SeekStatus::IllegalPosition;
}

WriteStatus WinFileEntry::Flush() {
    return Translate(writeErrors, GetFileCalls().FlushFileBuffers(handle), WriteStatus::WriteError);
}

CloseStatus WinFileEntry::Close() {
    unsigned int const error = GetFileCalls().CloseHandle(handle);
    handle = nullptr;
    return Translate(closeErrors, error, CloseStatus::Other);
}

LengthStatus WinFileEntry::SetDataLength(unsigned long long length) {
    if (handle != nullptr)
        return SetEnd(handle, length);
    FileHandle file;
    OpenStatus const opened = OpenHandle(OpenMode::Write, &file);
    if (opened != OpenStatus::Done)
        return opened == OpenStatus::AccessDenied ? LengthStatus::AccessDenied
                                                  : LengthStatus::Other;
    LengthStatus const status = SetEnd(file, length);
    GetFileCalls().CloseHandle(file); // the status of the length is the result
    return status;
}

LengthStatus WinFileEntry::SetEnd(FileHandle file, unsigned long long length) {
    FileCalls & calls = GetFileCalls();
    unsigned long long before;
    if (calls.SetFilePointerEx(file, 0, &before, 1) != FileError::None ||
        calls.SetFilePointerEx(file, static_cast<long long>(length), nullptr, 0) != FileError::None)
        return LengthStatus::Other;
    unsigned int const error = calls.SetEndOfFile(file);
    if (error != FileError::None) // the next write is where it would have been
        calls.SetFilePointerEx(file, static_cast<long long>(before), nullptr, 0);
    return Translate(lengthErrors, error, LengthStatus::Other);
}

LengthStatus WinFileEntry::GetDataLength(unsigned long long * length) {
    if (handle != nullptr)
        return TranslateDenial<LengthStatus>(GetFileCalls().GetFileSizeEx(handle, length));
    FindData data;
    unsigned int const error = FindEntry(path, &data);
    if (error == FileError::None)
        *length = data.size;
    return TranslateDenial<LengthStatus>(error);
}

// The platform stores no types in its files.
FileEntry::TypeStatus WinFileEntry::SetTypeInfo(unsigned int, unsigned int) {
    return TypeStatus::Done;
}

FileEntry::TypeStatus WinFileEntry::GetTypeInfo(unsigned int * type, unsigned int * creator) {
    *type = 0;
    *creator = 0;
    return TypeStatus::Done;
}

FSEntry::AttributeStatus WinFileEntry::IsWriteProtected(bool * writeProtected) {
    unsigned int attributes;
    unsigned int const error = GetFileCalls().GetFileAttributes(path, &attributes);
    if (error == FileError::None)
        *writeProtected = (attributes & FileAttribute::ReadOnly) != 0;
    return TranslateDenial<AttributeStatus>(error);
}

FSEntry::AttributeStatus WinFileEntry::SetWriteProtection(bool writeProtected) {
    return TranslateDenial<AttributeStatus>(GetFileCalls().SetFileAttributes(
        path, writeProtected ? FileAttribute::ReadOnly : FileAttribute::Normal));
}

FileEntry::LockerStatus WinFileEntry::GetWriteLocker(Mu::UniString *) {
    return LockerStatus::Unknown;
}

} // namespace IO
