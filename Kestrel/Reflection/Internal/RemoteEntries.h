#pragma once

#include <Kestrel/FileSystem/BaseFileSystem.h>
#include <Kestrel/FileSystem/ReadOnlyFileEntry.h>
#include <Kestrel/FileSystem/ReadOnlyFolderEntry.h>
#include <Kestrel/Reflection/Internal/RemoteTree.h>

namespace IO {

/// What the folders and files of another process have in common.
struct RemotePlace {
    BaseFileSystem & owner;
    Mu::Ref<RemoteTree> tree;
    RelativeLocation place;
};

/// A folder of another process, as it was at the first request about it.
class RemoteFolderEntry final : public ReadOnlyFolderEntry {
public:
    explicit RemoteFolderEntry(RemotePlace const & where) : where(where) {}

    TimeStatus GetCreationTime(int * time) override;
    TimeStatus GetModificationTime(int * time) override { return GetCreationTime(time); }
    BaseFileSystem * GetOwnerFileSystem() override { return &where.owner; }
    CopyStatus Copy(Name const &, FolderEntry &, Name const &) override {
        return CopyStatus::AccessDenied;
    }
    GetTypeStatus GetType(Name const & name, EntryType * type) override;
    EnumerateStatus Enumerate(EntryEnumerator & enumerator) override;
    bool IsReadable() override { return Look(); }
    AttributeStatus IsOnLocalVolume(bool * isLocal) override;
    AttributeStatus IsOnFixedVolume(bool * isFixed) override { return IsOnLocalVolume(isFixed); }

private:
    bool Look();

    RemotePlace const where;
    RemoteTree::LevelRef level; // null until it is requested
};

/// A file of another process. Its content is requested when it is opened; before, only its length
/// is known.
class RemoteFileEntry final : public ReadOnlyFileEntry {
public:
    RemoteFileEntry(RemotePlace const & where, RemoteKind kind) : where(where), kind(kind) {}

    TimeStatus GetCreationTime(int * time) override;
    TimeStatus GetModificationTime(int * time) override { return GetCreationTime(time); }
    BaseFileSystem * GetOwnerFileSystem() override { return &where.owner; }
    OpenStatus Open(OpenMode mode) override;
    ReadStatus Read(char * destination, unsigned int count, unsigned int * read) override;
    SeekStatus Seek(SeekOrigin origin, long long offset, unsigned long long * where) override;
    CloseStatus Close() override;
    LengthStatus GetDataLength(unsigned long long * length) override;
    TypeStatus GetTypeInfo(unsigned int * type, unsigned int * creator) override;

private:
    RemotePlace const where;
    RemoteKind const kind;
    RemoteTree::BytesRef bytes; // null while it is closed
    unsigned long long position = 0;
};

// Return the entry at a place of the tree.
BaseFileSystem::ConnectStatus ConnectRemote(RemotePlace const & where, FolderEntry ** entry);
BaseFileSystem::ConnectStatus ConnectRemote(RemotePlace const & where, FileEntry ** entry);

} // namespace IO
