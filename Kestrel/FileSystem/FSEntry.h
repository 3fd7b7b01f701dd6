#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Memory/Memory.h>

namespace IO {

class BaseFileSystem;

/// One file or folder in its file system; the common base of FileEntry and FolderEntry.
///
/// Provided by an implementation of a file system, and called only by File and Folder. Entries
/// return small statuses of their own; mapping those to codes, and writing log lines, is done once
/// for all file systems, in File and Folder.
///
/// Memory:  owned by the file system that created it: Connect returns an entry, Disconnect releases
///          it.
/// Threads: used by one File or Folder at a time; entries need no lock.
/// Failure: statuses. An entry writes no log line.
class KESTREL_API FSEntry : public Mu::Allocated {
public:
    enum class TimeStatus : unsigned int { Done = 0, AccessDenied = 1, InvalidTime = 2, Other = 3 };
    enum class AttributeStatus : unsigned int { Done = 0, AccessDenied = 1, Other = 2 };

    virtual ~FSEntry() = default;

    // Times are seconds since the start of 1970.
    virtual TimeStatus SetCreationTime(int const & time) = 0;
    virtual TimeStatus GetCreationTime(int * time) = 0;
    virtual TimeStatus SetModificationTime(int const & time) = 0;
    virtual TimeStatus GetModificationTime(int * time) = 0;

    /// The file system to which Disconnect returns this entry.
    virtual BaseFileSystem * GetOwnerFileSystem() = 0;
};

} // namespace IO
