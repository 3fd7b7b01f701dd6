#pragma once

#include <Kestrel/FileSystem/Internal/EntryPool.h>
#include <Kestrel/FileSystem/Internal/PathType.h>
#include <Kestrel/FileSystem/Internal/WinFileEntry.h>
#include <Kestrel/FileSystem/Internal/WinFolderEntry.h>
#include <Kestrel/FileSystem/NativeFileSystem.h>

namespace IO {

/// The native file system of both platforms: this code works over any FileCalls.
///
/// Memory:  pools of unused entries, so that a File or Folder created for one call allocates only
///          the text of its path.
/// Threads: as NativeFileSystem; the lock of IO::fileSystem guards the pools.
/// Failure: statuses.
class WinFileSystem final : public NativeFileSystem {
public:
    WinFileSystem();
    ~WinFileSystem() override;

    ConnectStatus Connect(Location * location, FolderEntry ** entry) override;
    ConnectStatus Connect(Location * location, FileEntry ** entry) override;
    void Disconnect(FolderEntry * entry) override;
    void Disconnect(FileEntry * entry) override;

    bool IsOnLine(Location const & location) override;
    bool GetSpecialLocation(SpecLocId id, Location * location) override;
    bool ResolveLocation(Location const & from, Location * to) override;
    MountPointsStatus EnumerateMountPoints(MountPointCallback callback, void * data) override;
    bool IsSameName(Mu::UniString const & a, Mu::UniString const & b) override;
    void SetOption(unsigned int id, unsigned int value) override;

    /// Whether only files with the extension "lnk" count as links.
    bool RestrictsLinks() const { return restrictLinkExtensions; }

    // Entries whose path is longer than that of a legal location, by the path alone.

    /// Takes ownership of the path. `*location`, which is that of the path, becomes that of a
    /// link's target.
    ConnectStatus ConnectBeyond(Mu::UniString & path, Location * location, FileEntry ** entry);
    ConnectStatus ConnectBeyond(Mu::UniString & path, Location * location, FolderEntry ** entry);
    /// The target of a link, which is followed once, and its type. False: no target, or no link.
    bool ResolveBeyond(Mu::UniString & path, Location * target, EntryType * type) const;

    /// A file or folder that the caller knows to exist. Takes ownership of the path.
    WinFileEntry * TakeFile(Mu::UniString & path);
    WinFolderEntry * TakeFolder(Mu::UniString & path, unsigned int depth);

private:
    enum class ResolveStatus : unsigned char {
        Done = 0,
        NoPath = 1,  ///< the location cannot be written as a path
        NoTarget = 2 ///< the target of the link is no location
    };

    bool Follow(Mu::UniString * path, PathType * type, unsigned int maxLinks) const;
    ConnectStatus FollowTo(Mu::UniString * path, Location * location, PathType other,
                           ConnectStatus refusal) const;
    ConnectStatus Look(Location * location, Mu::UniString * path, PathType * type);
    ResolveStatus Resolve(Location * location, Mu::UniString * path, PathType * type,
                          unsigned int maxLinks = 1);

    bool restrictLinkExtensions = false;
    EntryPool<WinFileEntry, WinFileSystem, 4> fileEntries;
    EntryPool<WinFolderEntry, WinFileSystem, 8> folderEntries;
};

} // namespace IO
