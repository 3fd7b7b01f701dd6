#pragma once

#include <Kestrel/Location/Location.h>
#include <Kestrel/Reflection/VFSFileEntry.h>
#include <Kestrel/Reflection/VFSFolderEntry.h>
#include <Kestrel/Root/Containers/Array.h>

#include <memory>

namespace IO {

/// A folder of a MemoryVFS, and the snapshot of a folder that a Reflectable shows: a list of names
/// with entries, and no data. An entry may be null, where only its name is known.
///
/// Threads: any, under the lock of the file system; no host's code runs under it except that of
///          entries being connected, disconnected or invalidated.
class MemoryFolderEntry : public VFSFolderEntry {
public:
    explicit MemoryFolderEntry(bool isWriteable);
    ~MemoryFolderEntry() override;
    MemoryFolderEntry(MemoryFolderEntry const &) = delete;
    MemoryFolderEntry & operator=(MemoryFolderEntry const &) = delete;

    /// Null: out of memory.
    static MemoryFolderEntry * New(bool isWriteable);

    void SetContext(BaseFileSystem & fileSystem, Location const & where) override;
    void Disconnect() override;
    bool IsConnected() const override { return connectionCount > 0; }
    void Invalidate() override;
    void GetLocation(Location * where) const override;

    ConnectStatus Connect(RelativeLocation const & below, VFSFolderEntry ** entry) override;
    ConnectStatus Connect(RelativeLocation const & below, VFSFileEntry ** entry) override;
    ConnectStatus Connect(VFSFolderEntry ** entry) override;
    void Disconnect(RelativeLocation const & below, VFSFolderEntry * entry) override;
    void Disconnect(RelativeLocation const & below, VFSFileEntry * entry) override;

    // Fill the folder, even a read-only one. On success the folder owns the entry, which may be
    // null.
    virtual CreateStatus AddFileEntry(Name const & name, VFSFileEntry * entry);
    virtual CreateStatus AddFolderEntry(Name const & name, VFSFolderEntry * entry);

    TimeStatus SetCreationTime(int const & time) override;
    TimeStatus GetCreationTime(int * time) override;
    TimeStatus SetModificationTime(int const & time) override;
    TimeStatus GetModificationTime(int * time) override;
    BaseFileSystem * GetOwnerFileSystem() override { return owner; }

    CreateStatus CreateFile(Name const & name, FileEntry * entry) override;
    CreateStatus CreateFolder(Name const & name, FolderEntry * entry) override;
    CreateStatus CreateLink(Name const & name, Location const & target) override;
    MoveStatus Move(Name const & from, FolderEntry & target, Name const & to, bool force) override;
    CopyStatus Copy(Name const & from, FolderEntry & target, Name const & to) override;
    DeleteStatus Delete(Name const & name, bool force) override;
    GetTypeStatus GetType(Name const & name, EntryType * type) override;
    EnumerateStatus Enumerate(EntryEnumerator & enumerator) override;
    AttributeStatus GetFreeSpace(unsigned long long * bytes) override;
    bool IsReadable() override;
    bool IsWriteable() override;
    AttributeStatus IsOnLocalVolume(bool * isLocal) override;
    AttributeStatus IsOnFixedVolume(bool * isFixed) override;

    /// Whether only its connections still refer to it.
    bool IsLoose() const { return isReadOnly || !isValid; }

private:
    template <typename Kind>
    struct Item {
        Name name;
        Kind * entry; // owned
    };
    template <typename Kind>
    using Items = Mu::Array<Item<Kind>>;

    template <typename Kind>
    static unsigned int Find(Items<Kind> const & items, Name const & name);
    template <typename Kind>
    static void Clear(Items<Kind> & items);
    template <typename Kind>
    static bool TakeItem(Items<Kind> & items, Name const & name, std::unique_ptr<VFSEntry> * gone);
    template <typename Kind>
    bool GetName(Items<Kind> const & items, unsigned int index, Name * name) const;
    template <typename Kind>
    CreateStatus Add(Items<Kind> & items, Name const & name, Kind * entry);
    template <typename Kind>
    CreateStatus AddInContext(Items<Kind> & items, Name const & name, Kind * entry);
    template <typename Kind>
    ConnectStatus ConnectBelow(RelativeLocation const & below, Kind ** entry);
    template <typename Kind>
    void DisconnectBelow(Items<Kind> & items, RelativeLocation const & below, Kind * entry);
    ConnectStatus ConnectItem(Name const & name, VFSFolderEntry ** entry);
    ConnectStatus ConnectItem(Name const & name, VFSFileEntry ** entry);
    TimeStatus Set(int * field, int const & time);
    TimeStatus Get(int const * field, int * time) const;
    bool Has(Name const & name) const;

    BaseFileSystem * owner = nullptr; // null until SetContext
    Location location;
    bool const isReadOnly;
    int creationTime;
    int modificationTime;
    unsigned int connectionCount = 0;
    bool isValid = true; // until Invalidate
    Items<VFSFileEntry> files;
    Items<VFSFolderEntry> folders; // no name is in both
};

/// Ends a connection, and deletes an entry that nothing refers to any more.
template <typename Kind>
void DisconnectAndDelete(Kind * entry) {
    entry->Disconnect();
    if (!entry->IsConnected())
        delete entry;
}

/// The same for an entry that may still be in a list, which cannot be known: it is deleted only if
/// it certainly is not.
void DisconnectUnplaced(VFSFileEntry * entry);
void DisconnectUnplaced(VFSFolderEntry * entry);

} // namespace IO
