#pragma once

#include <Kestrel/FileSystem/BaseFileSystem.h>
#include <Kestrel/FileSystem/FolderEntry.h>
#include <Kestrel/FileSystem/Internal/PathType.h>
#include <Kestrel/Root/Text/UniString.h>

namespace IO {

class WinFileEntry;
class WinFileSystem;

/// A folder of the platform, by its path.
///
/// The depth is the number of local names: 0 is the root of the computer, which holds the drives
/// and in which nothing can be made; 1 is the root of a drive or a share, which has no times.
class WinFolderEntry final : public FolderEntry {
public:
    /// What became of a folder that was found.
    enum class HoldStatus : unsigned char {
        There, ///< or whatever reads it will say why not
        Gone,
        Other ///< something else has the name by now, as a link
    };

    explicit WinFolderEntry(WinFileSystem & owner) : owner(owner) {}
    WinFolderEntry(WinFolderEntry const &) = delete;
    WinFolderEntry & operator=(WinFolderEntry const &) = delete;

    /// Takes the path over. Before, and after Release, the entry stands for nothing.
    void Set(Mu::UniString & newPath, unsigned int newDepth) noexcept;
    void Release() noexcept;

    TimeStatus SetTime(TimeKind kind, long long seconds);
    template <typename Seconds>
    TimeStatus GetTime(TimeKind kind, Seconds * seconds) const;
    TimeStatus SetCreationTime(int const & time) override;
    TimeStatus GetCreationTime(int * time) override;
    TimeStatus SetModificationTime(int const & time) override;
    TimeStatus GetModificationTime(int * time) override;
    BaseFileSystem * GetOwnerFileSystem() override;

    CreateStatus CreateFile(Name const & name, FileEntry * reserved) override;
    CreateStatus CreateFolder(Name const & name, FolderEntry * reserved) override;
    CreateStatus CreateLink(Name const & name, Location const & target) override;
    MoveStatus Move(Name const & from, FolderEntry & target, Name const & to, bool force) override;
    CopyStatus Copy(Name const & from, FolderEntry & target, Name const & to) override;
    DeleteStatus Delete(Name const & name, bool force) override;
    GetTypeStatus GetType(Name const & name, EntryType * type) override;
    EnumerateStatus Enumerate(EntryEnumerator & enumerator) override;
    AttributeStatus GetFreeSpace(unsigned long long * bytes) override;
    bool IsReadable() override;
    bool IsWriteable() override;
    AttributeStatus IsOnLocalVolume(bool * isLocal) override;
    AttributeStatus IsOnFixedVolume(bool * isFixed) override;

    /// As Move inside the folder, but a file named `to` is replaced in the same step.
    MoveStatus Replace(Name const & from, Name const & to);
    /// As CreateFile, with the rights of the file `model`.
    CreateStatus CreateFileLike(Name const & name, Name const & model);

    unsigned int GetDepth() const { return depth; }
    AttributeStatus GetDiskUse(DiskUse * use) const;
    /// For the entry of that name, never what a link leads to. The name that an enumeration hands out
    /// just now is looked up in the open folder, whatever its path leads to.
    GetTypeStatus GetDiskUse(Name const & name, DiskUse * use) const;

    /// Whether the enumeration hands out this name just now, and whether that is a regular file (no
    /// link), which GetType would find too. Costs a system call for the first name, none after it.
    bool IsFoundFile(Name const & name) const;
    /// The same with the file's length and modification time, in one system call. Null: neither.
    FindData const * LookAtFoundFile(Name const & name) const;
    /// While the entry hands out the name of a folder: that folder, to be given back as one that was
    /// connected to; null for what must be connected to by its path. Where a path may not be longer
    /// than a location, that is everything.
    WinFolderEntry * ConnectFound(Name const & name) const;
    /// What has the name, of which `*location` is longer than a legal one, as below a deep tree: by
    /// the path. It becomes the location of what a link leads to. NotFound also for another location.
    template <typename Entry>
    BaseFileSystem::ConnectStatus ConnectBeyond(Name const & name, Location * location,
                                                Entry ** entry) const;
    /// Where the link of that name leads, of which `link` is longer than a legal location, and what is
    /// there. False: nowhere, or another location.
    bool ResolveBeyond(Name const & name, Location const & link, Location * target,
                       EntryType * type) const;
    /// While the entry hands out the name of a folder, which `folder` was made for: the next
    /// enumeration of `folder` is of what is in this one under the name, whatever its path leads to.
    HoldStatus HoldFound(Name const & name, WinFolderEntry & folder) const;

    // For copies between file systems, which go through files and folders of their own. They keep
    // the folders that they work in open, so that nobody who puts links in their place leads them
    // astray.

    /// What the entry makes and deletes from now on is in the folder that its path leads to now.
    /// False: there is none.
    bool Keep();
    /// The same for a folder of this name in `parent`, which is kept or hands out the name. False
    /// also: a link is there by now.
    bool KeepIn(WinFolderEntry const & parent, Name const & name);
    void LetGo() noexcept;
    bool IsKept() const { return kept != nullptr; }
    /// The next enumeration of `folder`, and the next opening of `file`, is of what has the name in
    /// this folder, which is kept or hands out the name. False: a link, or nothing, has it.
    bool Lend(Name const & name, WinFolderEntry & folder) const;
    bool Lend(Name const & name, WinFileEntry & file) const;

private:
    bool Takes(Name const & name) const;
    bool IsBeyond(Name const & name, Location const & location) const;
    Mu::UniString PathOf(Name const & name) const;
    WinFolderEntry * AsOurs(FolderEntry & other) const;
    AttributeStatus GetVolumeType(unsigned int * type) const;

    FindHandle GetReach() const;
    unsigned int OpenIn(FindHandle in, Name const & name, WinFolderEntry const & folder,
                        FolderUse use, FindHandle * opened) const;
    template <typename Call>
    auto WithEntry(Name const & name, Call call) const {
        return kept != nullptr ? call(EntryPath(kept, name.ToString())) : call(PathOf(name));
    }

    struct Found;
    FolderSearch StartSearch();

    WinFileSystem & owner;
    Found * found = nullptr;    // null unless a name is being handed out
    FindHandle held = nullptr;  // opened for the next enumeration
    unsigned int heldError = 0; // why it could not be
    FindHandle kept = nullptr;  // what the entry stands for instead of its path
    Mu::UniString path;
    unsigned int depth = 0;
};

} // namespace IO
