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
/// The depth is the number of local names: 0 is the root of the machine, which holds the drives and
/// in which nothing can be created; 1 is the root of a drive or a share, which has no times.
class WinFolderEntry final : public FolderEntry {
public:
    /// The state of a folder that was found.
    enum class HoldStatus : unsigned char {
        There, ///< or reading it will report why not
        Gone,
        Other ///< something else, such as a link, has taken its name
    };

    explicit WinFolderEntry(WinFileSystem & owner) : owner(owner) {}
    WinFolderEntry(WinFolderEntry const &) = delete;
    WinFolderEntry & operator=(WinFolderEntry const &) = delete;

    /// Takes ownership of the path. Before this, and after Release, the entry is unused.
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

    /// As Move within the folder, but a file named `to` is replaced in the same step.
    MoveStatus Replace(Name const & from, Name const & to);
    /// As CreateFile, with the permissions of the file `model`.
    CreateStatus CreateFileLike(Name const & name, Name const & model);

    unsigned int GetDepth() const { return depth; }
    AttributeStatus GetDiskUse(DiskUse * use) const;
    /// For the entry of that name, never a link's target. A name that an enumeration is reporting
    /// is looked up in the open folder, whatever its path leads to.
    GetTypeStatus GetDiskUse(Name const & name, DiskUse * use) const;

    /// Whether the enumeration is reporting this name, and whether it is a regular file (no link),
    /// which GetType would find as well. Costs a system call for the first name, none after it.
    bool IsFoundFile(Name const & name) const;
    /// The same with the file's length and modification time, in one system call. Null: neither.
    FindData const * LookAtFoundFile(Name const & name) const;
    /// While the entry reports the name of a folder: that folder, to be disconnected as one that
    /// was connected to; null for a folder that must be connected to by its path. Where a path may
    /// not be longer than a location, that is every folder.
    WinFolderEntry * ConnectFound(Name const & name) const;
    /// The file of that name and location, which was just created here: without querying it. Null
    /// for a file that must be connected to by its location, such as one that leads here through a
    /// link.
    FileEntry * ConnectMade(Name const & name, Location const & location) const;
    /// The entry of that name, whose `*location` is longer than a legal one, as below a deep tree:
    /// by the path. `*location` becomes that of a link's target. NotFound also for another
    /// location.
    template <typename Entry>
    BaseFileSystem::ConnectStatus ConnectBeyond(Name const & name, Location * location,
                                                Entry ** entry) const;
    /// The target of the link of that name, whose location `link` is longer than a legal one, and
    /// its type. False: there is none, or another location was given.
    bool ResolveBeyond(Name const & name, Location const & link, Location * target,
                       EntryType * type) const;
    /// While the entry reports the name of a folder, for which `folder` was created: the next
    /// enumeration of `folder` is of the entry of that name in this one, whatever its path leads
    /// to.
    HoldStatus HoldFound(Name const & name, WinFolderEntry & folder) const;

    // For copies between file systems, which use files and folders of their own. They hold the
    // folders that they work in open, so that replacing one by a link does not redirect them.

    /// Binds the entry to the folder that its path leads to now: it creates and deletes there from
    /// now on. False: there is none.
    bool Keep();
    /// The same for the folder of this name in `parent`, which is bound or reports the name. False
    /// also: a link has taken its place.
    bool KeepIn(WinFolderEntry const & parent, Name const & name);
    void LetGo() noexcept;
    bool IsKept() const { return kept != nullptr; }
    /// Makes the next enumeration of `folder`, and the next opening of `file`, use the entry of
    /// that name in this folder, which is bound or reports the name. False: it is a link, or does
    /// not exist.
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
    Found * found = nullptr;    // null unless a name is being reported
    FindHandle held = nullptr;  // opened for the next enumeration
    unsigned int heldError = 0; // the error of opening it
    FindHandle kept = nullptr;  // the folder that the entry is bound to, instead of its path
    Mu::UniString path;
    unsigned int depth = 0;
};

} // namespace IO
