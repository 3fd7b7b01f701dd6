#include <Kestrel/FileType/Internal/BulkAdding.h>

#include <Kestrel/FileType/Internal/ExtensionKey.h>

#include <algorithm>
#include <utility>

namespace FTM {

namespace {

/// Sorts by the lowest `bits` of the keys, from the lowest byte on; equal rows keep their order.
template <typename Row, typename GetKey>
void SortRows(Mu::Array<Row> & rows, Mu::Array<Row> & spare, unsigned int bits,
              GetKey const & getKey) {
    unsigned int const count = rows.GetSize();
    spare.SetSize(count);
    Row * from = rows.GetData();
    Row * to = spare.GetData();
    auto differing = getKey(Row());
    std::for_each(from, from + count,
                  [&](Row const & row) { differing |= getKey(row) ^ getKey(*from); });
    for (unsigned int shift = 0; shift < bits; shift += 8) {
        if ((differing >> shift & 0xFF) == 0)
            continue; // all have the same byte
        auto const getByte = [&](Row const & row) { return getKey(row) >> shift & 0xFF; };
        unsigned int places[0x101] = {}; // of the next row with each byte
        std::for_each(from, from + count, [&](Row const & row) { ++places[getByte(row) + 1]; });
        for (unsigned int i = 1; i < 0x100; ++i)
            places[i] += places[i - 1];
        std::for_each(from, from + count,
                      [&](Row const & row) { to[places[getByte(row)]++] = row; });
        std::swap(from, to);
    }
    if (from != rows.GetData())
        std::copy_n(from, count, rows.GetData());
}

/// New rows are inserted before equal ones, so the newest must be first.
template <typename Row>
void PutNewestFirst(Mu::Array<Row> & rows, unsigned int sorted) {
    std::reverse(rows.begin(), rows.begin() + sorted);
    std::reverse(rows.begin(), rows.end());
}

} // namespace

constinit bool BulkAdding::isOn = false;
constinit unsigned int BulkAdding::sortedNames = 0;
constinit unsigned int BulkAdding::sortedExtensions = 0;

BulkAdding::BulkAdding() : guard(FileTypeManager::lock) {
    sortedNames = FileTypeManager::hMimeIndexArray.GetSize();
    sortedExtensions = FileTypeManager::hExtensionIndexArray.GetSize();
}

BulkAdding::~BulkAdding() {
    if (!std::exchange(isOn, false))
        return;
    auto & extensions = FileTypeManager::hExtensionIndexArray;
    PutNewestFirst(extensions, sortedExtensions);
    SortRows(extensions, sparedExtensions, 64, [](auto const & row) {
        return static_cast<unsigned long long>(row.extensionKey) << 32 | row.macType;
    });
    auto & names = FileTypeManager::hMimeIndexArray;
    PutNewestFirst(names, sortedNames);
    SortRows(names, sparedNames, 32, [](auto const & row) { return row.hash; });
    FileTypeManager::FreeEmptyTables();
}

bool BulkAdding::MakeRoom(std::size_t types, std::size_t extensions, std::size_t names,
                          std::size_t links) {
    isOn = FTM::MakeRoom(FileTypeManager::hTypeDataArray, types) &&
           FTM::MakeRoom(FileTypeManager::hExtensionIndexArray, extensions) &&
           FTM::MakeRoom(FileTypeManager::hMimeIndexArray, names) &&
           FTM::MakeRoom(FileTypeManager::hTypeGroupArray, links) &&
           FTM::MakeRoom(sparedExtensions, sortedExtensions + extensions) &&
           FTM::MakeRoom(sparedNames, sortedNames + names);
    if (!isOn)
        FileTypeManager::FreeEmptyTables();
    return isOn;
}

TypeID BulkAdding::Add(FileTypeManager & owner, FileType::Contents const & contents,
                       GroupID group) {
    auto & types = FileTypeManager::hTypeDataArray;
    FileTypeManager::TypeRecord & record = types.Emplace();
    record.manager = &owner;
    if (record.type.Fill(contents))
        record.id = TypeID::NextID();
    if (record.id == UnknownType) {
        types.DeleteLast();
        return UnknownType;
    }
    auto const dataIndex = static_cast<int>(types.GetSize()) - 1;
    for (std::string_view const extension : contents.extensions) {
        bool isLong;
        unsigned int const key = MakeExtensionKey(extension.data(), &isLong);
        FileTypeManager::hExtensionIndexArray.Push({dataIndex, key, isLong, 0});
    }
    for (std::string_view const name : contents.names)
        FileTypeManager::hMimeIndexArray.Push(
            {static_cast<unsigned int>(dataIndex), FileTypeManager::HashKey(name), true});
    FileTypeManager::hTypeGroupArray.Push({record.id, group});
    return record.id;
}

bool BulkAdding::Link(TypeID last, GroupID group) {
    auto & links = FileTypeManager::hTypeGroupArray; // the links of the type are at the end
    for (unsigned int i = links.GetSize(); i-- > 0 && links[i].type == last;)
        if (links[i].group == group || FileTypeManager::IsGroupInGroup(links[i].group, group))
            return true;
    bool const hasRoom = FTM::MakeRoom(links, 1);
    if (hasRoom)
        FileTypeManager::InsertLink(last, group);
    return hasRoom;
}

} // namespace FTM
