#pragma once

#include <Kestrel/FileSystem/FileEntry.h>
#include <Kestrel/FileSystem/FixedVFS.h>
#include <Kestrel/FileSystem/FolderEntry.h>
#include <Kestrel/FileSystem/RollingVFS.h>
#include <Kestrel/Location/Location.h>

#include <memory>
#include <string>
#include <vector>

namespace Tests {

class MemoryTree;

/// A file, folder or link in memory.
struct MemoryNode {
    IO::Name name;
    IO::EntryType type = IO::EntryType::File;
    std::string content;
    IO::Location linkTarget;
    int creationTime = 1000000000;
    int modificationTime = 1000000000;
    unsigned int typeCode = 0;
    bool isProtected = false;
    bool refusesOpen = false; // of this one alone; see MemoryTree
    bool refusesSeek = false;
    bool refusesClose = false;
    std::vector<IO::FileEntry::OpenMode> opens; // by entries that have it open right now
    std::vector<std::shared_ptr<MemoryNode>> children;

    /// Null when there is none.
    std::shared_ptr<MemoryNode> Find(IO::Name const & child) const;
    std::shared_ptr<MemoryNode> Add(IO::Name const & child, IO::EntryType childType);
    void Remove(IO::Name const & child);
    bool IsOpen() const;
    /// Whether the other is this one, or lies somewhere below.
    bool Holds(MemoryNode const & other) const;
    std::shared_ptr<MemoryNode> Clone() const;
};

using MemoryNodePtr = std::shared_ptr<MemoryNode>;

/// A whole file system in memory, behaving as the disk does: share modes, protection, no seeking
/// past the end. What the disk cannot be made to do at will can be switched on.
class MemoryTree {
public:
    MemoryTree();

    MemoryNode & GetRoot() { return *root; }
    /// By UTF-8 names with "/" between them; null when there is none.
    MemoryNode * Find(std::string const & path);
    /// Makes the folders on the way, too.
    MemoryNode & AddFile(std::string const & path, std::string const & content);
    MemoryNode & AddFolder(std::string const & path);
    /// How many entries are connected right now.
    int CountConnected() const { return connected; }

    unsigned long long freeSpace = 1 << 20; ///< what creating (one byte each) and writing take
    bool isReadOnly = false;                ///< every change is denied
    bool refusesDelete = false;             ///< deleting is denied
    bool refusesRead = false;               ///< reading fails
    bool refusesAccess = false;             ///< opening, looking and enumerating are denied
    bool isRemote = false;

    /// The entry at the location, whose first `skip` local names lead to the root.
    IO::BaseFileSystem::ConnectStatus Connect(IO::BaseFileSystem & owner,
                                              IO::Location const & location, unsigned int skip,
                                              IO::FileEntry ** entry);
    IO::BaseFileSystem::ConnectStatus Connect(IO::BaseFileSystem & owner,
                                              IO::Location const & location, unsigned int skip,
                                              IO::FolderEntry ** entry);
    void Disconnect(IO::FSEntry * entry);

    bool Take(unsigned long long bytes);

private:
    MemoryNodePtr Resolve(IO::Location const & location, unsigned int skip) const;

    MemoryNodePtr root;
    int connected = 0;
};

/// The part that fixed and rolling systems share.
template <typename Base>
class MemorySystem : public Base {
public:
    using ConnectStatus = typename Base::ConnectStatus;

    ConnectStatus Connect(IO::Location * location, IO::FolderEntry ** entry) override {
        return tree.Connect(*this, *location, place.GetLocalLength(), entry);
    }
    ConnectStatus Connect(IO::Location * location, IO::FileEntry ** entry) override {
        return tree.Connect(*this, *location, place.GetLocalLength(), entry);
    }
    void Disconnect(IO::FolderEntry * entry) override { tree.Disconnect(entry); }
    void Disconnect(IO::FileEntry * entry) override { tree.Disconnect(entry); }

    MemoryTree tree;

protected:
    IO::Location place; // of the tree's root
};

/// Lives where it is mounted.
class MemoryFixedVFS : public MemorySystem<IO::FixedVFS> {
public:
    void Mounted(IO::Location const & mountPoint) override {
        place = mountPoint;
        ++mountCount;
    }
    void Unmounted() override { --mountCount; }

    int mountCount = 0;
};

/// Claims one location and everything below.
class MemoryRollingVFS : public MemorySystem<IO::RollingVFS> {
public:
    explicit MemoryRollingVFS(IO::Location const & claimed) { place = claimed; }
    bool Serves(IO::Location const & location) override {
        ++questions;
        return location == place || place.IsAncestorOf(location);
    }

    int questions = 0;
};

} // namespace Tests
