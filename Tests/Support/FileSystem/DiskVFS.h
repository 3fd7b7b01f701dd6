#pragma once

#include <Kestrel/FileSystem/FileEntry.h>
#include <Kestrel/FileSystem/FixedVFS.h>
#include <Kestrel/FileSystem/FolderEntry.h>
#include <Kestrel/FileSystem/NativeFileSystem.h>
#include <Kestrel/FileSystem/RollingVFS.h>
#include <Kestrel/Location/Location.h>
#include <Kestrel/Location/Name.h>

#include "Tests/Support/TempFolder.h"

#include <filesystem>
#include <memory>
#include <string>

namespace Tests {

/// One that fits the operation which returns it.
struct AnyStatus {
    template <typename Status>
    operator Status() const {
        return static_cast<Status>(number);
    }
    unsigned int number = 0;
};

// Goes on to the entry of the disk, or is answered by the status where there is none.
#define KESTREL_TEST_OPERATION(Result, Name, Parameters, ...)                                      \
    Result Name Parameters override {                                                              \
        if (inner == nullptr)                                                                      \
            return status;                                                                         \
        return inner->Name(__VA_ARGS__);                                                           \
    }
#define KESTREL_TEST_TIMES                                                                         \
    KESTREL_TEST_OPERATION(TimeStatus, SetCreationTime, (int const & time), time)                  \
    KESTREL_TEST_OPERATION(TimeStatus, GetCreationTime, (int * time), time)                        \
    KESTREL_TEST_OPERATION(TimeStatus, SetModificationTime, (int const & time), time)              \
    KESTREL_TEST_OPERATION(TimeStatus, GetModificationTime, (int * time), time)

/// A file of the disk as that of another file system, or one that returns a status.
class TestFile : public IO::FileEntry {
public:
    explicit TestFile(IO::BaseFileSystem & owner, IO::FileEntry * inner = nullptr)
        : owner(owner), inner(inner) {}
    ~TestFile() override {
        if (inner != nullptr)
            IO::NativeFileSystem::Get()->Disconnect(inner);
    }

    IO::BaseFileSystem * GetOwnerFileSystem() override { return &owner; }
    KESTREL_TEST_TIMES
    KESTREL_TEST_OPERATION(OpenStatus, Open, (OpenMode mode), mode)
    KESTREL_TEST_OPERATION(ReadStatus, Read, (char * to, unsigned int count, unsigned int * read),
                           to, count, read)
    KESTREL_TEST_OPERATION(WriteStatus, Write,
                           (char const * from, unsigned int count, unsigned int * written), from,
                           count, written)
    KESTREL_TEST_OPERATION(SeekStatus, Seek,
                           (SeekOrigin origin, long long offset, unsigned long long * position),
                           origin, offset, position)
    KESTREL_TEST_OPERATION(WriteStatus, Flush, ())
    KESTREL_TEST_OPERATION(CloseStatus, Close, ())
    KESTREL_TEST_OPERATION(LengthStatus, SetDataLength, (unsigned long long length), length)
    KESTREL_TEST_OPERATION(LengthStatus, GetDataLength, (unsigned long long * length), length)
    KESTREL_TEST_OPERATION(TypeStatus, SetTypeInfo, (unsigned int type, unsigned int creator), type,
                           creator)
    TypeStatus GetTypeInfo(unsigned int * type, unsigned int * creator) override {
        TypeStatus const result = inner == nullptr ? status : inner->GetTypeInfo(type, creator);
        *type = typeCode;
        return result;
    }
    KESTREL_TEST_OPERATION(AttributeStatus, IsWriteProtected, (bool * isProtected), isProtected)
    KESTREL_TEST_OPERATION(AttributeStatus, SetWriteProtection, (bool isProtected), isProtected)
    KESTREL_TEST_OPERATION(LockerStatus, GetWriteLocker, (Mu::UniString * program), program)

    AnyStatus status;
    unsigned int typeCode = 0; // which no disk here keeps

private:
    IO::BaseFileSystem & owner;
    IO::FileEntry * const inner;
};

/// The same for a folder.
class TestFolder : public IO::FolderEntry {
public:
    explicit TestFolder(IO::BaseFileSystem & owner, IO::FolderEntry * inner = nullptr)
        : owner(owner), inner(inner) {}
    ~TestFolder() override {
        if (inner != nullptr)
            IO::NativeFileSystem::Get()->Disconnect(inner);
    }

    IO::BaseFileSystem * GetOwnerFileSystem() override { return &owner; }
    KESTREL_TEST_TIMES
    KESTREL_TEST_OPERATION(CreateStatus, CreateFile, (IO::Name const & name, IO::FileEntry *), name,
                           nullptr)
    KESTREL_TEST_OPERATION(CreateStatus, CreateFolder, (IO::Name const & name, IO::FolderEntry *),
                           name, nullptr)
    KESTREL_TEST_OPERATION(CreateStatus, CreateLink,
                           (IO::Name const & name, IO::Location const & target), name, target)
    KESTREL_TEST_OPERATION(MoveStatus, Move,
                           (IO::Name const & from, IO::FolderEntry & target, IO::Name const & to,
                            bool force),
                           from, GetInner(target), to, force)
    KESTREL_TEST_OPERATION(CopyStatus, Copy,
                           (IO::Name const & from, IO::FolderEntry & target, IO::Name const & to),
                           from, GetInner(target), to)
    KESTREL_TEST_OPERATION(DeleteStatus, Delete, (IO::Name const & name, bool force), name, force)
    KESTREL_TEST_OPERATION(GetTypeStatus, GetType, (IO::Name const & name, EntryType * type), name,
                           type)
    KESTREL_TEST_OPERATION(EnumerateStatus, Enumerate, (IO::EntryEnumerator & enumerator),
                           enumerator)
    KESTREL_TEST_OPERATION(AttributeStatus, GetFreeSpace, (unsigned long long * bytes), bytes)
    KESTREL_TEST_OPERATION(AttributeStatus, IsOnLocalVolume, (bool * isLocal), isLocal)
    KESTREL_TEST_OPERATION(AttributeStatus, IsOnFixedVolume, (bool * isFixed), isFixed)
    bool IsReadable() override { return inner == nullptr || inner->IsReadable(); }
    bool IsWriteable() override { return inner == nullptr || inner->IsWriteable(); }

    AnyStatus status;

private:
    static IO::FolderEntry & GetInner(IO::FolderEntry & entry) { // asked for own entries only
        return *static_cast<TestFolder &>(entry).inner;
    }

    IO::BaseFileSystem & owner;
    IO::FolderEntry * const inner;
};

#undef KESTREL_TEST_TIMES
#undef KESTREL_TEST_OPERATION

/// A folder of the disk as a file system of its own, so that what goes between the two is read and
/// written by the library, and yet outlives the process. `Base` is FixedVFS or RollingVFS.
template <typename Base>
class DiskVFS : public Base {
public:
    using ConnectStatus = typename Base::ConnectStatus;

    DiskVFS() = default; ///< of a folder of its own, which AddFile creates
    explicit DiskVFS(IO::Location const & root) : root(root) {}

    void AddFile(std::string const & path, std::string const & content) {
        std::filesystem::create_directories((GetDisk() / path).parent_path());
        GetDisk().Write(path, content);
    }
    TempFolder const & GetDisk() {
        if (own == nullptr) {
            own = std::make_unique<TempFolder>();
            root = IO::Location(own->GetPortable().c_str());
        }
        return *own;
    }
    /// How many entries are connected right now.
    int CountConnected() const { return connected; }

    ConnectStatus Connect(IO::Location * location, IO::FolderEntry ** entry) override {
        return ConnectTo<TestFolder>(*location, entry);
    }
    ConnectStatus Connect(IO::Location * location, IO::FileEntry ** entry) override {
        return ConnectTo<TestFile>(*location, entry);
    }
    void Disconnect(IO::FolderEntry * entry) override {
        --connected;
        delete entry;
    }
    void Disconnect(IO::FileEntry * entry) override {
        --connected;
        delete entry;
    }

protected:
    IO::Location place; // of the root

private:
    template <typename DiskEntry, typename Entry>
    ConnectStatus ConnectTo(IO::Location const & location, Entry ** entry) {
        IO::Location native(root);
        for (unsigned int i = place.GetLocalLength(); i < location.GetLocalLength(); ++i) {
            IO::Name name;
            if (location.GetLocalName(i, &name) != IO::NoError ||
                native.AppendToLocal(name) != IO::NoError)
                return ConnectStatus::Other;
        }
        Entry * inner = nullptr;
        ConnectStatus const status = root.IsRoot()
                                         ? ConnectStatus::NotFound
                                         : IO::NativeFileSystem::Get()->Connect(&native, &inner);
        if (status != ConnectStatus::Connected)
            return status;
        try {
            *entry = new DiskEntry(*this, inner);
        } catch (...) { // without memory
            IO::NativeFileSystem::Get()->Disconnect(inner);
            throw;
        }
        ++connected;
        return status;
    }

    std::unique_ptr<TempFolder> own;
    IO::Location root; // that of the computer: there is none yet, and nothing is found
    int connected = 0;
};

/// Lives where it is mounted.
class DiskFixedVFS : public DiskVFS<IO::FixedVFS> {
public:
    using DiskVFS::DiskVFS;
    void Mounted(IO::Location const & mountPoint) override {
        place = mountPoint;
        ++mountCount;
    }
    void Unmounted() override { --mountCount; }

    int mountCount = 0;
};

/// Claims one location and everything below.
class DiskRollingVFS : public DiskVFS<IO::RollingVFS> {
public:
    explicit DiskRollingVFS(IO::Location const & claimed) { place = claimed; }
    bool Serves(IO::Location const & location) override {
        ++questions;
        return location == place || place.IsAncestorOf(location);
    }

    int questions = 0;
};

} // namespace Tests
