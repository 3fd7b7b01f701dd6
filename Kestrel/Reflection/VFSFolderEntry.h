#pragma once

#include <Kestrel/FileSystem/BaseFileSystem.h>
#include <Kestrel/FileSystem/FolderEntry.h>
#include <Kestrel/Reflection/VFSEntry.h>

namespace IO {

class RelativeLocation;
class VFSFileEntry;

/// The base of folders that a host adds to a MemoryVFS, with Folder::CreateFolder.
///
/// Memory:  allocated with `new`; owned by the folder that contains it.
/// Threads: as for the file system that contains it.
/// Failure: statuses.
class KESTREL_API VFSFolderEntry : public VFSEntry, public FolderEntry {
public:
    using ConnectStatus = BaseFileSystem::ConnectStatus;
    using VFSEntry::Disconnect;

    // The entries below this one. AccessDenied: the name is known, but has no entry.
    virtual ConnectStatus Connect(RelativeLocation const & location, VFSFolderEntry ** entry) = 0;
    virtual ConnectStatus Connect(RelativeLocation const & location, VFSFileEntry ** entry) = 0;
    /// This folder itself.
    virtual ConnectStatus Connect(VFSFolderEntry ** entry) = 0;
    // Release the entries that the first two returned.
    virtual void Disconnect(RelativeLocation const & location, VFSFolderEntry * entry) = 0;
    virtual void Disconnect(RelativeLocation const & location, VFSFileEntry * entry) = 0;
};

} // namespace IO
