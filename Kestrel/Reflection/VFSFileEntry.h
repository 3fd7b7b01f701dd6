#pragma once

#include <Kestrel/FileSystem/FileEntry.h>
#include <Kestrel/Reflection/VFSEntry.h>

namespace IO {

/// The base of files that a host adds to a MemoryVFS, with Folder::CreateFile.
///
/// Memory:  allocated with `new`; owned by the folder that contains it.
/// Threads: as for the file system that contains it.
/// Failure: statuses.
class KESTREL_API VFSFileEntry : public VFSEntry, public FileEntry {
public:
    enum class ConnectStatus : unsigned int { Connected = 0, AccessDenied = 1, Other = 2 };

    /// Returns the entry for a File: this one, or one created for it.
    virtual ConnectStatus Connect(VFSFileEntry ** entry) = 0;
};

} // namespace IO
