#include <Kestrel/Reflection/Internal/MemoryFolderEntry.h>

#include <Kestrel/FileSystem/Internal/Start.h>
#include <Kestrel/Location/RelativeLocation.h>
#include <Kestrel/Reflection/Internal/ReflectionFileEntry.h>
#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Time/Time.h>

#include <algorithm>
#include <memory>
#include <typeinfo>

namespace IO {

VFSEntry::~VFSEntry() = default;

namespace {

// Connects and disconnects are called under this lock; all other operations take it themselves,
// since inspectors read the folders of a process on threads of their own.
class Guard : Mu::LockGuard<FileSystemLock> {
public:
    Guard() : LockGuard(GetFileSystemLock()) {}
};

} // namespace

MemoryFolderEntry::MemoryFolderEntry(bool isWriteable)
    : isReadOnly(!isWriteable), creationTime(TIGetTime()), modificationTime(TIGetTime()) {}

MemoryFolderEntry::~MemoryFolderEntry() {
    Guard const guard;
    if (connectionCount > 0 || !isValid)
        return;
    Clear(files);
    Clear(folders);
}

MemoryFolderEntry * MemoryFolderEntry::New(bool isWriteable) {
    try {
        return new MemoryFolderEntry(isWriteable);
    } catch (Mu::OutOfMemoryException const &) {
        return nullptr;
    }
}

// The lists.

template <typename Kind>
unsigned int MemoryFolderEntry::Find(Items<Kind> const & items, Name const & name) {
    for (unsigned int i = 0; i < items.GetSize(); ++i)
        if (items[i].name == name)
            return i;
    return Mu::NotFound;
}

// An entry in use exists until it is disconnected, but no longer works.
template <typename Kind>
void Release(Kind * entry) {
    if (entry != nullptr && entry->IsConnected())
        entry->Invalidate();
    else
        delete entry;
}

template <typename Kind>
void MemoryFolderEntry::Clear(Items<Kind> & items) {
    for (Item<Kind> & item : items)
        Release(item.entry);
    items.Clear();
}

template <typename Kind>
bool MemoryFolderEntry::TakeItem(Items<Kind> & items, Name const & name,
                                 std::unique_ptr<VFSEntry> * gone) {
    unsigned int const index = Find(items, name);
    if (index == Mu::NotFound)
        return false;
    VFSEntry * const entry = items[index].entry;
    items.Delete(index);
    if (entry != nullptr && entry->IsConnected())
        entry->Invalidate();
    else
        gone->reset(entry);
    return true;
}

bool MemoryFolderEntry::Has(Name const & name) const {
    return Find(files, name) != Mu::NotFound || Find(folders, name) != Mu::NotFound;
}

template <typename Kind>
FolderEntry::CreateStatus MemoryFolderEntry::Add(Items<Kind> & items, Name const & name,
                                                 Kind * entry) {
    constexpr unsigned int FirstCapacity = 100;
    Guard const guard;
    if (Mu::IsNull(name) || !isValid)
        return CreateStatus::Other;
    if (Has(name))
        return CreateStatus::AlreadyExists;
    try {
        if (items.GetSize() == items.GetCapacity())
            items.SetCapacity(std::max(FirstCapacity, 2 * items.GetSize()));
        items.Push({name, entry});
        return CreateStatus::Done;
    } catch (Mu::OutOfMemoryException const &) {
        return CreateStatus::Other;
    }
}

FolderEntry::CreateStatus MemoryFolderEntry::AddFileEntry(Name const & name, VFSFileEntry * entry) {
    return Add(files, name, entry);
}

FolderEntry::CreateStatus MemoryFolderEntry::AddFolderEntry(Name const & name,
                                                            VFSFolderEntry * entry) {
    return Add(folders, name, entry);
}

template <typename Kind>
FolderEntry::CreateStatus MemoryFolderEntry::AddInContext(Items<Kind> & items, Name const & name,
                                                          Kind * entry) {
    Location where(location);
    if (where.AppendToLocal(name) != NoError)
        return CreateStatus::Other;
    entry->SetContext(*owner, where);
    return Add(items, name, entry);
}

// A place in a file system.

void MemoryFolderEntry::SetContext(BaseFileSystem & fileSystem, Location const & where) {
    if (owner != nullptr || Mu::IsNull(fileSystem))
        return;
    owner = &fileSystem;
    location = where;
}

void MemoryFolderEntry::Disconnect() {
    connectionCount -= connectionCount > 0 ? 1 : 0;
}

void MemoryFolderEntry::Invalidate() {
    if (!isValid)
        return;
    Clear(files);
    Clear(folders);
    isValid = false;
}

void MemoryFolderEntry::GetLocation(Location * where) const {
    if (where != nullptr)
        *where = location;
}

// Connections.

VFSFolderEntry::ConnectStatus MemoryFolderEntry::Connect(VFSFolderEntry ** entry) {
    if (entry == nullptr || !isValid)
        return ConnectStatus::Other;
    *entry = this;
    ++connectionCount;
    return ConnectStatus::Connected;
}

VFSFolderEntry::ConnectStatus MemoryFolderEntry::ConnectItem(Name const & name,
                                                             VFSFileEntry ** entry) {
    unsigned int const index = Find(files, name);
    if (index == Mu::NotFound)
        return Find(folders, name) == Mu::NotFound ? ConnectStatus::NotFound
                                                   : ConnectStatus::NotAFile;
    if (files[index].entry == nullptr)
        return ConnectStatus::AccessDenied;
    switch (files[index].entry->Connect(entry)) {
    case VFSFileEntry::ConnectStatus::Connected: return ConnectStatus::Connected;
    case VFSFileEntry::ConnectStatus::AccessDenied: return ConnectStatus::AccessDenied;
    default: return ConnectStatus::Other;
    }
}

VFSFolderEntry::ConnectStatus MemoryFolderEntry::ConnectItem(Name const & name,
                                                             VFSFolderEntry ** entry) {
    unsigned int const index = Find(folders, name);
    if (index == Mu::NotFound)
        return Find(files, name) == Mu::NotFound ? ConnectStatus::NotFound
                                                 : ConnectStatus::NotAFolder;
    return folders[index].entry == nullptr ? ConnectStatus::AccessDenied
                                           : folders[index].entry->Connect(entry);
}

template <typename Kind>
VFSFolderEntry::ConnectStatus MemoryFolderEntry::ConnectBelow(RelativeLocation const & below,
                                                              Kind ** entry) {
    Name first;
    if (Mu::IsNull(below) || below.IsEmpty() || entry == nullptr || !isValid ||
        below.GetName(0, &first) != NoError)
        return ConnectStatus::Other;
    if (below.GetLength() == 1)
        return ConnectItem(first, entry);
    unsigned int const index = Find(folders, first);
    if (index == Mu::NotFound)
        return ConnectStatus::NotFound;
    if (folders[index].entry == nullptr)
        return ConnectStatus::AccessDenied;
    RelativeLocation rest(below);
    return rest.DeleteName(0) != NoError ? ConnectStatus::Other
                                         : folders[index].entry->Connect(rest, entry);
}

VFSFolderEntry::ConnectStatus MemoryFolderEntry::Connect(RelativeLocation const & below,
                                                         VFSFolderEntry ** entry) {
    return ConnectBelow(below, entry);
}

VFSFolderEntry::ConnectStatus MemoryFolderEntry::Connect(RelativeLocation const & below,
                                                         VFSFileEntry ** entry) {
    return ConnectBelow(below, entry);
}

template <typename Kind>
void MemoryFolderEntry::DisconnectBelow(Items<Kind> & items, RelativeLocation const & below,
                                        Kind * entry) {
    if (Mu::IsNull(below) || below.IsEmpty() || entry == nullptr || !entry->IsConnected())
        return;
    Name first;
    RelativeLocation rest(below);
    if (below.GetName(0, &first) != NoError || rest.DeleteName(0) != NoError) {
        DisconnectUnplaced(entry);
        return;
    }
    unsigned int const folder = Find(folders, first);
    if (!rest.IsEmpty() && folder != Mu::NotFound && folders[folder].entry != nullptr) {
        folders[folder].entry->Disconnect(rest, entry);
        return;
    }
    unsigned int const item = rest.IsEmpty() ? Find(items, first) : Mu::NotFound;
    if (item != Mu::NotFound && items[item].entry == entry)
        entry->Disconnect(); // it remains in the list
    else
        DisconnectAndDelete(entry);
}

void DisconnectUnplaced(VFSFileEntry * entry) {
    entry->Disconnect();
    // Only the class itself: objects of derived classes may be anywhere.
    if (!entry->IsConnected() && typeid(*entry) == typeid(ReflectionFileEntry))
        delete entry;
}

void DisconnectUnplaced(VFSFolderEntry * entry) {
    entry->Disconnect();
    MemoryFolderEntry const * const folder = dynamic_cast<MemoryFolderEntry *>(entry);
    if (!entry->IsConnected() && folder != nullptr && folder->IsLoose())
        delete entry;
}

void MemoryFolderEntry::Disconnect(RelativeLocation const & below, VFSFolderEntry * entry) {
    DisconnectBelow(folders, below, entry);
}

void MemoryFolderEntry::Disconnect(RelativeLocation const & below, VFSFileEntry * entry) {
    DisconnectBelow(files, below, entry);
}

// The folder.

FSEntry::TimeStatus MemoryFolderEntry::Set(int * field, int const & time) {
    Guard const guard;
    if (Mu::IsNull(time) || !isValid)
        return TimeStatus::Other;
    if (!IsWriteable())
        return TimeStatus::AccessDenied;
    *field = time;
    return TimeStatus::Done;
}

FSEntry::TimeStatus MemoryFolderEntry::Get(int const * field, int * time) const {
    Guard const guard;
    if (time == nullptr || !isValid)
        return TimeStatus::Other;
    *time = *field;
    return TimeStatus::Done;
}

FSEntry::TimeStatus MemoryFolderEntry::SetCreationTime(int const & time) {
    return Set(&creationTime, time);
}

FSEntry::TimeStatus MemoryFolderEntry::GetCreationTime(int * time) {
    return Get(&creationTime, time);
}

FSEntry::TimeStatus MemoryFolderEntry::SetModificationTime(int const & time) {
    return Set(&modificationTime, time);
}

FSEntry::TimeStatus MemoryFolderEntry::GetModificationTime(int * time) {
    return Get(&modificationTime, time);
}

FolderEntry::CreateStatus MemoryFolderEntry::CreateFile(Name const & name, FileEntry * entry) {
    Guard const guard;
    if (Mu::IsNull(name) || entry == nullptr || !isValid)
        return CreateStatus::Other;
    if (!IsWriteable())
        return CreateStatus::AccessDenied;
    VFSFileEntry * const file = dynamic_cast<VFSFileEntry *>(entry);
    return file == nullptr ? CreateStatus::Other : AddInContext(files, name, file);
}

FolderEntry::CreateStatus MemoryFolderEntry::CreateFolder(Name const & name, FolderEntry * entry) {
    Guard const guard;
    if (Mu::IsNull(name) || !isValid)
        return CreateStatus::Other;
    if (!IsWriteable())
        return CreateStatus::AccessDenied;
    std::unique_ptr<VFSFolderEntry> made(entry == nullptr ? New(true) : nullptr);
    VFSFolderEntry * const folder =
        entry == nullptr ? made.get() : dynamic_cast<VFSFolderEntry *>(entry);
    if (folder == nullptr)
        return CreateStatus::Other;
    CreateStatus const status = AddInContext(folders, name, folder);
    if (status == CreateStatus::Done)
        static_cast<void>(made.release()); // now owned by the list
    return status;
}

FolderEntry::CreateStatus MemoryFolderEntry::CreateLink(Name const & name,
                                                        Location const & target) {
    Guard const guard;
    bool const isRefused = !Mu::IsNull(name) && !Mu::IsNull(target) && isValid && isReadOnly;
    return isRefused ? CreateStatus::AccessDenied : CreateStatus::Other;
}

// Nothing can be moved or copied here.

FolderEntry::MoveStatus MemoryFolderEntry::Move(Name const & from, FolderEntry & target,
                                                Name const & to, bool) {
    Guard const guard;
    if (Mu::IsNull(from) || Mu::IsNull(target) || Mu::IsNull(to) || !isValid)
        return MoveStatus::Other;
    return IsWriteable() && target.IsWriteable() ? MoveStatus::Other : MoveStatus::AccessDenied;
}

FolderEntry::CopyStatus MemoryFolderEntry::Copy(Name const & from, FolderEntry & target,
                                                Name const & to) {
    Guard const guard;
    if (Mu::IsNull(from) || Mu::IsNull(target) || Mu::IsNull(to) || !isValid)
        return CopyStatus::Other;
    return IsReadable() && target.IsWriteable() ? CopyStatus::Other : CopyStatus::AccessDenied;
}

FolderEntry::DeleteStatus MemoryFolderEntry::Delete(Name const & name, bool) {
    std::unique_ptr<VFSEntry> gone; // may be a host's, and is destroyed outside the lock
    Guard const guard;
    if (Mu::IsNull(name) || !isValid)
        return DeleteStatus::Other;
    if (!IsWriteable())
        return DeleteStatus::AccessDenied;
    return TakeItem(files, name, &gone) || TakeItem(folders, name, &gone)
               ? DeleteStatus::Done
               : DeleteStatus::EntryNotFound;
}

FolderEntry::GetTypeStatus MemoryFolderEntry::GetType(Name const & name, EntryType * type) {
    Guard const guard;
    if (Mu::IsNull(name) || type == nullptr || !isValid)
        return GetTypeStatus::Other;
    if (!Has(name))
        return GetTypeStatus::EntryNotFound;
    *type = Find(files, name) != Mu::NotFound ? EntryType::File : EntryType::Folder;
    return GetTypeStatus::Done;
}

bool MemoryFolderEntry::IsReadable() {
    Guard const guard;
    return isValid;
}

bool MemoryFolderEntry::IsWriteable() {
    Guard const guard;
    return isValid && !isReadOnly;
}

template <typename Kind>
bool MemoryFolderEntry::GetName(Items<Kind> const & items, unsigned int index, Name * name) const {
    Guard const guard;
    if (index >= items.GetSize())
        return false;
    *name = items[index].name;
    return true;
}

FolderEntry::EnumerateStatus MemoryFolderEntry::Enumerate(EntryEnumerator & enumerator) {
    if (!IsReadable() || Mu::IsNull(enumerator))
        return EnumerateStatus::Other;
    // Kept: files are reported as folders, too. Callers that need the type call GetType.
    Name name;
    for (unsigned int i = 0; GetName(files, i, &name); ++i)
        if (!enumerator.EntryFound(name, true))
            return EnumerateStatus::Stopped;
    for (unsigned int i = 0; GetName(folders, i, &name); ++i)
        if (!enumerator.EntryFound(name, true))
            return EnumerateStatus::Stopped;
    return EnumerateStatus::Done;
}

FSEntry::AttributeStatus MemoryFolderEntry::GetFreeSpace(unsigned long long * bytes) {
    Guard const guard;
    if (bytes == nullptr || !isValid)
        return AttributeStatus::Other;
    *bytes = 1024; // Kept: always, whatever there is
    return AttributeStatus::Done;
}

FSEntry::AttributeStatus MemoryFolderEntry::IsOnLocalVolume(bool * isLocal) {
    Guard const guard;
    if (isLocal == nullptr || !isValid)
        return AttributeStatus::Other;
    *isLocal = true;
    return AttributeStatus::Done;
}

FSEntry::AttributeStatus MemoryFolderEntry::IsOnFixedVolume(bool * isFixed) {
    Guard const guard;
    if (isFixed == nullptr || !isValid)
        return AttributeStatus::Other;
    *isFixed = false;
    return AttributeStatus::Done;
}

} // namespace IO
