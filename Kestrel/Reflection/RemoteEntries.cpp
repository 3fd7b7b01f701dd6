#include <Kestrel/Reflection/Internal/RemoteEntries.h>

#include <Kestrel/FileSystem/EntryEnumerator.h>
#include <Kestrel/Root/Time/Time.h>

#include <algorithm>

namespace IO {

// The entries of a process have no times of their own.
FSEntry::TimeStatus RemoteFolderEntry::GetCreationTime(int * time) {
    *time = TIGetTime();
    return TimeStatus::Done;
}

bool RemoteFolderEntry::Look() {
    return level || where.tree->GetLevel(where.place, &level) == NoError;
}

FolderEntry::GetTypeStatus RemoteFolderEntry::GetType(Name const & name, EntryType * type) {
    if (Mu::IsNull(name) || !Look())
        return GetTypeStatus::Other;
    RemoteKind const * const kind = RemoteTree::Find(*level, name);
    if (kind == nullptr)
        return GetTypeStatus::EntryNotFound;
    *type = *kind == RemoteKind::Folder ? EntryType::Folder : EntryType::File;
    return GetTypeStatus::Done;
}

FolderEntry::EnumerateStatus RemoteFolderEntry::Enumerate(EntryEnumerator & enumerator) {
    if (!Look())
        return EnumerateStatus::Other;
    RemoteTree::LevelRef const held(level); // whatever the callback does
    for (auto const & entry : held->entries)
        if (!enumerator.EntryFound(entry.key, entry.value == RemoteKind::Folder))
            return EnumerateStatus::Stopped;
    return EnumerateStatus::Done;
}

FSEntry::AttributeStatus RemoteFolderEntry::IsOnLocalVolume(bool * isLocal) {
    *isLocal = false;
    return AttributeStatus::Done;
}

FSEntry::TimeStatus RemoteFileEntry::GetCreationTime(int * time) {
    *time = TIGetTime();
    return TimeStatus::Done;
}

FileEntry::OpenStatus RemoteFileEntry::Open(OpenMode mode) {
    if (mode != OpenMode::Read && mode != OpenMode::ReadShared)
        return OpenStatus::AccessDenied;
    position = 0;
    bytes.Clear();
    return where.tree->GetBytes(where.place, kind, &bytes) == NoError ? OpenStatus::Done
                                                                      : OpenStatus::Other;
}

FileEntry::ReadStatus RemoteFileEntry::Read(char * destination, unsigned int count,
                                            unsigned int * read) {
    *read = 0;
    if (!bytes)
        return ReadStatus::ReadError;
    *read = static_cast<unsigned int>(
        std::min<unsigned long long>(count, bytes->text.GetLength() - position));
    BNCopyMemory(bytes->text.ToCStr() + position, destination, *read);
    position += *read;
    return *read == count ? ReadStatus::Done : ReadStatus::EndOfFile;
}

FileEntry::SeekStatus RemoteFileEntry::Seek(SeekOrigin origin, long long offset,
                                            unsigned long long * reached) {
    if (!bytes)
        return SeekStatus::Other;
    unsigned int const length = bytes->text.GetLength();
    unsigned long long const start = origin == SeekOrigin::Beginning ? 0
                                     : origin == SeekOrigin::Current ? position
                                                                     : length;
    // A position before the start is a large number here.
    unsigned long long const target = start + static_cast<unsigned long long>(offset);
    if (target > length)
        return SeekStatus::IllegalPosition;
    *reached = position = target;
    return SeekStatus::Done;
}

FileEntry::CloseStatus RemoteFileEntry::Close() {
    bytes.Clear();
    return CloseStatus::Done;
}

FileEntry::LengthStatus RemoteFileEntry::GetDataLength(unsigned long long * length) {
    RemoteTree::BytesRef held(bytes);
    if (!held && where.tree->GetBytes(where.place, kind, &held) != NoError)
        return LengthStatus::Other;
    *length = held->text.GetLength();
    return LengthStatus::Done;
}

FileEntry::TypeStatus RemoteFileEntry::GetTypeInfo(unsigned int * type, unsigned int * creator) {
    *type = 0;
    *creator = 0;
    return TypeStatus::Done;
}

namespace {

using ConnectStatus = BaseFileSystem::ConnectStatus;

ConnectStatus Find(RemotePlace const & where, RemoteKind * kind) {
    switch (where.tree->Find(where.place, kind)) {
    case NoError: return ConnectStatus::Connected;
    case ErrEntryNotFound: return ConnectStatus::NotFound;
    default: return ConnectStatus::Other;
    }
}

} // namespace

ConnectStatus ConnectRemote(RemotePlace const & where, FolderEntry ** entry) {
    RemoteKind kind;
    if (ConnectStatus const status = Find(where, &kind); status != ConnectStatus::Connected)
        return status;
    if (kind != RemoteKind::Folder)
        return ConnectStatus::NotAFolder;
    *entry = new RemoteFolderEntry(where);
    return ConnectStatus::Connected;
}

ConnectStatus ConnectRemote(RemotePlace const & where, FileEntry ** entry) {
    RemoteKind kind;
    if (ConnectStatus const status = Find(where, &kind); status != ConnectStatus::Connected)
        return status;
    if (kind == RemoteKind::Folder)
        return ConnectStatus::NotAFile;
    *entry = new RemoteFileEntry(where, kind);
    return ConnectStatus::Connected;
}

} // namespace IO
