#pragma once

#include <Kestrel/FileType/FileType.h>
#include <Kestrel/FileType/GeneralID.h>
#include <Kestrel/FileType/InlineText.h>
#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Memory/Memory.h>

namespace IO {
class Location;
class Name;
} // namespace IO

namespace Mu {
template <typename T>
class Array;
template <typename T>
class ArrayBase;
class IChannel;
class OChannel;
class ReentrantLock;
} // namespace Mu

namespace FTM {

class IdentificationObserver;

/// Gives one part of a program access to the file type catalogue of the process, and lets it add
/// types and groups.
///
/// An object is an owner, not a container: it may change and remove what it added, and its
/// destructor removes all of that. Queries see the types of all managers. Operations whose names
/// end in Own prefer those of the manager that they are called on. So independent parts of a
/// program can extend one catalogue:
///
///     FTM::FileTypeManager manager("drawings");
///     FTM::TypeID drawing = manager.AddType(type, FTM::DocumentGroup);
///     ...
///     if (FTM::FileTypeManager::Identify(location, FTM::RootGroup, nullptr) == drawing)
///
/// A type can be in any number of groups, a group in one other group or in RootGroup.
///
/// Memory:  the tables and records of the process, until they are empty.
/// Threads: any. One lock for the process is held during each operation, even while a file is read
///          and content tests run; a slow file system blocks the others. A content test may call
///          everything here, on its own thread.
/// Failure: operations that add return UnknownType or UnknownGroup, those that change a status,
///          those that search 0, an unknown identifier or a negative result. Nothing is thrown
///          except by content tests, whose exceptions are passed on, and nothing is logged except
///          by the files that are read.
class KESTREL_API FileTypeManager : public Mu::Allocated {
public:
    /// `id` identifies the manager for SearchForMime and ReadID, also in other processes. Copied;
    /// an id of more than 63 bytes is empty if there is no memory.
    explicit FileTypeManager(char const * id);
    /// Removes what this manager added.
    ~FileTypeManager();
    FileTypeManager(FileTypeManager const &) = delete;
    FileTypeManager & operator=(FileTypeManager const &) = delete;

    /// Adds a copy of the type to the catalogue and to the group. UnknownType: the group is
    /// unknown, one of the MIME names is in use, there is no memory, or no identifier is left;
    /// nothing is added then.
    TypeID AddType(FileType const & type, GroupID group);
    /// `mime` may be null. UnknownGroup as for AddType. Names need not be unique.
    GroupID AddGroup(char const * name, GroupID parent, char const * mime);
    /// Also for types and groups of other managers. Adding a type that is already in the group,
    /// directly or through a child, is not a failure and has no effect; nor is adding it to
    /// RootGroup, which contains all types. ErrTypeNotFound, ErrGroupNotFound, ErrMemoryFull.
    MuErrCode AddTypeToGroup(TypeID type, GroupID group);
    /// ErrTypeNotFound, ErrGroupNotFound: the type is not directly in the group. ErrTypeNotFound is
    /// also returned for a group that sorts after all groups of the type.
    MuErrCode RemoveTypeFromGroup(TypeID type, GroupID group);
    /// ErrTypeNotFound, or ErrForeignRecord: another manager added it.
    MuErrCode RemoveType(TypeID type);
    /// Its groups and types move to its parent; types of a group in RootGroup are then in no group.
    /// ErrGroupNotFound, ErrForeignRecord.
    MuErrCode RemoveGroup(GroupID group);
    /// ErrGroupNotFound, ErrForeignRecord, ErrMemoryFull.
    MuErrCode RenameGroup(GroupID group, char const * name);
    /// Replaces the content of a type by `type`; the identifier, groups and owner are kept.
    /// ErrTypeNotFound, ErrForeignRecord, ErrMemoryFull; Error: a new MIME name is in use. Nothing
    /// is changed after a failure.
    MuErrCode ReinsertType(TypeID id, FileType const & type);
    /// Whether a type or group of any manager has this name.
    bool CheckMimeExists(char const * mime);
    /// The first type or group of this manager with this name; UnknownType if there is none.
    GeneralID SearchForMime(char const * mime) const;

    char const * GetId() const { return id.Get(); }

    // Queries.

    /// Copies the type to `*type`; null only checks whether it exists. ErrTypeNotFound,
    /// ErrMemoryFull.
    static MuErrCode GetType(TypeID id, FileType * type);
    /// Null for an unknown identifier.
    static FileTypeManager * GetManager(GeneralID id);
    /// Owned by the manager. Null for an unknown identifier.
    static char const * GetManagerId(GeneralID id);
    /// The hidden flag of the stored type, which any part of the program may set: not shown to
    /// users. False: an unknown type.
    static bool SetModeFileType(TypeID type, bool hidden);
    static bool IsHideFileType(TypeID type);

    /// Directly or through parents.
    static bool IsTypeInGroup(TypeID type, GroupID group);
    /// Directly or through parents; false for a group and itself.
    static bool IsGroupInGroup(GroupID child, GroupID parent);

    // Walking up. UnknownGroup: the end, and unknown arguments. RootGroup is the parent of a
    // top-level group, and the only parent of a type that is in no group.
    static GroupID GetParent(GroupID group);
    static GroupID GetFirstParent(TypeID type);
    static GroupID GetNextParent(TypeID type, GroupID group);
    // Walking down one level, in the order of adding. The types of RootGroup are those that are in
    // no group.
    static GroupID GetFirstGroupChild(GroupID group);
    static GroupID GetNextGroup(GroupID group);
    static TypeID GetFirstTypeChild(GroupID group);
    static TypeID GetNextType(GroupID group, TypeID type);

    // The number of elements of these walks. ErrGroupNotFound or ErrTypeNotFound, which are
    // negative.
    static int CountGroupChild(GroupID group);
    static int CountTypeChild(GroupID group);
    static int CountParent(TypeID type);
    /// The groups and types at any depth, each counted once.
    static int CountAllChild(GroupID group);
    /// The types at any depth, each counted once.
    static int CountAllTypeChild(GroupID group);
    /// Stores as many as fit into the list, fills the rest with UnknownType, and returns the result
    /// of CountAllTypeChild. A null list has no space.
    static int GetAllTypeChildList(GroupID group, TypeID * list, int size);

    // These copy a text, truncated to `size` bytes with the terminating zero, and return its full
    // length. `text` may be null to get only the length. The text of an unknown group and of
    // RootGroup is empty.
    static unsigned int GetGroupName(GroupID group, char * text, unsigned int size);
    static unsigned int GetGroupMime(GroupID group, char * text, unsigned int size);
    /// All extensions at any depth without duplicates, joined by ";"; those of all types for
    /// RootGroup.
    static unsigned int GetGroupExtensionList(GroupID group, char * text, unsigned int size);

    /// The first type in `scope` that has everything that is set in the pattern: every extension,
    /// with the first type code; then the first MIME name, creator, icon (set if neither 0 nor -1),
    /// content test and description. In the order of adding.
    static TypeID SearchForType(FileType const & pattern, GroupID scope);
    /// All such types: stores as many as fit into the list, fills the rest with UnknownType, and
    /// returns their number. An empty pattern in RootGroup matches none.
    static unsigned int SearchForType(TypeID * list, unsigned int size, FileType const & pattern,
                                      GroupID scope);
    /// The groups with exactly this name in `scope`, in the same way.
    static GroupID SearchForGroup(char const * name, GroupID scope);
    static unsigned int SearchForGroup(GroupID * list, unsigned int size, char const * name,
                                       GroupID scope);
    /// The type or group with this MIME name. With a null `managerId` an ambiguous name returns
    /// UnknownType; otherwise the first one of a manager with this id is returned.
    static GeneralID SearchForMime(char const * mime, char const * managerId);
    static bool IsMimeRegistered(char const * mime, char const * managerId);

    // Persistent identifiers, stored as MIME names, as the numbers may differ in the next process.

    /// Reads a name and returns the result of SearchForMime. UnknownType: a failed read, another
    /// format, a name of more than 255 bytes, or an empty or unknown one.
    static GeneralID ReadID(Mu::IChannel & channel, char const * managerId);
    /// Error, and nothing is written: the type or group does not exist or has no name of at most
    /// 255 bytes. UnknownType is written as such. Otherwise the status of the channel.
    static MuErrCode WriteID(GeneralID id, Mu::OChannel & channel);

    /// A diagnostic that this build does not provide: null.
    static char const * Dump(GroupID group, int depth);

    // Identification of files: by the extension of the name, then by the type code that is stored
    // with the file, then by the content tests of the remaining types. Each stage runs only if the
    // previous ones are ambiguous, so most files are not opened. `group` restricts everything to
    // its types.
    //
    // Every failure to access a file, and a shortage of memory, gives the negative result:
    // UnknownType, 0 or false. A name that starts with "._" is never identified, nor one without
    // extension and type code.

    /// The type, or the group with the fewest types that contains all candidates: see IsGroup().
    /// `info` is passed to the content tests. If it is set, the content test of a type that is
    /// already certain is run, too, to fill it in, and a file that cannot be opened is UnknownType.
    static GeneralID Identify(IO::Location const & location, GroupID group, void * info);
    GeneralID IdentifyOwn(IO::Location const & location, GroupID group, void * info) const;
    /// Like Identify, and reports the evidence to the observer. It is called under the lock, and
    /// must not change the catalogue.
    static GeneralID Identify(IO::Location const & location, GroupID group, void * info,
                              IdentificationObserver & observer);
    /// All types that the file may have: stores as many as fit into the list, fills the rest with
    /// UnknownType, and returns their number. A type may occur twice. `infos` may be null; its
    /// first pointer is passed to the content tests.
    static unsigned int Identify(IO::Location const & location, TypeID * list, unsigned int size,
                                 GroupID group, void ** infos);
    unsigned int IdentifyOwn(IO::Location const & location, TypeID * list, unsigned int size,
                             GroupID group, void ** infos) const;
    /// Whether the file may be of this type, or of one in this group: false if the name, the type
    /// code or a content test indicates only other types.
    static bool Match(IO::Location const & location, GeneralID id, GroupID group);
    bool MatchOwn(IO::Location const & location, GeneralID id, GroupID group) const;
    /// Whether there is evidence for this type, or one in this group, and none for another. A
    /// content test that passes for another type counts only if it runs first.
    static bool ExactMatch(IO::Location const & location, GeneralID id, GroupID group);
    bool ExactMatchOwn(IO::Location const & location, GeneralID id, GroupID group) const;

private:
    friend class Identification;
    friend class ContentRuleSlots;
    friend class BulkAdding;
    friend struct FileTypeStart;
    friend struct TablePeek; // for tests

    struct TypeRecord;
    struct GroupRecord;
    struct ExtensionIndexRecord;
    struct MimeIndexRecord;
    struct TypeGroupLink;
    class PatternSearch;

    static unsigned int ConvertExtension(char * extension, bool * isLong);
    static unsigned int HashKey(std::string_view text);
    // Lower bounds; -1 past the end.
    static int SearchForExtension(unsigned int key, unsigned int macType);
    static int SearchForTypeGroup(TypeID type, GroupID group);
    static int SearchForMimeIndex(unsigned int hash);
    // The record itself; -1 if there is none.
    static int SearchForTypeRec(TypeID type);
    static int SearchForGroupRec(GroupID group);

    static void ListNames(FileType const & type, unsigned int dataIndex,
                          Mu::ArrayBase<MimeIndexRecord> & rows);
    TypeID StoreType(FileType const & type, Mu::ArrayBase<MimeIndexRecord> const & names,
                     GroupID group);
    static void InsertExtension(ExtensionIndexRecord const & row);
    static void InsertMime(MimeIndexRecord const & row);
    static void InsertLink(TypeID type, GroupID group);
    static void RemoveMime(int dataIndex, bool isType, bool closeGap);
    static void RemoveDataRecord(int dataIndex);
    static void FreeEmptyTables();

    static bool IsKnown(GroupID group);
    static int FindLink(TypeID type, GroupID group);
    static bool HasLink(TypeID type);
    static GroupID GetGroupAt(int groupIndex);
    template <typename Visit>
    static void ScanKey(unsigned int key, unsigned int macType, bool isExact, Visit const & visit);
    template <typename Visit>
    static void VisitMime(char const * mime, unsigned int hash, Visit const & visit);
    static bool HasMime(char const * mime, unsigned int hash);
    template <typename Visit>
    static int VisitAllTypes(GroupID group, Visit const & visit);
    MuErrCode CheckOwner(TypeID type, int * dataIndex) const;
    MuErrCode CheckOwner(GroupID group, int * groupIndex) const;
    static bool IsFirstWith(char const * extension, int dataIndex, GroupID group);

    // Tables without records have no block.
    static Mu::Array<TypeRecord> & hTypeDataArray;                 // ascending by identifier
    static Mu::Array<GroupRecord> & hGroupDataArray;               // ascending by identifier
    static Mu::Array<ExtensionIndexRecord> & hExtensionIndexArray; // by key, then by type code
    static Mu::Array<MimeIndexRecord> & hMimeIndexArray;           // by hash
    static Mu::Array<TypeGroupLink> & hTypeGroupArray;             // by type, then by group
    static Mu::ReentrantLock & lock; // on all of this and on the counters of the identifiers

    InlineText<64> id;
};

} // namespace FTM
