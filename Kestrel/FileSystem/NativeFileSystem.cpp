#include <Kestrel/FileSystem/NativeFileSystem.h>

#include <Kestrel/FileSystem/FolderEntry.h>
#include <Kestrel/FileSystem/Internal/Start.h>
#include <Kestrel/Root/Threads/Lock.h>

namespace IO {

// Hosts compiled without optimisation take the addresses.
constexpr unsigned int NativeFileSystem::LinkExtensionsOption;

namespace {

constinit NativeFileSystem * published = nullptr;

using ConnectStatus = BaseFileSystem::ConnectStatus;
using EstimateStatus = NativeFileSystem::EstimateStatus;
using GetTypeStatus = FolderEntry::GetTypeStatus;

// A connection to a folder for one query.
class FolderConnection {
public:
    FolderConnection(NativeFileSystem & system, Location * location) : system(system) {
        Mu::LockGuard guard(GetFileSystemLock());
        status = system.Connect(location, &entry);
    }
    ~FolderConnection() {
        if (status != ConnectStatus::Connected)
            return;
        Mu::LockGuard guard(GetFileSystemLock());
        system.Disconnect(entry);
    }
    FolderConnection(FolderConnection const &) = delete;
    FolderConnection & operator=(FolderConnection const &) = delete;

    ConnectStatus GetStatus() const { return status; }
    FolderEntry & GetEntry() const { return *entry; }

private:
    NativeFileSystem & system;
    FolderEntry * entry = nullptr;
    ConnectStatus status;
};

EstimateStatus ToEstimate(GetTypeStatus status) {
    switch (status) {
    case GetTypeStatus::Done: return EstimateStatus::Done;
    case GetTypeStatus::AccessDenied: return EstimateStatus::AccessDenied;
    case GetTypeStatus::EntryNotFound: return EstimateStatus::NotFound;
    default: return EstimateStatus::Other;
    }
}

EstimateStatus AskParent(NativeFileSystem & system, Location const & location, EntryType * type) {
    if (location.IsRoot()) {
        *type = EntryType::Folder;
        return EstimateStatus::Done;
    }
    Location parent(location);
    Name name;
    if (parent.MoveLastLocalName(&name) != NoError)
        return EstimateStatus::Other;
    FolderConnection const folder(system, &parent);
    switch (folder.GetStatus()) {
    case ConnectStatus::Connected: return ToEstimate(folder.GetEntry().GetType(name, type));
    case ConnectStatus::AccessDenied: return EstimateStatus::AccessDenied;
    // Nothing exists below an entry that is not a folder.
    case ConnectStatus::NotFound:
    case ConnectStatus::NotAFolder: return EstimateStatus::NotFound;
    default: return EstimateStatus::Other;
    }
}

} // namespace

NativeFileSystem * NativeFileSystem::Get() {
    return published;
}

NativeFileSystem::NativeFileSystem() {
    published = this;
    CompareNamesNatively(true);
}

NativeFileSystem::~NativeFileSystem() {
    if (published != this)
        return;
    published = nullptr;
    CompareNamesNatively(false); // there is none any more
}

EstimateStatus NativeFileSystem::EstimateResolvedType(Location const & location, EntryType * type) {
    if (Mu::IsNull(location) || type == nullptr || location.GetStatus() != NoError)
        return EstimateStatus::Other;
    EstimateStatus const status = AskParent(*this, location, type);
    if (status != EstimateStatus::Done || *type != EntryType::Link)
        return status;
    Location target;
    if (!ResolveLocation(location, &target))
        return EstimateStatus::Other;
    return AskParent(*this, target, type);
}

} // namespace IO
