#pragma once

#include <Kestrel/FileSystem/Platform/Posix/Descriptor.h>
#include <Kestrel/FileSystem/Platform/Posix/FolderReader.h>
#include <Kestrel/Root/Memory/Memory.h>

#include <sys/types.h>

namespace IO {

/// A folder that is held open, to enumerate it or to reach its entries: the object of a FindHandle.
///
/// Work on a tree holds a folder of each level, and a deep tree has more levels than a process may
/// have descriptors. So of the folders that were opened one in the other only the last are open.
/// One further above has its descriptor closed; it is opened again as ".." of one that was opened
/// in it, when that is closed or as soon as it is needed. It must be the same folder then, so that
/// moving folders about meanwhile redirects nothing.
///
/// Memory:  its own block.
/// Threads: one at a time for all that were opened one in the other.
/// Failure: errno.
class OpenedFolder : public Mu::Allocated {
public:
    static constexpr unsigned int MostOpen = 32;     // of those that were opened one in the other
    static constexpr unsigned int MostLevels = 4096; // work on them needs stack for each

    /// Takes ownership of the descriptor. `in`: the folder that it was opened in, or null.
    OpenedFolder(int descriptor, OpenedFolder * in, bool isListed);
    ~OpenedFolder();
    OpenedFolder(OpenedFolder const &) = delete;
    OpenedFolder & operator=(OpenedFolder const &) = delete;

    bool IsListed() const { return isListed; }
    /// The number of folders opened one in the other, including this one.
    unsigned int GetLevel() const { return level; }
    /// The descriptor; below 0 with errno set when it could not be opened again.
    int Reach() { return folder.IsOpen() || OpenAgain() ? folder.Get() : -1; }

private:
    void Close();
    bool OpenAgain();
    bool OpenAbove(int below);

    Descriptor folder;
    bool const isListed;
    unsigned int const level;
    dev_t device = 0; // these three are valid while it is closed
    ino_t inode = 0;
    off_t position = 0;
    OpenedFolder * in;
    OpenedFolder * below = nullptr; // the first of those opened in it
    OpenedFolder * next = nullptr;  // of those opened in the same
};

/// One that is listed.
struct Search : OpenedFolder {
    Search(int descriptor, OpenedFolder * in) : OpenedFolder(descriptor, in, true) {}

    NameBuffer names;
    FolderReader::Entry entry; // reported last
};

} // namespace IO
