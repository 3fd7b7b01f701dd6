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

/// A part of a program that adds file types and groups of them to the one catalogue of the process,
/// and the way to all that is in it.
///
/// An object is an owner, not a container: it may change and remove what it added, and when it ends,
/// that goes with it. Reading sees the types of all managers. Operations whose names end in Own
/// prefer those of the manager they are called on. So separate parts of a program extend one
/// catalogue without knowing each other:
///
///     FTM::FileTypeManager manager("drawings");
///     FTM::TypeID drawing = manager.AddType(type, FTM::DocumentGroup);
///     ...
///     if (FTM::FileTypeManager::Identify(location, FTM::RootGroup, nullptr) == drawing)
///
/// A type is in any number of groups, a group in one other or in RootGroup.
///
/// Memory:  the tables and the records of the process, as long as they hold something.
/// Threads: any. One lock for the process is held through each operation, also while a file is read
///          and content tests run; a slow file system blocks the others. A content test may call
///          everything here, on its own thread.
/// Failure: what adds returns UnknownType or UnknownGroup, what changes a status, what searches 0, an
///          unknown identifier or a negative result. Nothing throws but content tests, whose
///          exceptions come through, and nothing is logged but by the files that are read.
class KESTREL_API FileTypeManager : public Mu::Allocated {
public:
    /// `id` names the manager to SearchForMime and ReadID, in other processes too. Copied; one of
    /// more than 63 bytes is empty when memory is short.
    explicit FileTypeManager(char const * id);
    /// Removes what this manager added.
    ~FileTypeManager();
    FileTypeManager(FileTypeManager const &) = delete;
    FileTypeManager & operator=(FileTypeManager const &) = delete;

    /// Adds a copy of the type to the catalogue and to the group. UnknownType: the group is not
    /// known, a type or group has one of the MIME names already, memory is short, or there is no
    /// identifier left; nothing is added then.
    TypeID AddType(FileType const & type, GroupID group);
    /// `mime` may be null. UnknownGroup as for AddType. Names may repeat.
    GroupID AddGroup(char const * name, GroupID parent, char const * mime);
    /// Types and groups of other managers may be put together, too. A type that is in the group
    /// already, directly or through a child, is no failure and stays where it is; nor is RootGroup,
    /// which holds all types. ErrTypeNotFound, ErrGroupNotFound, ErrMemoryFull.
    MuErrCode AddTypeToGroup(TypeID type, GroupID group);
    /// ErrTypeNotFound, ErrGroupNotFound: the type is not directly in the group. ErrTypeNotFound is
    /// also the result for a group behind all those that the type is in.
    MuErrCode RemoveTypeFromGroup(TypeID type, GroupID group);
    /// ErrTypeNotFound, or ErrForeignRecord: another manager added it.
    MuErrCode RemoveType(TypeID type);
    /// Its groups and types go to its parent; types of a group in RootGroup are in no group then.
    /// ErrGroupNotFound, ErrForeignRecord.
    MuErrCode RemoveGroup(GroupID group);
    /// ErrGroupNotFound, ErrForeignRecord, ErrMemoryFull.
    MuErrCode RenameGroup(GroupID group, char const * name);
    /// Puts `type` in the place of a type's contents; identifier, groups and owner stay.
    /// ErrTypeNotFound, ErrForeignRecord, ErrMemoryFull; Error: a new MIME name is taken. Nothing is
    /// changed after a failure.
    MuErrCode ReinsertType(TypeID id, FileType const & type);
    /// Whether a type or group of any manager has this name.
    bool CheckMimeExists(char const * mime);
    /// The first type or group of this manager with this name; UnknownType when there is none.
    GeneralID SearchForMime(char const * mime) const;

    char const * GetId() const { return id.Get(); }

    // Reading.

    /// Copies the type out; a null `type` only asks whether there is one. ErrTypeNotFound,
    /// ErrMemoryFull.
    static MuErrCode GetType(TypeID id, FileType * type);
    /// Null for an unknown identifier.
    static FileTypeManager * GetManager(GeneralID id);
    /// Owned by the manager. Null for an unknown identifier.
    static char const * GetManagerId(GeneralID id);
    /// The hidden flag of the stored type, which any part of the program may set: not to be offered to
    /// people. False: an unknown type.
    static bool SetModeFileType(TypeID type, bool hidden);
    static bool IsHideFileType(TypeID type);

    /// Directly or through parents.
    static bool IsTypeInGroup(TypeID type, GroupID group);
    /// Directly or through parents; no group is in itself.
    static bool IsGroupInGroup(GroupID child, GroupID parent);

    // Walking upwards. UnknownGroup: at the end, and for what is not known. RootGroup is the parent
    // of a group at the top, and the only one of a type that is in no group.
    static GroupID GetParent(GroupID group);
    static GroupID GetFirstParent(TypeID type);
    static GroupID GetNextParent(TypeID type, GroupID group);
    // Walking downwards, one level, in the order of adding. The types of RootGroup are those that are
    // in no group.
    static GroupID GetFirstGroupChild(GroupID group);
    static GroupID GetNextGroup(GroupID group);
    static TypeID GetFirstTypeChild(GroupID group);
    static TypeID GetNextType(GroupID group, TypeID type);

    // What these walks find, counted. ErrGroupNotFound or ErrTypeNotFound, which are negative.
    static int CountGroupChild(GroupID group);
    static int CountTypeChild(GroupID group);
    static int CountParent(TypeID type);
    /// The groups and types at any depth, each once.
    static int CountAllChild(GroupID group);
    /// The types at any depth, each once.
    static int CountAllTypeChild(GroupID group);
    /// Stores as many of them as the list has room for, fills it up with UnknownType, and returns
    /// what CountAllTypeChild does. A null list is one without room.
    static int GetAllTypeChildList(GroupID group, TypeID * list, int size);

    // These copy a text out, cut to `size` bytes with its zero byte, and return its whole length. A
    // null `text` only asks for that. Of an unknown group, and of RootGroup, the text is empty.
    static unsigned int GetGroupName(GroupID group, char * text, unsigned int size);
    static unsigned int GetGroupMime(GroupID group, char * text, unsigned int size);
    /// All extensions at any depth, once each, joined by ";"; those of all types for RootGroup.
    static unsigned int GetGroupExtensionList(GroupID group, char * text, unsigned int size);

    /// The first type in `scope` that has all that is set in the pattern: every extension, with the
    /// first type code; then the first MIME name, creator, icon (set when neither 0 nor -1), content
    /// test and description. In the order of adding.
    static TypeID SearchForType(FileType const & pattern, GroupID scope);
    /// All of them: stores as many as the list has room for, fills it up with UnknownType, and returns
    /// how many there are. An empty pattern in RootGroup finds none.
    static unsigned int SearchForType(TypeID * list, unsigned int size, FileType const & pattern,
                                      GroupID scope);
    /// The groups with exactly this name in `scope`, likewise.
    static GroupID SearchForGroup(char const * name, GroupID scope);
    static unsigned int SearchForGroup(GroupID * list, unsigned int size, char const * name,
                                       GroupID scope);
    /// The type or group with this MIME name. With a null `managerId` an ambiguous name is
    /// UnknownType; otherwise the first one of a manager with this id.
    static GeneralID SearchForMime(char const * mime, char const * managerId);
    static bool IsMimeRegistered(char const * mime, char const * managerId);

    // An identifier in a file, by its MIME name, so that it may be another number in the next process.

    /// What SearchForMime finds for the name that is read. UnknownType: a failed read, another form,
    /// a name of more than 255 bytes, none, or one that is not known.
    static GeneralID ReadID(Mu::IChannel & channel, char const * managerId);
    /// Error, and nothing is written: there is no such type or group, or it has no name of at most
    /// 255 bytes. UnknownType is written as such. Otherwise the status of the channel.
    static MuErrCode WriteID(GeneralID id, Mu::OChannel & channel);

    /// A diagnostic that this build does not have: null.
    static char const * Dump(GroupID group, int depth);

    // What a file is. Judged by the extension of its name, then by the type code that is kept with it,
    // then by the content tests of the types that are left, and each stage only when the one before
    // left a doubt; so most files are not opened. `group` narrows all that to the types in it.
    //
    // Every failure of a file is the negative result: UnknownType, 0 or false. So is a shortage of
    // memory. A name that begins with "._" is never identified, nor one without extension and type
    // code.

    /// The type, or the group with the fewest types that holds all that the file may be: ask
    /// IsGroup(). `info` goes to the content tests; with one, a type that is known by name is asked
    /// too, to fill it, and a file that cannot be opened is UnknownType.
    static GeneralID Identify(IO::Location const & location, GroupID group, void * info);
    GeneralID IdentifyOwn(IO::Location const & location, GroupID group, void * info) const;
    /// As Identify, and the observer hears of the evidence. It is called under the lock, and must not
    /// change the catalogue.
    static GeneralID Identify(IO::Location const & location, GroupID group, void * info,
                              IdentificationObserver & observer);
    /// All types that the file may be: stores as many as the list has room for, fills it up with
    /// UnknownType, and returns how many there are. A type can be there twice. `infos` may be null;
    /// its first pointer goes to the content tests.
    static unsigned int Identify(IO::Location const & location, TypeID * list, unsigned int size,
                                 GroupID group, void ** infos);
    unsigned int IdentifyOwn(IO::Location const & location, TypeID * list, unsigned int size,
                             GroupID group, void ** infos) const;
    /// Whether the file may be of this type, or of one in this group: not when its name, its type code
    /// or a content test speaks for another type only.
    static bool Match(IO::Location const & location, GeneralID id, GroupID group);
    bool MatchOwn(IO::Location const & location, GeneralID id, GroupID group) const;
    /// Whether something speaks for this type, or one in this group, and nothing for another. A
    /// content test that speaks for another type counts only when it is asked first.
    static bool ExactMatch(IO::Location const & location, GeneralID id, GroupID group);
    bool ExactMatchOwn(IO::Location const & location, GeneralID id, GroupID group) const;

private:
    friend class Identification;
    friend class ContentRuleSlots;
    friend class BulkAdding;
    friend struct FileTypeStart;
    friend struct TablePeek; // of the tests

    struct TypeRecord;
    struct GroupRecord;
    struct ExtensionIndexRecord;
    struct MimeIndexRecord;
    struct TypeGroupLink;
    class PatternSearch;

    static unsigned int ConvertExtension(char * extension, bool * isLong);
    static unsigned int HashKey(std::string_view text);
    // Lower bounds; -1 behind the end.
    static int SearchForExtension(unsigned int key, unsigned int macType);
    static int SearchForTypeGroup(TypeID type, GroupID group);
    static int SearchForMimeIndex(unsigned int hash);
    // The record itself; -1 when there is none.
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

    // Each table is empty, without a block, while it has no records.
    static Mu::Array<TypeRecord> & hTypeDataArray;                 // ascending by identifier
    static Mu::Array<GroupRecord> & hGroupDataArray;               // ascending by identifier
    static Mu::Array<ExtensionIndexRecord> & hExtensionIndexArray; // by key, then by type code
    static Mu::Array<MimeIndexRecord> & hMimeIndexArray;           // by hash
    static Mu::Array<TypeGroupLink> & hTypeGroupArray;             // by type, then by group
    static Mu::ReentrantLock & lock; // on all of this and on the counters of the identifiers

    InlineText<64> id;
};

} // namespace FTM
