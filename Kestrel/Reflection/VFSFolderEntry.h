#pragma once

#include <Kestrel/FileSystem/BaseFileSystem.h>
#include <Kestrel/FileSystem/FolderEntry.h>
#include <Kestrel/Reflection/VFSEntry.h>

namespace IO {

class RelativeLocation;
class VFSFileEntry;

/// The base of folders that a host hangs into a MemoryVFS, with Folder::CreateFolder.
///
/// Memory:  made by `new`; the folder that holds it deletes it.
/// Threads: as the file system that holds it.
/// Failure: statuses.
class KESTREL_API VFSFolderEntry : public VFSEntry, public FolderEntry {
public:
    using ConnectStatus = BaseFileSystem::ConnectStatus;
    using VFSEntry::Disconnect;

    // What lies below this one. AccessDenied: the name is known, but nothing stands behind it.
    virtual ConnectStatus Connect(RelativeLocation const & location, VFSFolderEntry ** entry) = 0;
    virtual ConnectStatus Connect(RelativeLocation const & location, VFSFileEntry ** entry) = 0;
    /// This folder itself.
    virtual ConnectStatus Connect(VFSFolderEntry ** entry) = 0;
    // Take back what the first two gave.
    virtual void Disconnect(RelativeLocation const & location, VFSFolderEntry * entry) = 0;
    virtual void Disconnect(RelativeLocation const & location, VFSFileEntry * entry) = 0;
};

} // namespace IO
