#include "Tests/Support/FileSystem/MemoryFS.h"

#include "Tests/Support/Text.h"

#include <algorithm>
#include <cstring>
#include <sstream>

namespace Tests {

namespace {

using namespace IO;
using ConnectStatus = BaseFileSystem::ConnectStatus;

// What an open mode wants and what it lets others do: 1 reading, 2 writing.
struct Sharing {
    int access;
    int share;
};

Sharing SharingOf(FileEntry::OpenMode mode) {
    static constexpr Sharing table[] = {{1, 1}, {2, 0}, {2, 0}, {3, 0}, {1, 3}, {2, 1}, {2, 1}};
    return table[static_cast<unsigned int>(mode)];
}

bool CanShare(MemoryNode const & node, FileEntry::OpenMode mode) {
    Sharing const wanted = SharingOf(mode);
    return std::all_of(node.opens.begin(), node.opens.end(), [&](FileEntry::OpenMode other) {
        Sharing const held = SharingOf(other);
        return (wanted.access & ~held.share) == 0 && (held.access & ~wanted.share) == 0;
    });
}

class MemoryFileEntry final : public FileEntry {
public:
    MemoryFileEntry(BaseFileSystem & owner, MemoryTree & tree, MemoryNodePtr node)
        : owner(owner), tree(tree), node(std::move(node)) {}
    ~MemoryFileEntry() override {
        if (isOpen)
            (void)Close();
    }

    TimeStatus SetCreationTime(int const & time) override {
        return SetTime(&node->creationTime, time);
    }
    TimeStatus GetCreationTime(int * time) override {
        *time = node->creationTime;
        return TimeStatus::Done;
    }
    TimeStatus SetModificationTime(int const & time) override {
        return SetTime(&node->modificationTime, time);
    }
    TimeStatus GetModificationTime(int * time) override {
        *time = node->modificationTime;
        return TimeStatus::Done;
    }
    BaseFileSystem * GetOwnerFileSystem() override { return &owner; }

    OpenStatus Open(OpenMode newMode) override {
        if (newMode > OpenMode::WriteAnewShared || isOpen || node->refusesOpen)
            return OpenStatus::Other;
        bool const writes = (SharingOf(newMode).access & 2) != 0;
        if (tree.refusesAccess || !CanShare(*node, newMode) ||
            (writes && (node->isProtected || tree.isReadOnly)))
            return OpenStatus::AccessDenied;
        if (newMode == OpenMode::WriteAnew || newMode == OpenMode::WriteAnewShared)
            node->content.clear();
        mode = newMode;
        node->opens.push_back(mode);
        position = 0;
        isOpen = true;
        return OpenStatus::Done;
    }
    ReadStatus Read(char * destination, unsigned int count, unsigned int * read) override {
        *read = 0;
        if (!isOpen || (SharingOf(mode).access & 1) == 0 || tree.refusesRead)
            return ReadStatus::ReadError;
        std::size_t const rest = node->content.size() - std::min(position, node->content.size());
        *read = static_cast<unsigned int>(std::min<std::size_t>(count, rest));
        if (*read != 0)
            std::memcpy(destination, node->content.data() + position, *read);
        position += *read;
        return *read < count ? ReadStatus::EndOfFile : ReadStatus::Done;
    }
    WriteStatus Write(char const * source, unsigned int count, unsigned int * written) override {
        if (!isOpen || (SharingOf(mode).access & 2) == 0)
            return WriteStatus::WriteError;
        std::size_t const end = std::max(node->content.size(), position + count);
        if (!tree.Take(end - node->content.size()))
            return WriteStatus::DeviceFull;
        node->content.resize(end);
        if (count != 0)
            std::memcpy(node->content.data() + position, source, count);
        position += count;
        *written = count;
        return WriteStatus::Done;
    }
    SeekStatus Seek(SeekOrigin origin, long long offset,
                    unsigned long long * newPosition) override {
        if (!isOpen || origin > SeekOrigin::End || node->refusesSeek)
            return SeekStatus::Other;
        long long const length = static_cast<long long>(node->content.size());
        long long const bases[] = {0, static_cast<long long>(position), length};
        long long const base = bases[static_cast<unsigned int>(origin)];
        if (offset > length - base || offset < -base)
            return SeekStatus::IllegalPosition;
        position = static_cast<std::size_t>(base + offset);
        *newPosition = position;
        return SeekStatus::Done;
    }
    WriteStatus Flush() override { return isOpen ? WriteStatus::Done : WriteStatus::WriteError; }
    CloseStatus Close() override {
        if (!isOpen)
            return CloseStatus::Other;
        node->opens.erase(std::find(node->opens.begin(), node->opens.end(), mode));
        isOpen = false;
        return node->refusesClose ? CloseStatus::Other : CloseStatus::Done;
    }
    LengthStatus SetDataLength(unsigned long long length) override {
        if (tree.isReadOnly || node->isProtected || (!isOpen && !CanShare(*node, OpenMode::Write)))
            return LengthStatus::AccessDenied;
        std::size_t const size = node->content.size();
        if (length > size && !tree.Take(length - size))
            return LengthStatus::DeviceFull;
        node->content.resize(static_cast<std::size_t>(length));
        position = isOpen ? static_cast<std::size_t>(length) : position;
        return LengthStatus::Done;
    }
    LengthStatus GetDataLength(unsigned long long * length) override {
        *length = node->content.size();
        return LengthStatus::Done;
    }
    TypeStatus SetTypeInfo(unsigned int type, unsigned int) override {
        node->typeCode = type;
        return TypeStatus::Done;
    }
    TypeStatus GetTypeInfo(unsigned int * type, unsigned int * creator) override {
        *type = node->typeCode;
        *creator = 0;
        return TypeStatus::Done;
    }
    AttributeStatus IsWriteProtected(bool * isProtected) override {
        *isProtected = node->isProtected;
        return AttributeStatus::Done;
    }
    AttributeStatus SetWriteProtection(bool isProtected) override {
        if (tree.isReadOnly)
            return AttributeStatus::AccessDenied;
        node->isProtected = isProtected;
        return AttributeStatus::Done;
    }
    LockerStatus GetWriteLocker(Mu::UniString * program) override {
        if (node->opens.empty())
            return LockerStatus::Unknown;
        *program = "memory";
        return LockerStatus::Program;
    }

private:
    TimeStatus SetTime(int * field, int time) {
        if (tree.isReadOnly || node->isProtected || !CanShare(*node, OpenMode::Write))
            return TimeStatus::AccessDenied;
        *field = time;
        return TimeStatus::Done;
    }

    BaseFileSystem & owner;
    MemoryTree & tree;
    MemoryNodePtr node;
    OpenMode mode = OpenMode::Read;
    bool isOpen = false;
    std::size_t position = 0;
};

bool HoldsProtected(MemoryNode const & node) {
    return node.isProtected ||
           std::any_of(node.children.begin(), node.children.end(),
                       [](auto const & child) { return HoldsProtected(*child); });
}

class MemoryFolderEntry final : public FolderEntry {
public:
    MemoryFolderEntry(BaseFileSystem & owner, MemoryTree & tree, MemoryNodePtr node)
        : owner(owner), tree(tree), node(std::move(node)) {}

    TimeStatus SetCreationTime(int const & time) override {
        node->creationTime = time;
        return TimeStatus::Done;
    }
    TimeStatus GetCreationTime(int * time) override {
        *time = node->creationTime;
        return TimeStatus::Done;
    }
    TimeStatus SetModificationTime(int const & time) override {
        node->modificationTime = time;
        return TimeStatus::Done;
    }
    TimeStatus GetModificationTime(int * time) override {
        *time = node->modificationTime;
        return TimeStatus::Done;
    }
    BaseFileSystem * GetOwnerFileSystem() override { return &owner; }

    CreateStatus CreateFile(Name const & name, FileEntry * reserved) override {
        return reserved != nullptr ? CreateStatus::Other : Create(name, EntryType::File);
    }
    CreateStatus CreateFolder(Name const & name, FolderEntry * reserved) override {
        return reserved != nullptr ? CreateStatus::Other : Create(name, EntryType::Folder);
    }
    CreateStatus CreateLink(Name const & name, Location const & target) override {
        CreateStatus const status = Create(name, EntryType::Link);
        if (status == CreateStatus::Done)
            node->Find(name)->linkTarget = target;
        return status;
    }
    MoveStatus Move(Name const & from, FolderEntry & target, Name const & to, bool force) override {
        MemoryFolderEntry & folder = static_cast<MemoryFolderEntry &>(target);
        if (!from.IsLegal() || !to.IsLegal())
            return MoveStatus::Other;
        MemoryNodePtr const source = node->Find(from);
        if (source == nullptr)
            return MoveStatus::EntryNotFound;
        MemoryNodePtr const taken = folder.node->Find(to);
        if (taken == source)
            return MoveStatus::Done;
        if (tree.isReadOnly || source->IsOpen() || (source->isProtected && !force))
            return MoveStatus::AccessDenied;
        if (taken != nullptr)
            return MoveStatus::TargetExists;
        if (source->Holds(*folder.node))
            return MoveStatus::Other;
        node->Remove(from);
        source->name = to;
        folder.node->children.push_back(source);
        return MoveStatus::Done;
    }
    CopyStatus Copy(Name const & from, FolderEntry & target, Name const & to) override {
        MemoryFolderEntry & folder = static_cast<MemoryFolderEntry &>(target);
        if (!from.IsLegal() || !to.IsLegal())
            return CopyStatus::Other;
        MemoryNodePtr const source = node->Find(from);
        MemoryNodePtr const taken = folder.node->Find(to);
        if (source == nullptr)
            return CopyStatus::EntryNotFound;
        if (taken != nullptr)
            return CopyStatus::TargetExists;
        if (source->Holds(*folder.node))
            return CopyStatus::Other;
        if (tree.isReadOnly)
            return CopyStatus::AccessDenied;
        if (!tree.Take(1 + source->content.size()))
            return CopyStatus::DeviceFull;
        MemoryNodePtr const copy = source->Clone();
        copy->name = to;
        folder.node->children.push_back(copy);
        return CopyStatus::Done;
    }
    DeleteStatus Delete(Name const & name, bool force) override {
        if (!name.IsLegal())
            return DeleteStatus::Other;
        MemoryNodePtr const child = node->Find(name);
        if (child == nullptr)
            return DeleteStatus::EntryNotFound;
        if (tree.isReadOnly || tree.refusesDelete || child->IsOpen() ||
            (!force && HoldsProtected(*child)))
            return DeleteStatus::AccessDenied;
        node->Remove(name);
        return DeleteStatus::Done;
    }
    GetTypeStatus GetType(Name const & name, EntryType * type) override {
        if (!name.IsLegal())
            return GetTypeStatus::Other;
        if (tree.refusesAccess)
            return GetTypeStatus::AccessDenied;
        MemoryNodePtr const child = node->Find(name);
        if (child == nullptr)
            return GetTypeStatus::EntryNotFound;
        *type = child->type;
        return GetTypeStatus::Done;
    }
    EnumerateStatus Enumerate(EntryEnumerator & enumerator) override {
        if (tree.refusesAccess)
            return EnumerateStatus::AccessDenied;
        auto const children = node->children; // what the enumerator deletes is still told
        for (MemoryNodePtr const & child : children)
            if (!enumerator.EntryFound(child->name, child->type == EntryType::Folder))
                return EnumerateStatus::Stopped;
        return EnumerateStatus::Done;
    }
    AttributeStatus GetFreeSpace(unsigned long long * bytes) override {
        *bytes = tree.freeSpace;
        return AttributeStatus::Done;
    }
    bool IsReadable() override { return !tree.refusesAccess; }
    bool IsWriteable() override { return !tree.isReadOnly; }
    AttributeStatus IsOnLocalVolume(bool * isLocal) override {
        *isLocal = !tree.isRemote;
        return AttributeStatus::Done;
    }
    AttributeStatus IsOnFixedVolume(bool * isFixed) override {
        *isFixed = false;
        return AttributeStatus::Done;
    }

private:
    CreateStatus Create(Name const & name, EntryType type) {
        if (!name.IsLegal())
            return CreateStatus::Other;
        if (node->Find(name) != nullptr)
            return CreateStatus::AlreadyExists;
        if (tree.isReadOnly)
            return CreateStatus::AccessDenied;
        if (!tree.Take(1))
            return CreateStatus::DeviceFull;
        node->Add(name, type);
        return CreateStatus::Done;
    }

    BaseFileSystem & owner;
    MemoryTree & tree;
    MemoryNodePtr node;
};

std::vector<std::string> Split(std::string const & path) {
    std::vector<std::string> names;
    std::istringstream stream(path);
    for (std::string name; std::getline(stream, name, '/');)
        names.push_back(name);
    return names;
}

} // namespace

MemoryNodePtr MemoryNode::Find(IO::Name const & child) const {
    auto const found = std::find_if(children.begin(), children.end(),
                                    [&](auto const & node) { return node->name == child; });
    return found != children.end() ? *found : nullptr;
}

MemoryNodePtr MemoryNode::Add(IO::Name const & child, IO::EntryType childType) {
    children.push_back(std::make_shared<MemoryNode>());
    children.back()->name = child;
    children.back()->type = childType;
    return children.back();
}

void MemoryNode::Remove(IO::Name const & child) {
    std::erase_if(children, [&](auto const & node) { return node->name == child; });
}

bool MemoryNode::Holds(MemoryNode const & other) const {
    return this == &other || std::any_of(children.begin(), children.end(),
                                         [&](auto const & child) { return child->Holds(other); });
}

bool MemoryNode::IsOpen() const {
    return !opens.empty() || std::any_of(children.begin(), children.end(),
                                         [](auto const & child) { return child->IsOpen(); });
}

MemoryNodePtr MemoryNode::Clone() const {
    MemoryNodePtr const copy = std::make_shared<MemoryNode>(*this);
    copy->opens.clear();
    for (MemoryNodePtr & child : copy->children)
        child = child->Clone();
    return copy;
}

MemoryTree::MemoryTree() : root(std::make_shared<MemoryNode>()) {
    root->type = IO::EntryType::Folder;
}

MemoryNode * MemoryTree::Find(std::string const & path) {
    MemoryNodePtr node = root;
    for (std::string const & name : Split(path))
        if (node != nullptr)
            node = node->Find(IO::Name(U(name)));
    return node.get();
}

MemoryNode & MemoryTree::AddFolder(std::string const & path) {
    MemoryNodePtr node = root;
    for (std::string const & name : Split(path)) {
        MemoryNodePtr const child = node->Find(IO::Name(U(name)));
        node = child != nullptr ? child : node->Add(IO::Name(U(name)), IO::EntryType::Folder);
    }
    return *node;
}

MemoryNode & MemoryTree::AddFile(std::string const & path, std::string const & content) {
    MemoryNode & node = AddFolder(path);
    node.type = IO::EntryType::File;
    node.content = content;
    return node;
}

bool MemoryTree::Take(unsigned long long bytes) {
    if (bytes > freeSpace)
        return false;
    freeSpace -= bytes;
    return true;
}

MemoryNodePtr MemoryTree::Resolve(IO::Location const & location, unsigned int skip) const {
    MemoryNodePtr node = root;
    for (unsigned int i = skip; node != nullptr && i < location.GetLocalLength(); ++i) {
        IO::Name name;
        node = location.GetLocalName(i, &name) == IO::NoError ? node->Find(name) : nullptr;
    }
    return node;
}

ConnectStatus MemoryTree::Connect(IO::BaseFileSystem & owner, IO::Location const & location,
                                  unsigned int skip, IO::FileEntry ** entry) {
    MemoryNodePtr const node = Resolve(location, skip);
    if (node == nullptr || node->type == IO::EntryType::Link)
        return ConnectStatus::NotFound;
    if (node->type == IO::EntryType::Folder)
        return ConnectStatus::NotAFile;
    *entry = new MemoryFileEntry(owner, *this, node);
    ++connected;
    return ConnectStatus::Connected;
}

ConnectStatus MemoryTree::Connect(IO::BaseFileSystem & owner, IO::Location const & location,
                                  unsigned int skip, IO::FolderEntry ** entry) {
    MemoryNodePtr const node = Resolve(location, skip);
    if (node == nullptr || node->type == IO::EntryType::Link)
        return ConnectStatus::NotFound;
    if (node->type == IO::EntryType::File)
        return ConnectStatus::NotAFolder;
    *entry = new MemoryFolderEntry(owner, *this, node);
    ++connected;
    return ConnectStatus::Connected;
}

void MemoryTree::Disconnect(IO::FSEntry * entry) {
    --connected;
    delete entry;
}

} // namespace Tests
