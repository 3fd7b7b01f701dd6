#pragma once

#include <Kestrel/FileSystem/EntryEnumerator.h>
#include <Kestrel/FileSystem/FSEntry.h>
#include <Kestrel/FileSystem/FileEntry.h>
#include <Kestrel/FileSystem/FileSystemTypes.h>
#include <Kestrel/Location/Location.h>
#include <Kestrel/Location/Name.h>
#include <Kestrel/Root/Text/UniString.h>
#include <Kestrel/Root/WindowsNames.h>

namespace IO {

/// One folder of a file system: all changes to the content of the folder.
///
/// Rules of FSEntry. Finding unused names and exchanging two entries are written here once, over
/// GetType and Move, and so work for every file system; one that can do better overrides them.
class KESTREL_API FolderEntry : public FSEntry {
public:
    using EntryType = IO::EntryType;

    enum class CreateStatus : unsigned int {
        Done = 0,
        AlreadyExists = 1,
        DeviceFull = 2,
        AccessDenied = 3,
        Other = 4
    };
    enum class GenUNStatus : unsigned int { Done = 0, AccessDenied = 1, Other = 2, NoNameFits = 3 };
    enum class ExchangeStatus : unsigned int {
        Done = 0,
        EntryNotFound = 1,
        DeviceFull = 2,
        AccessDenied = 3,
        Other = 4
    };
    enum class MoveStatus : unsigned int {
        Done = 0,
        EntryNotFound = 1,
        TargetExists = 2,
        DeviceFull = 3,
        AccessDenied = 4,
        Other = 5
    };
    using CopyStatus = MoveStatus;
    enum class DeleteStatus : unsigned int {
        Done = 0,
        EntryNotFound = 1,
        AccessDenied = 2,
        Other = 3
    };
    enum class GetTypeStatus : unsigned int {
        Done = 0,
        AccessDenied = 1,
        EntryNotFound = 2,
        Other = 3
    };
    enum class EnumerateStatus : unsigned int {
        Done = 0,
        AccessDenied = 1,
        Stopped = 2, ///< by the enumerator
        Other = 3
    };

    FolderEntry() = default;
    FolderEntry(FolderEntry const &) = default;
    FolderEntry & operator=(FolderEntry const &) = default;
    ~FolderEntry() override = default;

    /// The entry pointers of these two are reserved; callers pass null.
    virtual CreateStatus CreateFile(Name const & name, FileEntry * reserved) = 0;
    virtual CreateStatus CreateFolder(Name const & name, FolderEntry * reserved) = 0;
    virtual CreateStatus CreateLink(Name const & name, Location const & target) = 0;

    /// A name that nothing in the folder has: the first 15 units of `base` (empty means
    /// "GeneratedName_") and ten digits. It is free when it is checked; another creator may be
    /// faster than the caller's own Create.
    virtual GenUNStatus GenerateUnusedName(Name * result, Mu::UniString const & base);

    /// The first free one of base.extension, base_0.extension, base_1.extension ..., made legal on
    /// all platforms. With a `maxLength` other than 0 the base is cut so that the name has at most
    /// so many units; NoNameFits: not even an empty base leaves room for the number. A
    /// `*counter` (may be null) other than 0 is the number to begin with; on success it becomes
    /// the number to go on with.
    virtual GenUNStatus GenerateUnusedNameFromString(Name * result, Mu::UniString const & base,
                                                     Mu::UniString const & extension,
                                                     unsigned short maxLength,
                                                     unsigned int * counter);

    /// Swaps the names of two entries. `*outA` and `*outB` receive the names of the entries of `a`
    /// and `b` afterwards, after a failure too: an incomplete exchange is undone as far as
    /// possible.
    virtual ExchangeStatus Exchange(Name const & a, Name const & b, bool force, Name * outA,
                                    Name * outB);

    /// With `force`, write-protected entries are moved, too; the same for Delete.
    virtual MoveStatus Move(Name const & from, FolderEntry & target, Name const & to,
                            bool force) = 0;
    virtual CopyStatus Copy(Name const & from, FolderEntry & target, Name const & to) = 0;
    /// A folder is deleted with all that it holds.
    virtual DeleteStatus Delete(Name const & name, bool force) = 0;

    virtual GetTypeStatus GetType(Name const & name, EntryType * type) = 0;
    virtual EnumerateStatus Enumerate(EntryEnumerator & enumerator) = 0;
    virtual AttributeStatus GetFreeSpace(unsigned long long * bytes) = 0;
    virtual bool IsReadable() = 0;
    virtual bool IsWriteable() = 0;
    virtual AttributeStatus IsOnLocalVolume(bool * isLocal) = 0;
    virtual AttributeStatus IsOnFixedVolume(bool * isFixed) = 0;
};

} // namespace IO
