// The operations that change types, groups and links, and the indices of these.

#include <Kestrel/FileType/FileTypeManager.h>

#include <Kestrel/FileType/Internal/BulkAdding.h>
#include <Kestrel/FileType/Internal/ContentRuleSlots.h>
#include <Kestrel/FileType/Internal/ExtensionKey.h>
#include <Kestrel/FileType/Internal/IdentifierCounters.h>
#include <Kestrel/FileType/Internal/Tables.h>

#include <algorithm>
#include <span>
#include <utility>

namespace FTM {

namespace {

using Guard = Mu::LockGuard<Mu::ReentrantLock>;

// Branchless, since no processor could predict the branches.
template <typename Row, typename Less>
int LowerBound(std::span<Row const> table, Less const & isBefore) {
    Row const * found = table.data();
    for (std::size_t left = table.size(); left > 0;) {
        std::size_t const half = (left + 1) / 2;
        found += isBefore(found[half - 1]) ? half : 0;
        left -= half;
    }
    auto const index = static_cast<std::size_t>(found - table.data());
    return index == table.size() ? -1 : static_cast<int>(index);
}

template <typename Row, typename Less>
int LowerBound(Mu::Array<Row> const & table, Less const & isBefore) {
    return LowerBound(std::span<Row const>(table), isBefore);
}

unsigned int GetRaw(GeneralID id) {
    unsigned int raw;
    id.Store(raw);
    return raw;
}

/// The index of the record with this identifier; -1 if there is none. Most are where they would be
/// if none had ever been removed.
template <typename Record, typename Id>
int FindRecord(Mu::Array<Record> const & table, Id id) {
    if (table.IsEmpty())
        return -1;
    unsigned int const guess = std::min(GetRaw(id) - GetRaw(table[0].id), table.GetSize() - 1);
    if (table[guess].id == id)
        return static_cast<int>(guess);
    int const index = LowerBound(table, [&](Record const & record) { return record.id < id; });
    return index >= 0 && table[static_cast<unsigned int>(index)].id == id ? index : -1;
}

/// Inserts the row at the lower bound, before equal ones. There is room.
template <typename Row>
void InsertAt(Mu::Array<Row> & table, int lowerBound, Row row) {
    table.Insert(lowerBound < 0 ? table.GetSize() : static_cast<unsigned int>(lowerBound),
                 std::move(row));
}

template <typename Row, typename IsGone>
void RemoveRows(Mu::Array<Row> & table, IsGone const & isGone) {
    Row * const end = std::remove_if(table.begin(), table.end(), isGone);
    table.Truncate(static_cast<unsigned int>(end - table.begin()));
}

} // namespace

FileTypeManager::FileTypeManager(char const * managerId) {
    static_cast<void>(id.Set(managerId)); // empty then, as the header states
}

FileTypeManager::~FileTypeManager() {
    Guard guard(lock);
    for (unsigned int i = hTypeDataArray.GetSize(); i-- > 0;)
        if (hTypeDataArray[i].manager == this)
            RemoveType(hTypeDataArray[i].id);
    for (unsigned int i = hGroupDataArray.GetSize(); i-- > 0;)
        if (hGroupDataArray[i].manager == this)
            RemoveGroup(hGroupDataArray[i].id);
}

// The keys and the searches.

unsigned int FileTypeManager::ConvertExtension(char * extension, bool * isLong) {
    *isLong = false;
    if (extension == nullptr)
        return 0;
    LowerCase(extension);
    return MakeExtensionKey(extension, isLong);
}

unsigned int FileTypeManager::HashKey(std::string_view text) {
    auto const at = [&](unsigned int i) {
        return static_cast<unsigned int>(static_cast<signed char>(text[i]));
    };
    unsigned int hash = 0;
    // Four at a time, so that the multiplications do not wait for each other at each byte.
    for (; text.size() >= 4; text.remove_prefix(4))
        hash = hash * (33 * 33 * 33 * 33) +
               (at(0) * (33 * 33 * 33) + at(1) * (33 * 33) + at(2) * 33 + at(3));
    for (; !text.empty(); text.remove_prefix(1))
        hash = hash * 33 + at(0);
    return hash;
}

int FileTypeManager::SearchForExtension(unsigned int key, unsigned int macType) {
    auto const join = [](unsigned int high, unsigned int low) {
        return static_cast<unsigned long long>(high) << 32 | low;
    };
    return LowerBound(hExtensionIndexArray, [&](ExtensionIndexRecord const & row) {
        return join(row.extensionKey, row.macType) < join(key, macType);
    });
}

int FileTypeManager::SearchForTypeGroup(TypeID type, GroupID group) {
    // Those of the newest type are at the end, and are needed while it is added.
    if (hTypeGroupArray.IsEmpty() || hTypeGroupArray.GetLast().type < type)
        return -1;
    return LowerBound(hTypeGroupArray, [&](TypeGroupLink const & link) {
        if (link.type != type || group == UnknownGroup)
            return link.type < type;
        return link.group < group;
    });
}

int FileTypeManager::SearchForMimeIndex(unsigned int hash) {
    std::span<MimeIndexRecord const> const rows = hMimeIndexArray;
    return LowerBound(rows.first(BulkAdding::CountSortedNames(hMimeIndexArray.GetSize())),
                      [&](MimeIndexRecord const & row) { return row.hash < hash; });
}

int FileTypeManager::SearchForTypeRec(TypeID type) {
    return FindRecord(hTypeDataArray, type);
}

int FileTypeManager::SearchForGroupRec(GroupID group) {
    return FindRecord(hGroupDataArray, group);
}

bool FileTypeManager::IsKnown(GroupID group) {
    return group == RootGroup || SearchForGroupRec(group) >= 0;
}

// Searches all links of the type: those that a removed group passed to its parent keep their
// places, so that a search by group could miss them.
int FileTypeManager::FindLink(TypeID type, GroupID group) {
    int const first = SearchForTypeGroup(type, UnknownGroup);
    for (unsigned int i = static_cast<unsigned int>(first);
         first >= 0 && i < hTypeGroupArray.GetSize() && hTypeGroupArray[i].type == type; ++i)
        if (hTypeGroupArray[i].group == group)
            return static_cast<int>(i);
    return -1;
}

MuErrCode FileTypeManager::CheckOwner(TypeID type, int * dataIndex) const {
    *dataIndex = SearchForTypeRec(type);
    if (*dataIndex < 0)
        return IO::ErrTypeNotFound;
    bool const isMine = hTypeDataArray[static_cast<unsigned int>(*dataIndex)].manager == this;
    return isMine ? Mu::NoError : IO::ErrForeignRecord;
}

MuErrCode FileTypeManager::CheckOwner(GroupID group, int * groupIndex) const {
    *groupIndex = SearchForGroupRec(group);
    if (*groupIndex < 0)
        return IO::ErrGroupNotFound;
    bool const isMine = hGroupDataArray[static_cast<unsigned int>(*groupIndex)].manager == this;
    return isMine ? Mu::NoError : IO::ErrForeignRecord;
}

// Calls `visit` with the identifier and the manager of each type or group that has the MIME name,
// until it returns false. Under the file type lock.
template <typename Visit>
void FileTypeManager::VisitMime(char const * mime, unsigned int hash, Visit const & visit) {
    int const first = SearchForMimeIndex(hash);
    for (unsigned int i = static_cast<unsigned int>(first);
         first >= 0 && i < hMimeIndexArray.GetSize() && hMimeIndexArray[i].hash == hash; ++i) {
        MimeIndexRecord const & row = hMimeIndexArray[i];
        bool goOn = true;
        if (row.isType) {
            TypeRecord const & record = hTypeDataArray[row.dataIndex];
            if (record.type.IsMimeIncluded(mime))
                goOn = visit(record.id, record.manager);
        } else {
            GroupRecord const & record = hGroupDataArray[row.dataIndex];
            if (std::strcmp(record.mime.Get(), mime) == 0)
                goOn = visit(record.id, record.manager);
        }
        if (!goOn)
            return;
    }
}

// The rows of the indices.

void FileTypeManager::InsertExtension(ExtensionIndexRecord const & row) {
    InsertAt(hExtensionIndexArray,
             BulkAdding::IsOn() ? -1 : SearchForExtension(row.extensionKey, row.macType), row);
}

void FileTypeManager::InsertMime(MimeIndexRecord const & row) {
    InsertAt(hMimeIndexArray, BulkAdding::IsOn() ? -1 : SearchForMimeIndex(row.hash), row);
}

void FileTypeManager::InsertLink(TypeID type, GroupID group) {
    InsertAt(hTypeGroupArray, SearchForTypeGroup(type, group), TypeGroupLink{type, group});
}

void FileTypeManager::RemoveMime(int dataIndex, bool isType, bool closeGap) {
    auto const index = static_cast<unsigned int>(dataIndex);
    RemoveRows(hMimeIndexArray, [&](MimeIndexRecord const & row) {
        return row.isType == isType && row.dataIndex == index;
    });
    for (MimeIndexRecord & row : hMimeIndexArray)
        if (closeGap && row.isType == isType && row.dataIndex > index)
            --row.dataIndex;
}

void FileTypeManager::RemoveDataRecord(int dataIndex) {
    RemoveRows(hExtensionIndexArray,
               [&](ExtensionIndexRecord const & row) { return row.dataIndex == dataIndex; });
    for (ExtensionIndexRecord & row : hExtensionIndexArray)
        if (row.dataIndex > dataIndex)
            --row.dataIndex;
    RemoveMime(dataIndex, true, true);
    ContentTest * const test =
        hTypeDataArray[static_cast<unsigned int>(dataIndex)].type.GetTypeCallback();
    hTypeDataArray.Delete(static_cast<unsigned int>(dataIndex));
    ContentRuleSlots::Drop(test);
    if (hTypeDataArray.IsEmpty())
        IdentifierCounters::ResetTypes();
    else
        IdentifierCounters::SetNext(hTypeDataArray.GetLast().id);
}

void FileTypeManager::FreeEmptyTables() {
    if (BulkAdding::IsOn())
        return; // they have room for the next rows
    auto const free = [](auto & table) {
        if (table.IsEmpty())
            table.Clear();
    };
    free(hTypeDataArray);
    free(hGroupDataArray);
    free(hExtensionIndexArray);
    free(hMimeIndexArray);
    free(hTypeGroupArray);
}

namespace {

/// The rows that ExtIndexCount counts: one for each pair of an extension and a type code, or for
/// the extension alone, and one for each type code alone. Lower-cases the extensions. Throws
/// Mu::OutOfMemoryException.
template <typename Row>
void ListRows(FileType const & type, int dataIndex, Mu::ArrayBase<Row> & rows) {
    Mu::ArrayFB<unsigned int, 16> keys;
    Mu::ArrayFB<bool, 16> isLong;
    auto const extensions = static_cast<unsigned int>(type.CountExtensions());
    auto const codes = static_cast<unsigned int>(type.CountMacTypes());
    keys.SetSize(extensions);
    isLong.SetSize(extensions);
    type.GetExtensionIDs(keys.GetData(), isLong.GetData());
    for (unsigned int i = 0; i < extensions; ++i)
        for (unsigned int code = 0; code < std::max(codes, 1u); ++code)
            rows.Push(Row{dataIndex, keys[i], isLong[i], type.GetMacType(code)});
    for (unsigned int code = 0; code < codes; ++code)
        rows.Push(Row{dataIndex, 0, false, type.GetMacType(code)});
}

} // namespace

// A row for each MIME name. Throws Mu::OutOfMemoryException.
void FileTypeManager::ListNames(FileType const & type, unsigned int dataIndex,
                                Mu::ArrayBase<MimeIndexRecord> & rows) {
    for (unsigned int i = 0; char const * const name = type.GetMime(i); ++i)
        rows.Push(MimeIndexRecord{dataIndex, HashKey(name), true});
}

TypeID FileTypeManager::AddType(FileType const & type, GroupID group) {
    Guard guard(lock);
    if (Mu::IsNull(type) || !IsKnown(group))
        return UnknownType;
    Mu::ArrayFB<MimeIndexRecord, 16> names;
    try {
        ListNames(type, hTypeDataArray.GetSize(), names);
    } catch (Mu::OutOfMemoryException const &) {
        return UnknownType;
    }
    // Kept: names are not looked up while there is no type at all, so the first type may have the
    // name of a group.
    for (unsigned int i = 0; i < names.GetSize() && !hTypeDataArray.IsEmpty(); ++i)
        if (HasMime(type.GetMime(i), names[i].hash))
            return UnknownType;
    TypeID const id = MakeRoom(hTypeDataArray, 1) ? StoreType(type, names, group) : UnknownType;
    FreeEmptyTables();
    return id;
}

TypeID FileTypeManager::StoreType(FileType const & type,
                                  Mu::ArrayBase<MimeIndexRecord> const & names, GroupID group) {
    TypeRecord & record = hTypeDataArray.Emplace();
    record.manager = this;
    Mu::ArrayFB<ExtensionIndexRecord, 16> rows;
    bool hasRoom = record.type.Copy(type) == 0;
    try {
        ListRows(record.type, static_cast<int>(hTypeDataArray.GetSize()) - 1, rows);
    } catch (Mu::OutOfMemoryException const &) {
        hasRoom = false;
    }
    if (hasRoom && MakeRoom(hExtensionIndexArray, rows.GetSize()) &&
        MakeRoom(hMimeIndexArray, names.GetSize()) && MakeRoom(hTypeGroupArray, 1))
        record.id = TypeID::NextID();
    if (record.id == UnknownType) {
        hTypeDataArray.DeleteLast();
        return UnknownType;
    }

    ContentRuleSlots::Use(record.type.GetTypeCallback());
    for (ExtensionIndexRecord const & row : rows)
        InsertExtension(row);
    for (MimeIndexRecord const & row : names)
        InsertMime(row);
    if (group != RootGroup)
        hTypeGroupArray.Push({record.id, group}); // no link belongs to a newer type
    return record.id;
}

GroupID FileTypeManager::AddGroup(char const * name, GroupID parent, char const * mime) {
    Guard guard(lock);
    if (!IsKnown(parent))
        return UnknownGroup;
    bool const hasMime = mime != nullptr && *mime != 0;
    if (hasMime && !hGroupDataArray.IsEmpty() && CheckMimeExists(mime))
        return UnknownGroup;

    GroupRecord record{SearchForGroupRec(parent), {}, this, UnknownGroup, {}}; // -1 for RootGroup
    if (record.name.Set(name) && record.mime.Set(mime) && MakeRoom(hGroupDataArray, 1) &&
        MakeRoom(hMimeIndexArray, hasMime ? 1 : 0))
        record.id = GroupID::NextID();
    GroupID const id = record.id;
    if (id != UnknownGroup) {
        unsigned int const dataIndex = hGroupDataArray.GetSize();
        hGroupDataArray.Push(std::move(record));
        if (hasMime)
            InsertMime({dataIndex, HashKey(mime), false});
    }
    FreeEmptyTables();
    return id;
}

MuErrCode FileTypeManager::AddTypeToGroup(TypeID type, GroupID group) {
    Guard guard(lock);
    if (SearchForTypeRec(type) < 0)
        return IO::ErrTypeNotFound;
    if (group == RootGroup)
        return Mu::NoError;
    if (!IsKnown(group))
        return IO::ErrGroupNotFound;
    if (IsTypeInGroup(type, group))
        return Mu::NoError;
    if (!MakeRoom(hTypeGroupArray, 1))
        return Mu::ErrMemoryFull;
    InsertLink(type, group);
    return Mu::NoError;
}

MuErrCode FileTypeManager::RemoveTypeFromGroup(TypeID type, GroupID group) {
    Guard guard(lock);
    if (int const link = FindLink(type, group); link >= 0) {
        hTypeGroupArray.Delete(static_cast<unsigned int>(link));
        FreeEmptyTables();
        return Mu::NoError;
    }
    // Kept: the row at the place of the link decides, so a type that only has links to groups
    // before this one counts as not found.
    int const row = SearchForTypeGroup(type, group);
    bool const isRowOfType =
        row >= 0 && hTypeGroupArray[static_cast<unsigned int>(row)].type == type;
    return isRowOfType ? IO::ErrGroupNotFound : IO::ErrTypeNotFound;
}

MuErrCode FileTypeManager::RemoveType(TypeID type) {
    Guard guard(lock);
    int dataIndex;
    if (MuErrCode const status = CheckOwner(type, &dataIndex); status != Mu::NoError)
        return status;
    RemoveDataRecord(dataIndex);
    RemoveRows(hTypeGroupArray, [&](TypeGroupLink const & link) { return link.type == type; });
    FreeEmptyTables();
    return Mu::NoError;
}

MuErrCode FileTypeManager::RemoveGroup(GroupID group) {
    Guard guard(lock);
    int index;
    if (MuErrCode const status = CheckOwner(group, &index); status != Mu::NoError)
        return status;
    RemoveMime(index, false, true);
    int const parentIndex = hGroupDataArray[static_cast<unsigned int>(index)].parentIndex;
    GroupID const parent = GetGroupAt(parentIndex);
    for (GroupRecord & record : hGroupDataArray) {
        if (record.parentIndex == index)
            record.parentIndex = parentIndex;
        if (record.parentIndex > index)
            --record.parentIndex;
    }
    hGroupDataArray.Delete(static_cast<unsigned int>(index));
    if (hGroupDataArray.IsEmpty())
        IdentifierCounters::ResetGroups();
    else
        IdentifierCounters::SetNext(hGroupDataArray.GetLast().id);
    if (parent == RootGroup)
        RemoveRows(hTypeGroupArray,
                   [&](TypeGroupLink const & link) { return link.group == group; });
    // Kept: the links keep their places, so those of a type may be out of order by group from now
    // on, and two of them may be equal.
    for (TypeGroupLink & link : hTypeGroupArray)
        if (link.group == group)
            link.group = parent;
    FreeEmptyTables();
    return Mu::NoError;
}

MuErrCode FileTypeManager::RenameGroup(GroupID group, char const * name) {
    Guard guard(lock);
    int index;
    if (MuErrCode const status = CheckOwner(group, &index); status != Mu::NoError)
        return status;
    GroupRecord & record = hGroupDataArray[static_cast<unsigned int>(index)];
    return record.name.Set(name) ? Mu::NoError : Mu::ErrMemoryFull;
}

namespace {

/// Removes from `wanted` what is already in the table, and from the table the rows that are not
/// wanted; so equal rows keep their places.
template <typename Row, typename IsOfRecord>
void ReduceRows(Mu::Array<Row> & table, Mu::ArrayBase<Row> & wanted,
                IsOfRecord const & isOfRecord) {
    RemoveRows(table, [&](Row const & row) {
        if (!isOfRecord(row))
            return false;
        unsigned int const found = wanted.FindFirst(row);
        if (found == Mu::NotFound)
            return true;
        wanted.Delete(found);
        return false;
    });
}

} // namespace

MuErrCode FileTypeManager::ReinsertType(TypeID typeId, FileType const & type) {
    Guard guard(lock);
    int dataIndex;
    if (MuErrCode const status = CheckOwner(typeId, &dataIndex); status != Mu::NoError)
        return status;
    if (Mu::IsNull(type))
        return Mu::Error;
    auto const index = static_cast<unsigned int>(dataIndex);

    FileType contents;
    FileType added;
    if (contents.Copy(type) != 0 || added.Copy(type) != 0)
        return Mu::ErrMemoryFull;
    added.Subtract(hTypeDataArray[index].type);
    for (unsigned int i = 0; char const * const mime = added.GetMime(i); ++i)
        if (CheckMimeExists(mime))
            return Mu::Error;

    Mu::ArrayFB<ExtensionIndexRecord, 16> rows;
    Mu::ArrayFB<MimeIndexRecord, 16> mimes;
    bool hasRoom = true;
    try {
        ListRows(contents, dataIndex, rows);
        ListNames(contents, index, mimes);
    } catch (Mu::OutOfMemoryException const &) {
        hasRoom = false;
    }
    if (!hasRoom || !MakeRoom(hExtensionIndexArray, rows.GetSize()) ||
        !MakeRoom(hMimeIndexArray, mimes.GetSize())) {
        FreeEmptyTables();
        return Mu::ErrMemoryFull;
    }

    ReduceRows(hExtensionIndexArray, rows,
               [&](ExtensionIndexRecord const & row) { return row.dataIndex == dataIndex; });
    for (ExtensionIndexRecord const & row : rows)
        InsertExtension(row);
    ReduceRows(hMimeIndexArray, mimes,
               [&](MimeIndexRecord const & row) { return row.isType && row.dataIndex == index; });
    for (MimeIndexRecord const & row : mimes)
        InsertMime(row);
    ContentRuleSlots::Use(contents.GetTypeCallback());
    ContentRuleSlots::Drop(hTypeDataArray[index].type.GetTypeCallback());
    hTypeDataArray[index].type = std::move(contents);
    FreeEmptyTables();
    return Mu::NoError;
}

bool FileTypeManager::SetModeFileType(TypeID type, bool hidden) {
    Guard guard(lock);
    int const index = SearchForTypeRec(type);
    if (index >= 0)
        hTypeDataArray[static_cast<unsigned int>(index)].type.SetMode(hidden);
    return index >= 0;
}

// MIME names.

bool FileTypeManager::HasMime(char const * mime, unsigned int hash) {
    bool exists = false;
    VisitMime(mime, hash, [&](GeneralID, FileTypeManager const *) {
        exists = true;
        return false;
    });
    return exists;
}

bool FileTypeManager::CheckMimeExists(char const * mime) {
    Guard guard(lock);
    return mime != nullptr && *mime != 0 && HasMime(mime, HashKey(mime));
}

GeneralID FileTypeManager::SearchForMime(char const * mime) const {
    Guard guard(lock);
    GeneralID result = UnknownType;
    if (mime == nullptr || *mime == 0)
        return UnknownType;
    VisitMime(mime, HashKey(mime), [&](GeneralID found, FileTypeManager const * manager) {
        if (manager == this)
            result = found;
        return manager != this;
    });
    return result;
}

GeneralID FileTypeManager::SearchForMime(char const * mime, char const * managerId) {
    Guard guard(lock);
    GeneralID result = UnknownType;
    if (mime == nullptr || *mime == 0)
        return UnknownType;
    VisitMime(mime, HashKey(mime), [&](GeneralID found, FileTypeManager const * manager) {
        if (managerId != nullptr && std::strcmp(manager->GetId(), managerId) != 0)
            return true;
        if (managerId == nullptr && result != UnknownType && result != found) {
            result = UnknownType;
            return false;
        }
        result = found;
        return managerId == nullptr;
    });
    return result;
}

bool FileTypeManager::IsMimeRegistered(char const * mime, char const * managerId) {
    return SearchForMime(mime, managerId) != UnknownType;
}

} // namespace FTM
