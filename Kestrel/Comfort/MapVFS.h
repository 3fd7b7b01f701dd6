#pragma once

#include <Kestrel/FileSystem/FixedVFS.h>
#include <Kestrel/FileSystem/ReadOnlyFileEntry.h>
#include <Kestrel/FileSystem/ReadOnlyFolderEntry.h>
#include <Kestrel/Location/RelativeLocation.h>
#include <Kestrel/Root/Time/Clock.h>

#include <concepts>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>

namespace IO {

/// A program's own files, by name: bytes, or a function that returns them when the file is opened.
///
///     IO::MapVFS files;
///     files.Add("readme.txt", "read me");
///     files.Add("state/uptime.txt", [] { return std::to_string(GetUptime()); });
///     if (IO::fileSystem.Mount(files, IO::Location("C:\\Program state")) == IO::NoError)
///
/// All operations that read files and folders work on them; nothing can be changed through them.
/// For creating folders and deleting entries, see MemoryVFS.
///
/// Memory:  the names and the bytes; an open file holds a copy of its own.
/// Threads: Add before Mount. Functions are called by the threads that open files and query
///          lengths, possibly by several at once.
/// Failure: statuses; a file whose function throws cannot be opened and has no length.
///          std::bad_alloc from Add when out of memory.
class MapVFS final : public FixedVFS {
public:
    using Make = std::function<std::string()>;

    MapVFS() { SetTime(&root); }
    MapVFS(MapVFS const &) = delete;
    MapVFS & operator=(MapVFS const &) = delete;

    /// Also adds the folders of the path. Error: the path is not legal, names an existing folder or
    /// file, or leads through a file.
    MuErrCode Add(Mu::UniString const & path, Make make) {
        RelativeLocation const names(path);
        if (!names.IsValid() || names.IsEmpty() || !make)
            return Error;
        Node * node = &root;
        for (unsigned int i = 0; i < names.GetLength(); ++i) {
            Name name;
            if (node->make || names.GetName(i, &name) != NoError || name == "." || name == "..")
                return Error;
            Node * below = const_cast<Node *>(Find(*node, name));
            if (below != nullptr && i + 1 == names.GetLength())
                return Error;
            if (below == nullptr) {
                below = AddBelow(node, name);
            }
            node = below;
        }
        node->make = std::move(make);
        return NoError;
    }
    MuErrCode Add(Mu::UniString const & path, std::string bytes) {
        return Add(path, Make([kept = std::move(bytes)] { return kept; }));
    }
    /// The bytes of a literal, without its terminator, or of a view.
    template <std::convertible_to<std::string_view> Text>
    MuErrCode Add(Mu::UniString const & path, Text const & text) {
        return Add(path, std::string(std::string_view(text)));
    }
    /// The same by a path of the standard library, whose bytes are UTF-8.
    template <Mu::ForeignText Path, typename Content>
    MuErrCode Add(Path const & path, Content && content) {
        return Add(Mu::UniString(path), std::forward<Content>(content));
    }

    void Mounted(Location const & mountPoint) override { place = mountPoint; }
    void Unmounted() override { place.Clear(); }
    ConnectStatus Connect(Location * location, FolderEntry ** entry) override {
        Node const * const node = Find(*location);
        if (node == nullptr)
            return ConnectStatus::NotFound;
        if (node->make)
            return ConnectStatus::NotAFolder;
        *entry = new FolderOf(*this, *node);
        return ConnectStatus::Connected;
    }
    ConnectStatus Connect(Location * location, FileEntry ** entry) override {
        Node const * const node = Find(*location);
        if (node == nullptr)
            return ConnectStatus::NotFound;
        if (!node->make)
            return ConnectStatus::NotAFile;
        *entry = new FileOf(*this, *node);
        return ConnectStatus::Connected;
    }
    void Disconnect(FolderEntry * entry) override { delete entry; }
    void Disconnect(FileEntry * entry) override { delete entry; }

private:
    struct Node;
    struct HashByName {
        using is_transparent = void;
        std::size_t operator()(Node const * node) const { return node->name.GenerateHashValue(); }
        std::size_t operator()(Name const & name) const { return name.GenerateHashValue(); }
    };
    struct HaveOneName {
        using is_transparent = void;
        bool operator()(Node const * a, Node const * b) const { return a->name == b->name; }
        bool operator()(Name const & a, Node const * b) const { return a == b->name; }
        bool operator()(Node const * a, Name const & b) const { return a->name == b; }
    };
    struct Node {
        Name name;
        Make make;              // none for a folder
        std::deque<Node> below; // in the order in which they were added
        std::unordered_set<Node const *, HashByName, HaveOneName> byName; // the same
        int time = 0;
    };

    class FileOf final : public ReadOnlyFileEntry {
    public:
        FileOf(MapVFS & ofSystem, Node const & ofNode) : system(ofSystem), node(ofNode) {}
        OpenStatus Open(OpenMode mode) override {
            if (mode != OpenMode::Read && mode != OpenMode::ReadShared)
                return OpenStatus::AccessDenied;
            position = 0;
            return isOpen = Get(&content), isOpen ? OpenStatus::Done : OpenStatus::Other;
        }
        ReadStatus Read(char * destination, unsigned int count, unsigned int * read) override {
            *read = static_cast<unsigned int>(content.copy(destination, count, position));
            position += *read;
            return *read < count ? ReadStatus::EndOfFile : ReadStatus::Done;
        }
        SeekStatus Seek(SeekOrigin origin, long long offset, unsigned long long * now) override {
            auto const size = static_cast<long long>(content.size());
            long long const from = origin == SeekOrigin::Beginning ? 0
                                   : origin == SeekOrigin::End     ? size
                                                               : static_cast<long long>(position);
            if (offset < -from || offset > size - from)
                return SeekStatus::IllegalPosition;
            *now = position = static_cast<std::size_t>(from + offset);
            return SeekStatus::Done;
        }
        CloseStatus Close() override {
            content.clear();
            position = 0;
            isOpen = false;
            return CloseStatus::Done;
        }
        LengthStatus GetDataLength(unsigned long long * length) override {
            std::string made;
            if (!isOpen && !Get(&made))
                return LengthStatus::Other;
            *length = isOpen ? content.size() : made.size();
            return LengthStatus::Done;
        }
        TypeStatus GetTypeInfo(unsigned int * type, unsigned int * creator) override {
            *type = *creator = 0;
            return TypeStatus::Done;
        }
        TimeStatus GetCreationTime(int * time) override { return GetModificationTime(time); }
        TimeStatus GetModificationTime(int * time) override {
            *time = node.time;
            return TimeStatus::Done;
        }
        BaseFileSystem * GetOwnerFileSystem() override { return &system; }

    private:
        bool Get(std::string * bytes) {
            try {
                *bytes = node.make();
                return true;
            } catch (...) { // there is no more specific status for it
                return false;
            }
        }

        MapVFS & system;
        Node const & node;
        std::string content; // while it is open
        std::size_t position = 0;
        bool isOpen = false;
    };

    class FolderOf final : public ReadOnlyFolderEntry {
    public:
        FolderOf(MapVFS & ofSystem, Node const & ofNode) : system(ofSystem), node(ofNode) {}
        EnumerateStatus Enumerate(EntryEnumerator & enumerator) override {
            for (Node const & entry : node.below)
                if (!enumerator.EntryFound(entry.name, !entry.make))
                    return EnumerateStatus::Stopped;
            return EnumerateStatus::Done;
        }
        GetTypeStatus GetType(Name const & name, EntryType * type) override {
            Node const * const found = Find(node, name);
            if (found == nullptr)
                return GetTypeStatus::EntryNotFound;
            *type = found->make ? EntryType::File : EntryType::Folder;
            return GetTypeStatus::Done;
        }
        CopyStatus Copy(Name const &, FolderEntry &, Name const &) override {
            return CopyStatus::AccessDenied; // the target would be in this file system
        }
        TimeStatus GetCreationTime(int * time) override { return GetModificationTime(time); }
        TimeStatus GetModificationTime(int * time) override {
            *time = node.time;
            return TimeStatus::Done;
        }
        bool IsReadable() override { return true; }
        AttributeStatus IsOnLocalVolume(bool * isLocal) override {
            *isLocal = true;
            return AttributeStatus::Done;
        }
        AttributeStatus IsOnFixedVolume(bool * isFixed) override {
            *isFixed = false;
            return AttributeStatus::Done;
        }
        BaseFileSystem * GetOwnerFileSystem() override { return &system; }

    private:
        MapVFS & system;
        Node const & node;
    };

    static Node const * Find(Node const & folder, Name const & name) {
        auto const found = folder.byName.find(name);
        return found != folder.byName.end() ? *found : nullptr;
    }
    Node const * Find(Location const & location) const {
        if (location != place && !place.IsAncestorOf(location))
            return nullptr;
        Node const * node = &root;
        Name name;
        unsigned int const length = location.GetLocalLength();
        for (unsigned int i = place.GetLocalLength(); node != nullptr && i < length; ++i)
            node = location.GetLocalName(i, &name) == NoError ? Find(*node, name) : nullptr;
        return node;
    }
    static Node * AddBelow(Node * folder, Name const & name) {
        Node & node = folder->below.emplace_back();
        try {
            node.name = name;
            SetTime(&node);
            folder->byName.insert(&node);
        } catch (...) { // entries that cannot be found must not be enumerated
            folder->below.pop_back();
            throw;
        }
        return &node;
    }
    static void SetTime(Node * node) {
        node->time = static_cast<int>(Mu::GetClock().GetWallMilliseconds() / 1000);
    }

    Node root;
    Location place;
};

} // namespace IO
