#pragma once

#include <Kestrel/FileType/Internal/Tables.h>

namespace FTM {

/// For adding many types one after the other, with names of which no two are the same.
///
/// Holds the file type lock as long as it lives. The rows of both indices come in the order of adding
/// meanwhile, and to their places at the end, all at once; until then names are looked for among those
/// that were there before, and nothing may be removed.
///
/// Memory:  room for what was announced, and once more for the rows.
/// Failure: MakeRoom alone.
class BulkAdding {
public:
    BulkAdding();
    BulkAdding(BulkAdding const &) = delete;
    BulkAdding & operator=(BulkAdding const &) = delete;
    ~BulkAdding();

    /// For at most so many records, rows and links; before the first is added. False: no memory.
    bool MakeRoom(std::size_t types, std::size_t extensions, std::size_t names, std::size_t links);
    /// Whether any type or group had a MIME name before.
    bool HadNames() const { return sortedNames > 0; }

    /// Adds a type without a copy on the way; neither its group nor its names are looked for. The use of
    /// its test goes to the record. UnknownType, and the test stays the caller's: no memory, or no
    /// identifier left.
    static TypeID Add(FileTypeManager & owner, FileType::Contents const & contents, GroupID group);
    /// AddTypeToGroup for the type that was added last. False: no memory.
    static bool Link(TypeID last, GroupID group);

    static bool IsOn() { return isOn; }
    /// How many of the rows of the MIME index, of which there are `count`, are in order.
    static unsigned int CountSortedNames(unsigned int count) { return isOn ? sortedNames : count; }

private:
    static bool isOn;
    static unsigned int sortedNames;
    static unsigned int sortedExtensions;

    Mu::LockGuard<Mu::ReentrantLock> guard;
    Mu::Array<FileTypeManager::ExtensionIndexRecord> sparedExtensions;
    Mu::Array<FileTypeManager::MimeIndexRecord> sparedNames;
};

} // namespace FTM
