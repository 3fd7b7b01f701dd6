#pragma once

#include <Kestrel/FileSystem/Internal/PathText.h>
#include <Kestrel/FileSystem/Platform/FileCalls.h>

namespace IO {

/// The type of the entry at a path.
enum class PathType : unsigned char {
    File = 0,
    Folder = 1,
    AccessDenied = 2,
    Other = 3, ///< also: the last name does not exist
    PathNotFound = 4
};

/// The result of a query about a path.
struct PathLook {
    PathType type;
    unsigned int error = FileError::None; ///< why the type is none of the first two
    LinkStatus link = LinkStatus::NotALink;
};

/// Whether no entry exists there, as far as can be determined.
inline bool IsFree(PathType type) {
    return type == PathType::Other || type == PathType::PathNotFound;
}

/// The type of the entry at the path itself; a link is a file. Roots of shares and drives are
/// folders, without a query of the disk.
PathLook GetPathType(PathText path);

/// The same, and whether it is a link. `target` becomes the path that it leads to. With
/// `restrictLinks`, only names with the extension "lnk" can be links. An ordinary entry costs one
/// query of the disk.
PathLook LookAtPath(PathText path, bool restrictLinks, TextBuffer * target);

/// The same for a path at which no entry is expected: its absence is not reported as a failure.
PathType LookForTarget(PathText path);

/// One entry as FindFirstFile reports it; returns its error.
unsigned int FindEntry(PathText path, FindData * data);

/// Whether the attributes of the path can be queried and include write protection.
bool IsWriteProtectedPath(EntryPath path);

/// A folder that is held open, so that operations on its entries remain in it, whatever happens to
/// its path meanwhile.
class HeldFolder {
public:
    HeldFolder(EntryPath folder, FolderUse use) {
        error = GetFileCalls().OpenFolder(folder, use, &find);
    }
    /// Takes ownership.
    explicit HeldFolder(FindHandle opened) : find(opened), error(FileError::None) {}
    ~HeldFolder() {
        if (find != nullptr)
            GetFileCalls().FindClose(find);
    }
    HeldFolder(HeldFolder const &) = delete;
    HeldFolder & operator=(HeldFolder const &) = delete;

    /// The error of opening it.
    unsigned int GetError() const { return error; }
    FindHandle Get() const { return find; }
    FindHandle Release() {
        FindHandle const released = find;
        find = nullptr;
        return released;
    }

private:
    FindHandle find = nullptr;
    unsigned int error;
};

/// The entries of a folder, one after another, without "." and "..":
///
///     for (FolderSearch search(path); search.HasEntry(); search.Next())
///
/// Continues correctly while reported entries are deleted.
class FolderSearch {
public:
    explicit FolderSearch(EntryPath folder) : folder(folder, FolderUse::List) { Start(); }
    /// Takes ownership of a folder that was opened for listing.
    explicit FolderSearch(FindHandle opened) : folder(opened) { Start(); }
    /// Of a folder that could not be opened.
    explicit FolderSearch(unsigned int error) : folder(FindHandle()), error(error) {}
    FolderSearch(FolderSearch const &) = delete;
    FolderSearch & operator=(FolderSearch const &) = delete;

    bool HasEntry() const { return error == FileError::None; }
    void Next();
    FindData const & GetEntry() const { return data; }
    /// The folder, for operations on the current entry.
    FindHandle GetFolder() const { return folder.Get(); }
    EntryPath GetEntryPath() const { return {folder.Get(), data.GetName()}; }
    /// Fills in attributes, size and modification time of the entry if the search did not; false
    /// when they cannot be queried.
    bool LookAtEntry() {
        return GetFileCalls().LookAtFound(folder.Get(), &data) == FileError::None;
    }
    /// Why there is no entry: None after the last one.
    unsigned int GetError() const { return error == FileError::NoMoreFiles ? 0 : error; }

private:
    void Start();

    HeldFolder folder;
    unsigned int error;
    FindData data;
};

} // namespace IO
