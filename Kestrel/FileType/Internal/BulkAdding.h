#pragma once

#include <Kestrel/FileType/Internal/Tables.h>

namespace FTM {

/// For adding many types in sequence, whose names all differ.
///
/// Holds the file type lock for its lifetime. Meanwhile the rows of both indices are appended
/// unsorted; they are sorted at the end, all at once. Until then names are looked up among those
/// that existed before, and nothing may be removed.
///
/// Memory:  the reserved memory, and as much again for the rows.
/// Failure: UnknownType or false.
class BulkAdding {
public:
    BulkAdding();
    BulkAdding(BulkAdding const &) = delete;
    BulkAdding & operator=(BulkAdding const &) = delete;
    ~BulkAdding();

    /// Reserves memory for at most so many records, rows and links, before the first is added.
    /// False: out of memory.
    bool MakeRoom(std::size_t types, std::size_t extensions, std::size_t names, std::size_t links);
    /// Whether any type or group had a MIME name before.
    bool HadNames() const { return sortedNames > 0; }

    /// Adds a type without copying it; neither its group nor its names are checked. The use of its
    /// test passes to the record. UnknownType: out of memory, or of identifiers; the use remains
    /// the caller's.
    static TypeID Add(FileTypeManager & owner, FileType::Contents const & contents, GroupID group);
    /// AddTypeToGroup for the type that was added last. False: out of memory.
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
