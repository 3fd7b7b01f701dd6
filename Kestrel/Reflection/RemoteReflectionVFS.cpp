#include <Kestrel/Reflection/RemoteReflectionVFS.h>

#include <Kestrel/Reflection/Internal/RemoteEntries.h>

namespace IO {

// Hosts built without optimisation take the addresses.
constexpr char const * RemoteReflectionVFS::TableName;
constexpr unsigned int RemoteReflectionVFS::DeepestLevel;

RemoteReflectionVFS::RemoteReflectionVFS(char const * host, unsigned short port,
                                         RemoteReflectionLimits const & limits)
    : tree(new RemoteTree(Mu::String(host), port, limits)) {}

RemoteReflectionVFS::~RemoteReflectionVFS() = default;

namespace {

template <typename Entry>
BaseFileSystem::ConnectStatus
ConnectBelow(RemoteReflectionVFS & system, Mu::Ref<RemoteTree> const & tree,
             Location const & mountPoint, Location const * location, Entry ** entry) {
    RelativeLocation below;
    if (location == nullptr || entry == nullptr ||
        location->GetDifference(mountPoint, &below) != NoError)
        return BaseFileSystem::ConnectStatus::Other;
    return ConnectRemote({system, tree, below}, entry);
}

} // namespace

RemoteReflectionVFS::ConnectStatus RemoteReflectionVFS::Connect(Location * location,
                                                                FolderEntry ** entry) {
    return isMounted ? ConnectBelow(*this, tree, mountPoint, location, entry)
                     : ConnectStatus::Other;
}

RemoteReflectionVFS::ConnectStatus RemoteReflectionVFS::Connect(Location * location,
                                                                FileEntry ** entry) {
    return isMounted ? ConnectBelow(*this, tree, mountPoint, location, entry)
                     : ConnectStatus::Other;
}

void RemoteReflectionVFS::Disconnect(FolderEntry * entry) {
    delete entry;
}

void RemoteReflectionVFS::Disconnect(FileEntry * entry) {
    delete entry;
}

void RemoteReflectionVFS::Mounted(Location const & where) {
    mountPoint = where;
    isMounted = true;
}

void RemoteReflectionVFS::Unmounted() {
    isMounted = false;
    tree->Disconnect();
}

} // namespace IO
