#pragma once

#include <Kestrel/Location/Location.h>
#include <Kestrel/Reflection/VFSFolderEntry.h>

namespace IO {

class Reflectable;

/// A gateway from a MemoryVFS to a Reflectable: below it, folders contain what the object lists,
/// and files the text of its things.
///
/// Each connection is a snapshot; the next one has new data. The gateway itself only marks the
/// place: its content is accessed with the whole location, through File and Folder.
///
/// Memory:  the gateway is owned by the folder that it is created in, a snapshot by the File or
///          Folder that it was made for. Connecting may throw Mu::OutOfMemoryException.
/// Threads: the object is queried on the thread that connects.
/// Failure: statuses.
class KESTREL_API ReflectionFolderEntry : public VFSFolderEntry {
public:
    /// The object is not owned and must outlive the entry. Null: no memory.
    static ReflectionFolderEntry * New(Reflectable const & reflectable);
    ~ReflectionFolderEntry() override;
    ReflectionFolderEntry(ReflectionFolderEntry const &) = delete;
    ReflectionFolderEntry & operator=(ReflectionFolderEntry const &) = delete;

    void SetContext(BaseFileSystem & fileSystem, Location const & where) override;
    void Disconnect() override {}
    bool IsConnected() const override { return false; }
    void Invalidate() override { isValid = false; }
    void GetLocation(Location *) const override {}

    ConnectStatus Connect(RelativeLocation const & below, VFSFolderEntry ** entry) override;
    ConnectStatus Connect(RelativeLocation const & below, VFSFileEntry ** entry) override;
    ConnectStatus Connect(VFSFolderEntry ** entry) override;
    void Disconnect(RelativeLocation const & below, VFSFolderEntry * entry) override;
    void Disconnect(RelativeLocation const & below, VFSFileEntry * entry) override;

    /// Error if the file system is gone; otherwise the status of the location.
    int GetStatus() const;

    // The gateway itself supports no operations.
    TimeStatus SetCreationTime(int const &) override { return TimeStatus::Other; }
    TimeStatus GetCreationTime(int *) override { return TimeStatus::Other; }
    TimeStatus SetModificationTime(int const &) override { return TimeStatus::Other; }
    TimeStatus GetModificationTime(int *) override { return TimeStatus::Other; }
    BaseFileSystem * GetOwnerFileSystem() override { return owner; }
    CreateStatus CreateFile(Name const &, FileEntry *) override { return CreateStatus::Other; }
    CreateStatus CreateFolder(Name const &, FolderEntry *) override { return CreateStatus::Other; }
    CreateStatus CreateLink(Name const &, Location const &) override { return CreateStatus::Other; }
    MoveStatus Move(Name const &, FolderEntry &, Name const &, bool) override {
        return MoveStatus::Other;
    }
    CopyStatus Copy(Name const &, FolderEntry &, Name const &) override {
        return CopyStatus::Other;
    }
    DeleteStatus Delete(Name const &, bool) override { return DeleteStatus::Other; }
    GetTypeStatus GetType(Name const &, EntryType *) override { return GetTypeStatus::Other; }
    EnumerateStatus Enumerate(EntryEnumerator &) override { return EnumerateStatus::Other; }
    AttributeStatus GetFreeSpace(unsigned long long *) override { return AttributeStatus::Other; }
    bool IsReadable() override { return false; }
    bool IsWriteable() override { return false; }
    AttributeStatus IsOnLocalVolume(bool *) override { return AttributeStatus::Other; }
    AttributeStatus IsOnFixedVolume(bool *) override { return AttributeStatus::Other; }

private:
    explicit ReflectionFolderEntry(Reflectable const & reflectable);
    ConnectStatus ConnectSnapshot(RelativeLocation const & below, VFSFolderEntry ** entry);

    BaseFileSystem * owner = nullptr; // null until SetContext
    Location location;
    Reflectable const * reflectable;
    bool isValid = true; // until Invalidate
};

} // namespace IO
