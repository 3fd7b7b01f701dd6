#pragma once

#include <Kestrel/FileSystem/FileEntry.h>
#include <Kestrel/FileSystem/FixedVFS.h>
#include <Kestrel/FileSystem/FolderEntry.h>
#include <Kestrel/FileSystem/NativeFileSystem.h>
#include <Kestrel/Location/Location.h>
#include <Kestrel/Location/Name.h>

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
        return inner.GetTypeInfo(type, creator);
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
/// written by the library, and yet outlives the process.
class DiskVFS final : public IO::FixedVFS {
public:
    explicit DiskVFS(IO::Location const & root) : root(root) {}

    ConnectStatus Connect(IO::Location * location, IO::FolderEntry ** entry) override {
        return ConnectTo<DiskFolderEntry>(*location, entry);
    }
    ConnectStatus Connect(IO::Location * location, IO::FileEntry ** entry) override {
        return ConnectTo<DiskFileEntry>(*location, entry);
    }
    void Disconnect(IO::FolderEntry * entry) override { delete entry; }
    void Disconnect(IO::FileEntry * entry) override { delete entry; }
    void Mounted(IO::Location const & mountPoint) override { place = mountPoint; }
    void Unmounted() override {}

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
        ConnectStatus const status = IO::NativeFileSystem::Get()->Connect(&native, &inner);
        if (status == ConnectStatus::Connected)
            *entry = new DiskEntry(*this, *inner);
        return status;
    }

    IO::Location root;
    IO::Location place;
};

} // namespace Tests
