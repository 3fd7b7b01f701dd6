#include <Kestrel/Reflection/MemoryVFS.h>

#include <Kestrel/Location/RelativeLocation.h>
#include <Kestrel/Reflection/Internal/MemoryFolderEntry.h>

namespace IO {

namespace {

using Status = BaseFileSystem::ConnectStatus;

// Converts the entry to the type of the file system's interface.
template <typename VFSKind, typename Kind>
Status HandOut(Status status, VFSKind * connected, Kind ** entry) {
    *entry = status == Status::Connected ? connected : nullptr;
    return status <= Status::NotFound ? status : Status::Other;
}

} // namespace

MemoryVFS::MemoryVFS() = default;

MemoryVFS::~MemoryVFS() {
    if (root != nullptr && !root->IsConnected())
        delete root;
}

MemoryVFS::ConnectStatus MemoryVFS::Connect(Location * location, FileEntry ** entry) {
    RelativeLocation below;
    if (location == nullptr || entry == nullptr || root == nullptr ||
        location->GetDifference(mountPoint, &below) != NoError)
        return ConnectStatus::Other;
    if (below.IsEmpty())
        return ConnectStatus::NotAFile;
    VFSFileEntry * connected = nullptr;
    ConnectStatus const status = root->Connect(below, &connected);
    return HandOut(status, connected, entry);
}

MemoryVFS::ConnectStatus MemoryVFS::Connect(Location * location, FolderEntry ** entry) {
    RelativeLocation below;
    if (location == nullptr || entry == nullptr || root == nullptr ||
        location->GetDifference(mountPoint, &below) != NoError)
        return ConnectStatus::Other;
    VFSFolderEntry * connected = nullptr;
    ConnectStatus const status =
        below.IsEmpty() ? root->Connect(&connected) : root->Connect(below, &connected);
    return HandOut(status, connected, entry);
}

template <typename VFSKind, typename Kind>
void MemoryVFS::Return(Kind * returned) {
    VFSKind * const entry = dynamic_cast<VFSKind *>(returned);
    if (entry == nullptr)
        return;
    Location location;
    RelativeLocation below;
    if (root == nullptr) {
        DisconnectAndDelete(entry);
        return;
    }
    entry->GetLocation(&location);
    if (location.GetDifference(mountPoint, &below) != NoError)
        DisconnectUnplaced(entry);
    else if (!below.IsEmpty())
        root->Disconnect(below, entry);
    else if (static_cast<VFSEntry *>(entry) == root || std::is_same_v<VFSKind, VFSFileEntry>)
        entry->Disconnect();
    else
        DisconnectAndDelete(entry); // the root of an earlier mount
}

void MemoryVFS::Disconnect(FileEntry * entry) {
    Return<VFSFileEntry>(entry);
}

void MemoryVFS::Disconnect(FolderEntry * entry) {
    Return<VFSFolderEntry>(entry);
}

void MemoryVFS::Mounted(Location const & location) {
    if (Mu::IsNull(location) || root != nullptr)
        return;
    mountPoint = location;
    root = MemoryFolderEntry::New(true);
    if (root != nullptr)
        root->SetContext(*this, location);
}

void MemoryVFS::Unmounted() {
    if (root != nullptr && root->IsConnected())
        root->Invalidate();
    else
        delete root;
    root = nullptr;
    mountPoint = Location();
}

} // namespace IO
