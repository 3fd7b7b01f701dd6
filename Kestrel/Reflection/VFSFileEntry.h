#pragma once

#include <Kestrel/FileSystem/FileEntry.h>
#include <Kestrel/Reflection/VFSEntry.h>

namespace IO {

/// The base of files that a host hangs into a MemoryVFS, with Folder::CreateFile.
///
/// Memory:  made by `new`; the folder that holds it deletes it.
/// Threads: as the file system that holds it.
/// Failure: statuses.
class KESTREL_API VFSFileEntry : public VFSEntry, public FileEntry {
public:
    enum class ConnectStatus : unsigned int { Connected = 0, AccessDenied = 1, Other = 2 };

    /// Returns the entry that a File works on: this one, or one created for it.
    virtual ConnectStatus Connect(VFSFileEntry ** entry) = 0;
};

} // namespace IO
