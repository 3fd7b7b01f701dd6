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
#include <map>
#include <memory>
#include <string>

namespace Tests {

/// A file of the disk as that of another file system.
class DiskFileEntry final : public IO::FileEntry {
public:
    DiskFileEntry(IO::BaseFileSystem & owner, IO::FileEntry & inner) : owner(owner), inner(inner) {}
    ~DiskFileEntry() override { IO::NativeFileSystem::Get()->Disconnect(&inner); }

    TimeStatus SetCreationTime(int const & time) override { return inner.SetCreationTime(time); }
    TimeStatus GetCreationTime(int * time) override { return inner.GetCreationTime(time); }
    TimeStatus SetModificationTime(int const & time) override {
        return inner.SetModificationTime(time);
    }
    TimeStatus GetModificationTime(int * time) override { return inner.GetModificationTime(time); }
    IO::BaseFileSystem * GetOwnerFileSystem() override { return &owner; }
    OpenStatus Open(OpenMode mode) override { return inner.Open(mode); }
    ReadStatus Read(char * destination, unsigned int count, unsigned int * read) override {
        return inner.Read(destination, count, read);
    }
    WriteStatus Write(char const * source, unsigned int count, unsigned int * written) override {
        return inner.Write(source, count, written);
    }
    SeekStatus Seek(SeekOrigin origin, long long offset, unsigned long long * position) override {
        return inner.Seek(origin, offset, position);
    }
    WriteStatus Flush() override { return inner.Flush(); }
    CloseStatus Close() override { return inner.Close(); }
    LengthStatus SetDataLength(unsigned long long length) override {
        return inner.SetDataLength(length);
    }
    LengthStatus GetDataLength(unsigned long long * length) override {
        return inner.GetDataLength(length);
    }
    TypeStatus SetTypeInfo(unsigned int type, unsigned int creator) override {
        return inner.SetTypeInfo(type, creator);
    }
    TypeStatus GetTypeInfo(unsigned int * type, unsigned int * creator) override {
        TypeStatus const status = inner.GetTypeInfo(type, creator);
        *type = typeCode;
        return status;
    }
    AttributeStatus IsWriteProtected(bool * writeProtected) override {
        return inner.IsWriteProtected(writeProtected);
    }
    AttributeStatus SetWriteProtection(bool writeProtected) override {
        return inner.SetWriteProtection(writeProtected);
    }
    LockerStatus GetWriteLocker(Mu::UniString * program) override {
        return inner.GetWriteLocker(program);
    }

    unsigned int typeCode = 0; // which no disk here keeps

private:
    IO::BaseFileSystem & owner;
    IO::FileEntry & inner;
};

/// A folder of the disk as that of another file system.
class DiskFolderEntry final : public IO::FolderEntry {
public:
    DiskFolderEntry(IO::BaseFileSystem & owner, IO::FolderEntry & inner)
        : owner(owner), inner(inner) {}
    ~DiskFolderEntry() override { IO::NativeFileSystem::Get()->Disconnect(&inner); }

    TimeStatus SetCreationTime(int const & time) override { return inner.SetCreationTime(time); }
    TimeStatus GetCreationTime(int * time) override { return inner.GetCreationTime(time); }
    TimeStatus SetModificationTime(int const & time) override {
        return inner.SetModificationTime(time);
    }
    TimeStatus GetModificationTime(int * time) override { return inner.GetModificationTime(time); }
    IO::BaseFileSystem * GetOwnerFileSystem() override { return &owner; }
    CreateStatus CreateFile(IO::Name const & name, IO::FileEntry *) override {
        return inner.CreateFile(name, nullptr);
    }
    CreateStatus CreateFolder(IO::Name const & name, IO::FolderEntry *) override {
        return inner.CreateFolder(name, nullptr);
    }
    CreateStatus CreateLink(IO::Name const & name, IO::Location const & target) override {
        return inner.CreateLink(name, target);
    }
    MoveStatus Move(IO::Name const & from, IO::FolderEntry & target, IO::Name const & to,
                    bool force) override {
        return inner.Move(from, GetInner(target), to, force);
    }
    CopyStatus Copy(IO::Name const & from, IO::FolderEntry & target, IO::Name const & to) override {
        return inner.Copy(from, GetInner(target), to);
    }
    DeleteStatus Delete(IO::Name const & name, bool force) override {
        return inner.Delete(name, force);
    }
    GetTypeStatus GetType(IO::Name const & name, EntryType * type) override {
        return inner.GetType(name, type);
    }
    EnumerateStatus Enumerate(IO::EntryEnumerator & enumerator) override {
        return inner.Enumerate(enumerator);
    }
    AttributeStatus GetFreeSpace(unsigned long long * bytes) override {
        return inner.GetFreeSpace(bytes);
    }
    bool IsReadable() override { return inner.IsReadable(); }
    bool IsWriteable() override { return inner.IsWriteable(); }
    AttributeStatus IsOnLocalVolume(bool * isLocal) override {
        return inner.IsOnLocalVolume(isLocal);
    }
    AttributeStatus IsOnFixedVolume(bool * isFixed) override {
        return inner.IsOnFixedVolume(isFixed);
    }

private:
    static IO::FolderEntry & GetInner(IO::FolderEntry & entry) { // asked for own entries only
        return static_cast<DiskFolderEntry &>(entry).inner;
    }

    IO::BaseFileSystem & owner;
    IO::FolderEntry & inner;
};

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
        return ConnectTo<DiskFolderEntry>(*location, entry);
    }
    ConnectStatus Connect(IO::Location * location, IO::FileEntry ** entry) override {
        return ConnectTo<DiskFileEntry>(*location, entry);
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
            *entry = new DiskEntry(*this, *inner);
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
