#pragma once

#include <Kestrel/FileSystem/FileSystemTypes.h>
#include <Kestrel/Location/Location.h>
#include <Kestrel/Root/Log/Logger.h>
#include <Kestrel/Root/Memory/Memory.h>

namespace Mu {
class OChannel;
}

namespace IO {

class FileEntry;
class FolderEntry;

/// A folder at a location: all changes to the content of a folder are operations of it.
///
/// Entries are identified by a Name inside the folder. Move and Copy from one file system into
/// another, which neither of them can do, are done by reading and writing.
///
/// When the process ends in the middle of an operation, the entries are as the last of its steps
/// left them. When the system ends too, the last steps may be undone, in reverse order, as far as
/// no Flush of a File has written them to the device; that holds on file systems that keep the
/// order of changes to names, as those with a journal do. To make a new name permanent, open the
/// entry as a File and Flush. Each operation documents its steps.
///
/// Memory:  two indices and a pointer. Operations may throw Mu::OutOfMemoryException; the New
///          functions return ErrMemoryFull instead.
/// Threads: one at a time. Retries sleep in the calling thread.
/// Failure: statuses. GetStatus returns that of the constructor, and every operation of a folder
///          that is not connected returns it. A failure writes one log line in the domain "IO", a
///          change that succeeded an info line. An interrupted thread leaves the wait between two
///          tries with Mu::InterruptedIOException: out of the operations that take an
///          AccessDeniedTreatment, where the entries are as the last step left them, and out of
///          Copy and Move between file systems, which delete the incomplete copy first.
class KESTREL_API Folder : public Mu::Allocated {
public:
    enum class OnNotFound { Report = 0, Create = 1, FailQuietly = 2 };
    using EntryType = IO::EntryType;
    using DataSafety = IO::DataSafety;
    /// How Enumerate reports a link: as its target, or as a link.
    enum class LinkProcessing { Resolve = 0, ReportLinks = 1 };
    enum class CountMode { Files = 0, Folders = 1, Entries = 2 };

    // What Enumerate reports, added up.
    static constexpr unsigned int Files = 1;
    static constexpr unsigned int Folders = 2;
    static constexpr unsigned int Links = 4;
    static constexpr unsigned int Untyped = 8; ///< entries whose type cannot be queried
    static constexpr unsigned int Everything = 15;

    /// Called with each entry of an enumeration; returns true to continue. `isFolder` is false for
    /// a link that is reported as one, and for an entry whose type cannot be queried.
    using Callback = bool (*)(Folder & folder, Name const & name, bool isFolder, void * data);
    using ConstCallback = bool (*)(Folder const & folder, Name const & name, bool isFolder,
                                   void * data);

    /// The folder at `location`. With Create, a missing one is created in a parent that exists: one
    /// level, no more; ErrFolderCreationFailed if that fails. FailQuietly does not log a missing
    /// folder.
    ///
    /// GetStatus is then NoError, ErrFolderNotFound, ErrNotAFolder, ErrFolderAccessDenied,
    /// ErrFolderCreationFailed, or Error for anything else, such as an unhealthy location.
    explicit Folder(Location const & location, OnNotFound onNotFound = OnNotFound::Report);
    /// The folder `name` in `folder`; nothing is created.
    Folder(Folder const & folder, Name const & name);
    Folder(Folder & folder, Name const & name, OnNotFound onNotFound);
    Folder(Folder const &) = delete;
    Folder & operator=(Folder const &) = delete;

    // These create a Folder on the heap, which the caller must delete. Null output or argument:
    // Error. On any failure `*folder` is null and the result is what GetStatus would have been, or
    // ErrMemoryFull.
    [[nodiscard]] static MuErrCode New(Folder ** folder, Location const & location,
                                       OnNotFound onNotFound);
    [[nodiscard]] static MuErrCode New(Folder ** folder, Folder const & parent, Name const & name);
    [[nodiscard]] static MuErrCode New(Folder ** folder, Folder & parent, Name const & name,
                                       OnNotFound onNotFound);

    virtual ~Folder();

    // Creating entries, each in one step. ErrTargetExists: the name exists (a warning line when as
    // an entry of the same type). ErrDeviceFull, ErrFolderAccessDenied, Error. `entry` is reserved;
    // pass null.

    virtual MuErrCode CreateFile(Name const & name, FileEntry * entry = nullptr);
    /// With the permissions of the file `model`, as far as the user may grant them, and never with
    /// more.
    MuErrCode CreateFileLike(Name const & name, Name const & model);
    virtual MuErrCode CreateFolder(Name const & name, FolderEntry * entry = nullptr);
    virtual MuErrCode CreateLink(Name const & name, Location const & target);

    // Moving entries. ErrSourceNotFound, ErrTargetExists, ErrDeviceFull; ErrFolderAccessDenied
    // after the retries of `treatment`, where there is one.

    /// One step: the complete entry has the old name or the new one. Where Linux cannot rename
    /// without overwriting, a file may have both.
    virtual MuErrCode Rename(Name const & from, Name const & to,
                             AccessDeniedTreatment treatment = AccessDeniedTreatment::RetryPrivate);
    /// As Rename, but a file named `to` is replaced: at any moment the name is that of the old file
    /// or the new one. ErrFolderAccessDenied if `to` is write-protected, open or a folder. File
    /// systems other than the platform's need three steps, as for Exchange, before the old file is
    /// deleted.
    MuErrCode Replace(Name const & from, Name const & to,
                      AccessDeniedTreatment treatment = AccessDeniedTreatment::RetryPrivate);
    /// Into another folder, of any file system. After a failure an incomplete copy has been deleted
    /// and the source stays. Kept: to another file system or drive a folder is moved as a copy, and
    /// if some entry of the source then cannot be deleted, the copy is deleted, and with it the
    /// entries that were deleted from the source before; delete explicitly after a Copy where that
    /// must not happen. A file that is open is not moved; a folder with an open file in it is moved
    /// on Linux, and not on Windows.
    ///
    /// Inside one file system and drive, one step, as Rename. Otherwise the source is deleted only
    /// after all of the copy has been written, so that the end of the process never destroys both;
    /// it may leave an incomplete copy beside the source. The copy is not flushed: for what must
    /// outlive the system, Copy, Flush and Delete.
    [[nodiscard]] virtual MuErrCode Move(Name const & from, Folder & target, Name const & to,
                                         DataSafety safety = DataSafety::KeepProtected);
    /// Swaps the names of two entries, by three steps: `a` is renamed to an unused name
    /// "GeneratedName_" and ten digits, `b` becomes `a`, and that becomes `b`. Both entries exist
    /// at any moment, but between the steps one of the two names does not.
    virtual MuErrCode
    Exchange(Name const & a, Name const & b,
             AccessDeniedTreatment treatment = AccessDeniedTreatment::RetryPrivate);

    // Copying files and whole folders; a partial copy is removed on failure. The end of the process
    // leaves it, under the name of the target. Where a name must never belong to a partial copy,
    // copy to another name, open the copy as a File and Flush, and then Rename it. The const form
    // refuses a target of the same location with Error.

    [[nodiscard]] virtual MuErrCode Copy(Name const & from, Folder & target, Name const & to) const;
    [[nodiscard]] virtual MuErrCode Copy(Name const & from, Folder & target, Name const & to);
    [[nodiscard]] virtual MuErrCode Copy(Name const & from, Name const & to);

    /// A folder is deleted with all that is in it, entry by entry. ErrEntryNotFound comes with a
    /// warning line.
    virtual MuErrCode Delete(Name const & name, DataSafety safety = DataSafety::KeepProtected,
                             AccessDeniedTreatment treatment = AccessDeniedTreatment::RetryPrivate);
    /// Deletes every entry; stops at the first that fails and returns its status.
    virtual MuErrCode
    DeleteAll(DataSafety safety = DataSafety::KeepProtected,
              AccessDeniedTreatment treatment = AccessDeniedTreatment::RetryPrivate);

    /// An entry that exists and may not be accessed is contained.
    virtual MuErrCode Contains(Name const & name, bool * contained) const;
    /// ErrEntryNotFound, ErrFolderAccessDenied, Error; none is logged.
    virtual MuErrCode GetType(Name const & name, EntryType * type) const;
    /// As GetType, but for a link the type of its target, followed once.
    virtual MuErrCode GetResolvedType(Name const & name, EntryType * type) const;
    virtual MuErrCode CountFiles(unsigned int * count) const;
    virtual MuErrCode CountFolders(unsigned int * count) const;
    virtual MuErrCode CountEntries(unsigned int * count) const;
    virtual MuErrCode IsEmpty(bool * empty) const;

    /// Calls back for each entry of a type in `mask`, then for each file system mounted directly
    /// below the folder, as a folder. NoError, too, when a callback stops. ErrFolderAccessDenied,
    /// Error.
    virtual MuErrCode Enumerate(Callback callback, LinkProcessing links, unsigned int mask,
                                void * data);
    virtual MuErrCode Enumerate(ConstCallback callback, LinkProcessing links, unsigned int mask,
                                void * data) const;
    // Everything, links as links.
    virtual MuErrCode Enumerate(Callback callback, void * data);
    virtual MuErrCode Enumerate(ConstCallback callback, void * data) const;
    /// With Kestrel/Comfort/Folders.h, as IO::ForEach there: any callable, for each entry.
    template <typename Visit, typename... Options>
    [[nodiscard]] MuErrCode ForEach(Visit && visit, Options... options) const;
    /// What an enumeration of this folder already knows about `name`, the entry that it is
    /// reporting, so that summing up a tree needs no File for each entry. In a TreeEnumerator, for
    /// its GetParent.
    ///
    /// True: a plain file; its length and modification time in seconds since 1970. Either may be
    /// null; with both null the file itself is mostly not queried. False, with nothing stored: use
    /// GetType and a File. That is so for links, folders, virtual file systems, entries that may
    /// not be queried, and on Windows, where each file has to be read to know that it is no link.
    /// Only for the thread that enumerates, from within its callback.
    bool GetFoundFile(Name const & name, unsigned long long * length, int * modificationTime) const;
    /// The same; `isDevice` also for pipes and sockets. It may be null, too.
    bool GetFoundFile(Name const & name, unsigned long long * length, int * modificationTime,
                      bool * isDevice) const;
    /// The names, one per line.
    virtual MuErrCode PrintContent(Mu::OChannel & channel) const;

    // A name that no entry of the folder has. These return the entry's own status, unlike all other
    // operations: 0 done, 1 access denied, 2 other, 3 no name fits. Another program may take the
    // name before it is used, so create with it and be ready for ErrTargetExists.

    virtual int GenerateUnusedName(Name * name, char const * base);
    virtual int GenerateUnusedName(Name * name, Mu::UniString const & base);
    virtual int GenerateUnusedName(Name * name);
    /// `base.extension`, `base_0.extension` and so on, the stem cut so that the whole is at most
    /// `maxLength` units (0: no limit). `counter`, if given, is the first number to try, and
    /// becomes the next one.
    virtual int GenerateUnusedNameFromString(Name * name, Mu::UniString const & base,
                                             Mu::UniString const & extension,
                                             unsigned short maxLength, unsigned int * counter);

    // Times in seconds since the start of 1970. ErrFolderInvalidTime: does not fit in 32 bits.
    // A drive has none: Error.
    virtual MuErrCode SetCreationTime(int const & time);
    virtual MuErrCode GetCreationTime(int * time) const;
    virtual MuErrCode SetModificationTime(int const & time);
    virtual MuErrCode GetModificationTime(int * time) const;
    /// The same in 64 bits, for times before 1901 and after 2038. ErrFolderInvalidTime: the disk, or
    /// the file system of a host, which counts in 32 bits, cannot hold it; the folder keeps its own.
    MuErrCode SetTime(TimeKind kind, long long seconds);
    MuErrCode GetTime(TimeKind kind, long long * seconds) const;
    /// How much of its disk the folder itself uses, without its entries. On failure,
    /// which is logged, `*use` is a DiskUse as constructed: ErrFolderAccessDenied, Error.
    MuErrCode GetDiskUse(DiskUse * use) const;
    /// How much of its disk the entry `name` uses; a link is not followed. Meant for summing up a
    /// tree: called while an enumeration of this folder reports that name, it costs one system call
    /// on Linux, whatever the entry is and however long its path. ErrEntryNotFound,
    /// ErrFolderAccessDenied, Error; none is logged.
    MuErrCode GetDiskUse(Name const & name, DiskUse * use) const;
    /// Bytes that are free for this user on the folder's volume.
    virtual MuErrCode GetFreeSpace(unsigned long long * space) const;
    virtual bool IsReadable() const;
    /// Whether entries can be created in it; tests this by creating one temporarily.
    virtual bool IsWriteable() const;
    virtual MuErrCode IsOnLocalVolume(bool * local) const;
    virtual MuErrCode IsOnFixedVolume(bool * fixed) const;
    virtual MuErrCode GetLocation(Location * location) const;

    /// The status of the connection made by the constructor; it never changes.
    MuErrCode GetStatus() const { return status; }

protected:
    /// For walks: the folder whose name `folder` is reporting, without its path, which may be
    /// longer than the system's limit.
    struct Found {};
    Folder(Folder const & folder, Name const & name, Found);

private:
    friend class File;
    friend class FoundFile;
    friend class KeptFolder;
    friend KESTREL_API void Append(Mu::FastLogger::LogComposer & composer, Folder const & folder);

    MuErrCode Connect(Folder const * in);
    bool ConnectFound(Folder const & folder, Name const & name);
    void ConnectOrCreate(OnNotFound onNotFound, Folder * parent, Folder const * in);
    MuErrCode CreateInParent(Folder * parent);
    bool IsSameFileSystem(Folder const & other) const;
    MuErrCode MoveBetweenFileSystems(Name const & from, Folder & target, Name const & to);
    template <typename Attempt>
    MuErrCode RenameBy(Attempt const & attempt, Name const & from, Name const & to,
                       AccessDeniedTreatment treatment);
    MuErrCode Count(CountMode mode, unsigned int * count) const;
    template <typename AnyFolder, typename AnyCallback>
    static MuErrCode EnumerateWith(AnyFolder & folder, AnyCallback callback, LinkProcessing links,
                                   unsigned int mask, void * data);

    Location location;
    FolderEntry * entry = nullptr; // its file system's; null when not connected
    MuErrCode status = Error;
};

/// Puts the folder's location into a log line.
KESTREL_API void Append(Mu::FastLogger::LogComposer & composer, Folder const & folder);

} // namespace IO
