// The queries of the catalogue: records, walks, counts, searches, identifiers in files.

#include <Kestrel/FileType/FileTypeManager.h>

#include <Kestrel/FileType/Internal/ExtensionKey.h>
#include <Kestrel/FileType/Internal/Tables.h>
#include <Kestrel/Root/Objects/ClassInfo.h>
#include <Kestrel/Root/Streams/IChannel.h>
#include <Kestrel/Root/Streams/OChannel.h>

#include <algorithm>
#include <optional>

namespace FTM {

namespace {

using Guard = Mu::LockGuard<Mu::ReentrantLock>;

// Bytes of the longest name by which an identifier is written.
constexpr unsigned int MostNameBytes = 255;

/// Appends pieces to a text whose buffer may be too small, and counts all of it.
class CutText {
public:
    CutText(char * text, unsigned int size) : text(text), size(text == nullptr ? 0 : size) {
        if (this->size > 0)
            *text = 0;
    }
    void Append(char const * piece) {
        for (; *piece != 0; ++piece, ++length)
            if (length + 1 < size) {
                text[length] = *piece;
                text[length + 1] = 0;
            }
    }
    unsigned int GetLength() const { return length; }

private:
    char * text;
    unsigned int size;
    unsigned int length = 0;
};

/// Stores results while there is room, counts all of them, and fills the rest of the list.
template <typename Id>
class FoundList {
public:
    FoundList(Id * list, unsigned int size) : list(list), size(list == nullptr ? 0 : size) {
        std::fill_n(list, this->size, Id());
    }
    void Add(Id id) {
        if (count < size)
            list[count] = id;
        ++count;
    }
    unsigned int GetCount() const { return count; }

private:
    Id * list;
    unsigned int size;
    unsigned int count = 0;
};

} // namespace

GroupID FileTypeManager::GetGroupAt(int groupIndex) {
    return groupIndex < 0 ? RootGroup : hGroupDataArray[static_cast<unsigned int>(groupIndex)].id;
}

// Records.

MuErrCode FileTypeManager::GetType(TypeID id, FileType * type) {
    Guard guard(lock);
    int const index = SearchForTypeRec(id);
    if (index < 0)
        return IO::ErrTypeNotFound;
    if (type != nullptr && type->Copy(hTypeDataArray[static_cast<unsigned int>(index)].type) != 0)
        return Mu::ErrMemoryFull;
    return Mu::NoError;
}

FileTypeManager * FileTypeManager::GetManager(GeneralID id) {
    Guard guard(lock);
    int const index = id.IsGroup() ? SearchForGroupRec(id) : SearchForTypeRec(id);
    if (index < 0)
        return nullptr;
    auto const at = static_cast<unsigned int>(index);
    return id.IsGroup() ? hGroupDataArray[at].manager : hTypeDataArray[at].manager;
}

char const * FileTypeManager::GetManagerId(GeneralID id) {
    Guard guard(lock);
    FileTypeManager const * const manager = GetManager(id);
    return manager == nullptr ? nullptr : manager->GetId();
}

bool FileTypeManager::IsHideFileType(TypeID type) {
    Guard guard(lock);
    int const index = SearchForTypeRec(type);
    return index >= 0 && hTypeDataArray[static_cast<unsigned int>(index)].type.GetMode();
}

// Membership.

bool FileTypeManager::IsTypeInGroup(TypeID type, GroupID group) {
    Guard guard(lock);
    if (group == RootGroup)
        return SearchForTypeRec(type) >= 0;
    int const first = SearchForTypeGroup(type, UnknownGroup);
    for (unsigned int i = static_cast<unsigned int>(first);
         first >= 0 && i < hTypeGroupArray.GetSize() && hTypeGroupArray[i].type == type; ++i)
        if (hTypeGroupArray[i].group == group || IsGroupInGroup(hTypeGroupArray[i].group, group))
            return true;
    return false;
}

bool FileTypeManager::IsGroupInGroup(GroupID child, GroupID parent) {
    Guard guard(lock);
    int index = SearchForGroupRec(child);
    if (parent == RootGroup || index < 0)
        return index >= 0;
    while ((index = hGroupDataArray[static_cast<unsigned int>(index)].parentIndex) >= 0)
        if (hGroupDataArray[static_cast<unsigned int>(index)].id == parent)
            return true;
    return false;
}

bool FileTypeManager::HasLink(TypeID type) {
    int const first = SearchForTypeGroup(type, UnknownGroup);
    return first >= 0 && hTypeGroupArray[static_cast<unsigned int>(first)].type == type;
}

// Walks.

GroupID FileTypeManager::GetParent(GroupID group) {
    Guard guard(lock);
    int const index = SearchForGroupRec(group);
    return index < 0 ? UnknownGroup
                     : GetGroupAt(hGroupDataArray[static_cast<unsigned int>(index)].parentIndex);
}

GroupID FileTypeManager::GetFirstParent(TypeID type) {
    Guard guard(lock);
    if (SearchForTypeRec(type) < 0)
        return UnknownGroup;
    if (!HasLink(type))
        return RootGroup;
    return hTypeGroupArray[static_cast<unsigned int>(SearchForTypeGroup(type, UnknownGroup))].group;
}

// A walk skips equal links: from one of them it would return to itself.

GroupID FileTypeManager::GetNextParent(TypeID type, GroupID group) {
    Guard guard(lock);
    int const link = FindLink(type, group);
    for (unsigned int i = static_cast<unsigned int>(link) + 1;
         link >= 0 && i < hTypeGroupArray.GetSize() && hTypeGroupArray[i].type == type; ++i) {
        GroupID const next = hTypeGroupArray[i].group;
        if (FindLink(type, next) == static_cast<int>(i))
            return next;
    }
    return UnknownGroup;
}

GroupID FileTypeManager::GetFirstGroupChild(GroupID group) {
    Guard guard(lock);
    if (!IsKnown(group))
        return UnknownGroup;
    int const parentIndex = SearchForGroupRec(group);
    for (GroupRecord const & record : hGroupDataArray)
        if (record.parentIndex == parentIndex)
            return record.id;
    return UnknownGroup;
}

GroupID FileTypeManager::GetNextGroup(GroupID group) {
    Guard guard(lock);
    int const index = SearchForGroupRec(group);
    if (index < 0)
        return UnknownGroup;
    for (unsigned int i = static_cast<unsigned int>(index) + 1; i < hGroupDataArray.GetSize(); ++i)
        if (hGroupDataArray[i].parentIndex ==
            hGroupDataArray[static_cast<unsigned int>(index)].parentIndex)
            return hGroupDataArray[i].id;
    return UnknownGroup;
}

TypeID FileTypeManager::GetFirstTypeChild(GroupID group) {
    Guard guard(lock);
    if (group == RootGroup) {
        for (TypeRecord const & record : hTypeDataArray)
            if (!HasLink(record.id))
                return record.id;
        return UnknownType;
    }
    for (TypeGroupLink const & link : hTypeGroupArray)
        if (link.group == group)
            return link.type;
    return UnknownType;
}

TypeID FileTypeManager::GetNextType(GroupID group, TypeID type) {
    Guard guard(lock);
    int const index = SearchForTypeRec(type);
    if (!IsKnown(group) || index < 0)
        return UnknownType;
    if (group == RootGroup) {
        for (unsigned int i = static_cast<unsigned int>(index) + 1; i < hTypeDataArray.GetSize();
             ++i)
            if (!HasLink(hTypeDataArray[i].id))
                return hTypeDataArray[i].id;
        return UnknownType;
    }
    int const link = FindLink(type, group);
    for (unsigned int i = static_cast<unsigned int>(link) + 1;
         link >= 0 && i < hTypeGroupArray.GetSize(); ++i)
        if (hTypeGroupArray[i].group == group && hTypeGroupArray[i].type != type)
            return hTypeGroupArray[i].type;
    return UnknownType;
}

// Counts.

int FileTypeManager::CountGroupChild(GroupID group) {
    Guard guard(lock);
    if (!IsKnown(group))
        return IO::ErrGroupNotFound;
    int const parentIndex = SearchForGroupRec(group);
    return static_cast<int>(std::count_if(
        hGroupDataArray.begin(), hGroupDataArray.end(),
        [&](GroupRecord const & record) { return record.parentIndex == parentIndex; }));
}

int FileTypeManager::CountTypeChild(GroupID group) {
    Guard guard(lock);
    if (!IsKnown(group))
        return IO::ErrGroupNotFound;
    if (group == RootGroup)
        return static_cast<int>(
            std::count_if(hTypeDataArray.begin(), hTypeDataArray.end(),
                          [](TypeRecord const & record) { return !HasLink(record.id); }));
    return static_cast<int>(
        std::count_if(hTypeGroupArray.begin(), hTypeGroupArray.end(),
                      [&](TypeGroupLink const & link) { return link.group == group; }));
}

int FileTypeManager::CountParent(TypeID type) {
    Guard guard(lock);
    if (SearchForTypeRec(type) < 0)
        return IO::ErrTypeNotFound;
    int count = 0;
    for (GroupID group = GetFirstParent(type); group != UnknownGroup;
         group = GetNextParent(type, group))
        ++count;
    return count;
}

/// Calls `visit` with each type record at any depth below the group, in the order of adding.
template <typename Visit>
int FileTypeManager::VisitAllTypes(GroupID group, Visit const & visit) {
    if (!IsKnown(group))
        return IO::ErrGroupNotFound;
    int count = 0;
    for (unsigned int i = 0; i < hTypeDataArray.GetSize(); ++i)
        if (IsTypeInGroup(hTypeDataArray[i].id, group)) {
            visit(static_cast<int>(i));
            ++count;
        }
    return count;
}

int FileTypeManager::CountAllTypeChild(GroupID group) {
    Guard guard(lock);
    return VisitAllTypes(group, [](int) {});
}

int FileTypeManager::CountAllChild(GroupID group) {
    Guard guard(lock);
    int const types = CountAllTypeChild(group);
    if (types < 0)
        return types;
    return types + static_cast<int>(std::count_if(hGroupDataArray.begin(), hGroupDataArray.end(),
                                                  [&](GroupRecord const & record) {
                                                      return IsGroupInGroup(record.id, group);
                                                  }));
}

int FileTypeManager::GetAllTypeChildList(GroupID group, TypeID * list, int size) {
    Guard guard(lock);
    FoundList<TypeID> found(list, static_cast<unsigned int>(std::max(size, 0)));
    return VisitAllTypes(
        group, [&](int i) { found.Add(hTypeDataArray[static_cast<unsigned int>(i)].id); });
}

// Texts of groups.

unsigned int FileTypeManager::GetGroupName(GroupID group, char * text, unsigned int size) {
    Guard guard(lock);
    CutText result(text, size);
    if (int const index = SearchForGroupRec(group); index >= 0)
        result.Append(hGroupDataArray[static_cast<unsigned int>(index)].name.Get());
    return result.GetLength();
}

unsigned int FileTypeManager::GetGroupMime(GroupID group, char * text, unsigned int size) {
    Guard guard(lock);
    CutText result(text, size);
    if (int const index = SearchForGroupRec(group); index >= 0)
        result.Append(hGroupDataArray[static_cast<unsigned int>(index)].mime.Get());
    return result.GetLength();
}

unsigned int FileTypeManager::GetGroupExtensionList(GroupID group, char * text, unsigned int size) {
    Guard guard(lock);
    CutText result(text, size);
    VisitAllTypes(group, [&](int dataIndex) {
        FileType const & type = hTypeDataArray[static_cast<unsigned int>(dataIndex)].type;
        for (unsigned int i = 0; char const * const extension = type.GetExtension(i); ++i) {
            bool const isNew = type.FindExtension(extension) == static_cast<int>(i) &&
                               IsFirstWith(extension, dataIndex, group);
            if (!isNew)
                continue;
            if (result.GetLength() > 0)
                result.Append(";");
            result.Append(extension);
        }
    });
    return result.GetLength();
}

// Whether no earlier type of the group has the extension.
bool FileTypeManager::IsFirstWith(char const * extension, int dataIndex, GroupID group) {
    bool isLong;
    unsigned int const key = MakeExtensionKey(extension, &isLong);
    bool isFirst = true;
    ScanKey(key, 0, false, [&](ExtensionIndexRecord const & row) {
        if (row.dataIndex >= dataIndex || row.isLong != isLong)
            return true;
        TypeRecord const & record = hTypeDataArray[static_cast<unsigned int>(row.dataIndex)];
        isFirst = (isLong && !record.type.IsExtensionIncluded(extension)) ||
                  !IsTypeInGroup(record.id, group);
        return isFirst;
    });
    return isFirst;
}

// Searches.

/// Searches for types by a pattern, of which it keeps a copy in lower case.
class FileTypeManager::PatternSearch {
public:
    PatternSearch(FileType const & given, GroupID scope) : scope(scope) {
        try {
            if (pattern.Copy(given) != 0)
                Mu::ThrowOutOfMemory();
            auto const count = static_cast<unsigned int>(pattern.CountExtensions());
            keys.SetSize(count);
            isLong.SetSize(count);
            pattern.GetExtensionIDs(keys.GetData(), isLong.GetData());
            isUsable = true;
        } catch (Mu::OutOfMemoryException const &) { // nothing is found then
        }
    }

    /// The pattern is empty.
    bool IsEmpty() const {
        return keys.IsEmpty() && pattern.GetMacType(0) == 0 && pattern.GetMime(0) == nullptr &&
               pattern.GetMacCreator() == 0 && !HasIcon() && pattern.GetTypeCallback() == nullptr &&
               pattern.GetDescription()[0] == 0;
    }

    /// The index of the next matching record after `after`; -1 if there is none.
    int FindNext(int after) const {
        do
            after = FindCandidate(after);
        while (after >= 0 && !Fits(hTypeDataArray[static_cast<unsigned int>(after)], after));
        return after;
    }

private:
    bool HasIcon() const { return pattern.GetIconID() != 0 && pattern.GetIconID() != -1; }

    template <typename Visit>
    void ScanExtension(unsigned int i, Visit const & visit) const {
        unsigned int const macType = pattern.GetMacType(0);
        char const * const extension = pattern.GetExtension(i);
        ScanKey(keys[i], macType, macType != 0, [&](ExtensionIndexRecord const & row) {
            bool const isRow =
                row.isLong == isLong[i] &&
                (!isLong[i] ||
                 hTypeDataArray[static_cast<unsigned int>(row.dataIndex)].type.IsExtensionIncluded(
                     extension));
            return !isRow || visit(row);
        });
    }

    int FindCandidate(int after) const {
        int next = -1;
        auto const consider = [&](ExtensionIndexRecord const & row) {
            if (row.dataIndex > after && (next < 0 || row.dataIndex < next))
                next = row.dataIndex;
            return true;
        };
        if (!isUsable)
            return -1;
        if (!keys.IsEmpty())
            ScanExtension(0, consider);
        else if (unsigned int const macType = pattern.GetMacType(0); macType != 0)
            ScanKey(0, macType, true, consider);
        else if (after + 1 < static_cast<int>(hTypeDataArray.GetSize()))
            next = after + 1;
        return next;
    }

    bool HasRow(int dataIndex, unsigned int extension) const {
        bool has = false;
        ScanExtension(extension, [&](ExtensionIndexRecord const & row) {
            has = row.dataIndex == dataIndex;
            return !has;
        });
        return has;
    }

    bool Fits(TypeRecord const & record, int dataIndex) const {
        for (unsigned int i = 1; i < keys.GetSize(); ++i)
            if (!HasRow(dataIndex, i))
                return false;
        FileType const & type = record.type;
        char const * const mime = pattern.GetMime(0);
        char const * const itsMime = type.GetMime(0);
        if (mime != nullptr && (itsMime == nullptr || std::strcmp(mime, itsMime) != 0))
            return false;
        if (pattern.GetMacCreator() != 0 && pattern.GetMacCreator() != type.GetMacCreator())
            return false;
        if (HasIcon() && pattern.GetIconID() != type.GetIconID())
            return false;
        if (pattern.GetTypeCallback() != nullptr &&
            pattern.GetTypeCallback() != type.GetTypeCallback())
            return false;
        char const * const description = pattern.GetDescription();
        if (*description != 0 && std::strcmp(description, type.GetDescription()) != 0)
            return false;
        return IsTypeInGroup(record.id, scope);
    }

    FileType pattern;
    Mu::ArrayFB<unsigned int, 16> keys;
    Mu::ArrayFB<bool, 16> isLong;
    GroupID scope;
    bool isUsable = false;
};

GroupID FileTypeManager::SearchForGroup(char const * name, GroupID scope) {
    GroupID first;
    SearchForGroup(&first, 1, name, scope);
    return first;
}

unsigned int FileTypeManager::SearchForGroup(GroupID * list, unsigned int size, char const * name,
                                             GroupID scope) {
    Guard guard(lock);
    FoundList<GroupID> found(list, size);
    for (GroupRecord const & record : hGroupDataArray)
        if (name != nullptr && std::strcmp(record.name.Get(), name) == 0 &&
            IsGroupInGroup(record.id, scope))
            found.Add(record.id);
    return found.GetCount();
}

TypeID FileTypeManager::SearchForType(FileType const & pattern, GroupID scope) {
    TypeID first;
    SearchForType(&first, 1, pattern, scope);
    return first;
}

unsigned int FileTypeManager::SearchForType(TypeID * list, unsigned int size,
                                            FileType const & pattern, GroupID scope) {
    Guard guard(lock);
    FoundList<TypeID> found(list, size);
    PatternSearch search(pattern, scope);
    if (search.IsEmpty() && scope == RootGroup)
        return 0;
    for (int index = -1; (index = search.FindNext(index)) >= 0;)
        found.Add(hTypeDataArray[static_cast<unsigned int>(index)].id);
    return found.GetCount();
}

// Identifiers in files.

GeneralID FileTypeManager::ReadID(Mu::IChannel & channel, char const * managerId) {
    Guard guard(lock);
    Mu::ClassVersion version;
    unsigned int length = 0;
    char name[MostNameBytes + 1];
    if (version.Read(channel) != Mu::NoError || version.GetMainVersion() != 1 ||
        channel.Read(length) != Mu::NoError || length == 0 || length > MostNameBytes ||
        channel.ReadBin(name, length, nullptr) != Mu::NoError)
        return UnknownType;
    name[length] = 0;
    return std::strlen(name) == length ? SearchForMime(name, managerId) : GeneralID(UnknownType);
}

MuErrCode FileTypeManager::WriteID(GeneralID id, Mu::OChannel & channel) {
    Guard guard(lock);
    char const * name = nullptr;
    if (id == UnknownType) {
        name = "";
    } else if (id.IsGroup()) {
        // Kept: a group without a name is written as an empty name, and read as UnknownType.
        if (int const index = SearchForGroupRec(id); index >= 0)
            name = hGroupDataArray[static_cast<unsigned int>(index)].mime.Get();
    } else if (int const index = SearchForTypeRec(id); index >= 0) {
        name = hTypeDataArray[static_cast<unsigned int>(index)].type.GetMime(0);
    }
    if (name == nullptr || std::strlen(name) > MostNameBytes)
        return Mu::Error;
    auto const length = static_cast<unsigned int>(std::strlen(name));
    MuErrCode status = Mu::ClassVersion(1, 0).Write(channel);
    if (status == Mu::NoError)
        status = channel.Write(length);
    if (status == Mu::NoError)
        status = channel.WriteBin(name, length, nullptr);
    return status;
}

char const * FileTypeManager::Dump(GroupID, int) {
    Guard guard(lock);
    return nullptr;
}

} // namespace FTM
