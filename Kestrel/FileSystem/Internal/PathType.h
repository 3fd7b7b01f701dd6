#pragma once

#include <Kestrel/FileSystem/Internal/PathText.h>
#include <Kestrel/FileSystem/Platform/FileCalls.h>

namespace IO {

/// What stands at a path.
enum class PathType : unsigned char {
    File = 0,
    Folder = 1,
    AccessDenied = 2,
    Other = 3, ///< also: the last name is not found
    PathNotFound = 4
};

/// What a look at a path found.
struct PathLook {
    PathType type;
    unsigned int error = FileError::None; ///< why the type is none of the first two
    LinkStatus link = LinkStatus::NotALink;
};

/// Whether nothing stands there, so far as can be known.
inline bool IsFree(PathType type) {
    return type == PathType::Other || type == PathType::PathNotFound;
}

/// The type of what stands at the path itself; a link is a file. Roots of shares and drives are
/// folders without a look at the disk.
PathLook GetPathType(PathText path);

/// The same, and whether it is a link. `target` gets where it leads. With `restrictLinks`, only
/// names with the extension "lnk" can be links. An ordinary entry costs one look at the disk.
PathLook LookAtPath(PathText path, bool restrictLinks, TextBuffer * target);

/// The same for a path at which nothing should stand: that nothing is found there is no failure to
/// report.
PathType LookForTarget(PathText path);

/// One entry as FindFirstFile reports it; returns its error.
unsigned int FindEntry(PathText path, FindData * data);

/// Whether the attributes of the path are known and say write-protected.
bool IsWriteProtectedPath(EntryPath path);

/// A folder held open, so that what is done to its entries is done there, whatever becomes of its
/// path meanwhile.
class HeldFolder {
public:
    HeldFolder(EntryPath folder, FolderUse use) {
        error = GetFileCalls().OpenFolder(folder, use, &find);
    }
    /// Takes it over.
    explicit HeldFolder(FindHandle opened) : find(opened), error(FileError::None) {}
    ~HeldFolder() {
        if (find != nullptr)
            GetFileCalls().FindClose(find);
    }
    HeldFolder(HeldFolder const &) = delete;
    HeldFolder & operator=(HeldFolder const &) = delete;

    /// Why it could not be opened.
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
/// Works on while entries that were met are deleted.
class FolderSearch {
public:
    explicit FolderSearch(EntryPath folder) : folder(folder, FolderUse::List) { Start(); }
    /// Takes over a folder that was opened for listing.
    explicit FolderSearch(FindHandle opened) : folder(opened) { Start(); }
    /// Of a folder that could not be opened.
    explicit FolderSearch(unsigned int error) : folder(FindHandle()), error(error) {}
    FolderSearch(FolderSearch const &) = delete;
    FolderSearch & operator=(FolderSearch const &) = delete;

    bool HasEntry() const { return error == FileError::None; }
    void Next();
    FindData const & GetEntry() const { return data; }
    /// The folder, to reach the entry that was met in it.
    FindHandle GetFolder() const { return folder.Get(); }
    EntryPath GetEntryPath() const { return {folder.Get(), data.GetName()}; }
    /// Makes attributes, size and time of change of the entry certain; false when it may not be looked
    /// at.
    bool LookAtEntry() {
        return GetFileCalls().LookAtFound(folder.Get(), &data) == FileError::None;
    }
    /// Why there is no entry: None behind the last one.
    unsigned int GetError() const { return error == FileError::NoMoreFiles ? 0 : error; }

private:
    void Start();

    HeldFolder folder;
    unsigned int error;
    FindData data;
};

} // namespace IO
