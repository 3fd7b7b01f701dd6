#pragma once

#include <Kestrel/FileType/FileTypeManager.h>
#include <Kestrel/Location/Name.h>
#include <Kestrel/Root/Containers/Array.h>
#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Threads/Lock.h>

namespace FTM {

struct FileTypeManager::TypeRecord {
    FileTypeManager * manager = nullptr; // the owner
    TypeID id;
    FileType type;
    bool lastCheckResult = false; // of the content test, during one identification
};

struct FileTypeManager::GroupRecord {
    int parentIndex; // -1 for a child of RootGroup
    InlineText<16> name;
    FileTypeManager * manager;
    GroupID id;
    InlineText<64> mime;
};

struct FileTypeManager::ExtensionIndexRecord {
    int dataIndex;
    unsigned int extensionKey; // 0 for a row with a type code only
    bool isLong;               // the extension has more than 4 characters
    unsigned int macType;      // 0 for none

    friend bool operator==(ExtensionIndexRecord const &, ExtensionIndexRecord const &) = default;
};

struct FileTypeManager::MimeIndexRecord {
    unsigned int dataIndex; // in the table of types or of groups
    unsigned int hash;
    bool isType; // which of the two

    friend bool operator==(MimeIndexRecord const &, MimeIndexRecord const &) = default;
};

struct FileTypeManager::TypeGroupLink {
    TypeID type;
    GroupID group;
};

/// Calls `visit` with each row of the key, of any type code or of exactly this one, until it
/// returns false. Under the file type lock; the rows must not change meanwhile.
template <typename Visit>
void FileTypeManager::ScanKey(unsigned int key, unsigned int macType, bool isExact,
                              Visit const & visit) {
    int const first = SearchForExtension(key, isExact ? macType : 0);
    for (unsigned int i = static_cast<unsigned int>(first);
         first >= 0 && i < hExtensionIndexArray.GetSize(); ++i) {
        ExtensionIndexRecord const & row = hExtensionIndexArray[i];
        if (row.extensionKey != key || (isExact && row.macType != macType) || !visit(row))
            return;
    }
}

/// Reserves room for `more` elements. False: out of memory.
template <typename T>
bool MakeRoom(Mu::Array<T> & table, std::size_t more) {
    unsigned long long const needed = static_cast<unsigned long long>(table.GetSize()) + more;
    if (needed <= table.GetCapacity())
        return true;
    try {
        table.SetCapacity(Mu::GrowCapacity(table.GetCapacity(), needed, sizeof(T)));
    } catch (Mu::OutOfMemoryException const &) {
        return false;
    }
    return true;
}

} // namespace FTM
