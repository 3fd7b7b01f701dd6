#pragma once

#include <Kestrel/FileSystem/Platform/Posix/Descriptor.h>
#include <Kestrel/Location/Platform/NativeText.h>
#include <Kestrel/Location/Platform/Posix/ErrorMapping.h>

#include <fcntl.h>
#include <mutex>
#include <span>
#include <string_view>
#include <sys/stat.h>

namespace IO {

/// The place of an entry for the system's calls: a path, or one name in an open folder.
struct NativeEntry {
    BytePath path;
    unsigned int rootLength = 0; // the length of the part for the drive or share
    int at = AT_FDCWD;
    Descriptor reached{-1}; // owns `at` for a path too long for the system
};

/// Finds whether a folder holds a name in another spelling, without reading the folder each time.
///
/// The system distinguishes names byte by byte; here two names that differ in case only are one. So
/// the creator of an entry must be sure that no other spelling of its name exists, and a search
/// that fails must look for another spelling. Reading the folder each time would make n creations
/// cost n * n, so the last few folders are remembered: for each, the hashes of its upper-cased
/// names, and the change time that the folder had then.
///
/// Remembered data is valid while the folder's change time is unchanged; any creation, renaming or
/// deletion changes it, by any process. The library's own changes are entered through FolderChange,
/// together with the new change time. What can be missed: another process creates an entry in the
/// very moment between our change and the query of the new time, or, on a kernel before 6.13, in
/// the same tick of its clock, mostly 1 to 10 ms. Its name is then unknown to us for a second or
/// so, since a folder that changed lately is read again after that; the worst consequence is a
/// second spelling of a name. With one writer nothing is missed.
///
/// Memory:  none from the heap: 32 MiB of zeroed static memory, of which the system provides a page
///          only once it is used. A folder of more than 780,000 entries is not remembered.
/// Threads: any; `GetLock` is held during all operations, the creation of an entry included, so
///          that two threads cannot create two spellings. It may be taken again.
class FolderNames {
public:
    static FolderNames & Get();

    std::recursive_mutex & GetLock() { return lock; }

    /// Replaces the path, from `rootLength` on, by the spelling of the folders: for an entry that
    /// the exact path does not lead to. FileNotFound: nothing has the last name; PathNotFound: nor
    /// one before it. The path is then undefined.
    unsigned int FindSpelling(BytePath * path, unsigned int rootLength);
    /// The same for one name in a folder that is held open.
    unsigned int FindSpellingIn(int folder, BytePath * name);

    /// The spelling in which the folder contains the name: `name` itself, or else the first in the
    /// order of bytes. FileNotFound: there is none, or the folder may not be read; others: it could
    /// not be read, as with too many open files.
    unsigned int FindInFolder(int at, char const * folder, struct stat const & info,
                              std::string_view name, BytePath * found);

    /// Whether any folder is remembered, so that a change may have to be entered.
    bool IsInUse() const;
    /// Whether what is remembered of the folder is still valid.
    bool IsCurrent(struct stat const & info) const;
    /// Enters a change of our own in a folder that was current before it. `info` is from after it.
    void Enter(struct stat const & info, std::string_view name, bool added);

private:
    struct Folder;

    FolderNames() = default;
    static std::span<Folder> GetFolders();
    Folder * Find(struct stat const & info) const;
    Folder * FindCurrent(struct stat const & info) const;
    Folder & Choose(struct stat const & info) const;
    Folder * Remember(int at, char const * path, struct stat const & info);
    bool MayContain(int at, char const * folder, struct stat const & info, std::string_view name);
    unsigned int CorrectName(BytePath * path, unsigned int name, unsigned int * end,
                             struct stat const & info);

    mutable std::recursive_mutex lock;
    unsigned int uses = 0; // incremented by each use; a folder's last use shows which is the oldest
};

/// The creation or removal of one entry in a folder: the steps around the system's call.
///
/// It finds the folder, in another spelling if necessary, holds the lock of FolderNames until its
/// end, and enters the change there.
class FolderChange {
public:
    /// The folder's part of the entry's path is corrected in place.
    explicit FolderChange(NativeEntry * entry);

    /// For an entry about to be created: an error when the folder does not exist.
    unsigned int FindFolder();
    /// Stores another existing spelling of the entry's name in `other`, as a path, which is empty
    /// when there is none. FindInFolder's errors except for FileNotFound.
    unsigned int FindOtherSpelling(BytePath * other);

    /// For an entry about to be deleted or renamed.
    void Prepare();

    /// The entry exists, or no longer exists, now.
    void Added() { Changed(true); }
    void Removed() { Changed(false); }

    std::string_view GetName() const;

private:
    void Changed(bool added);
    bool LookAtFolder();

    FolderNames & names;
    std::lock_guard<std::recursive_mutex> guard;
    NativeEntry * entry;
    BytePath folder;       // from where the entry is
    struct stat info = {}; // of the folder, before the change
    bool isCurrent = false;
};

/// Creates something with a name of its own. `exists`: the name exists already, in any spelling.
/// `make` receives the arguments for openat and returns false with errno.
template <typename Make>
unsigned int MakeEntry(NativeEntry * entry, unsigned int exists, Make make) {
    FolderChange change(entry);
    unsigned int const error = change.FindFolder();
    if (error != FileError::None)
        return error == FileError::AlreadyExists ? exists : error;
    BytePath other;
    if (unsigned int const failure = change.FindOtherSpelling(&other); failure != FileError::None)
        return failure;
    if (other.length != 0)
        return exists;
    if (!make(entry->at, entry->path.text))
        return errno == EEXIST ? exists : GetLastFileError();
    change.Added();
    return FileError::None;
}

} // namespace IO
