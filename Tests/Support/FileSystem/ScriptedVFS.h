#pragma once

#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/FixedVFS.h>
#include <Kestrel/FileSystem/FolderEntry.h>
#include <Kestrel/Root/Memory/Memory.h>

#include <string>

namespace Tests {

class ScriptedVFS;

/// One that fits the operation which returns it.
struct AnyStatus {
    template <typename Status>
    operator Status() const {
        return static_cast<Status>(number);
    }
    unsigned int number = 0;
};

/// A file that answers each call as it is told to.
class ScriptedFile : public IO::FileEntry {
public:
    explicit ScriptedFile(ScriptedVFS & owner) : owner(owner) {}

    AnyStatus open; // of Open,
    AnyStatus close;
    AnyStatus status; // and of all others
    bool isProtected = false;
    bool throws = false; // when written to
    int opens = 0;
    std::string written;

    TimeStatus SetCreationTime(int const &) override { return status; }
    TimeStatus GetCreationTime(int *) override { return status; }
    TimeStatus SetModificationTime(int const &) override { return status; }
    TimeStatus GetModificationTime(int *) override { return status; }
    IO::BaseFileSystem * GetOwnerFileSystem() override;
    OpenStatus Open(OpenMode) override {
        ++opens;
        return open;
    }
    ReadStatus Read(char *, unsigned int, unsigned int * count) override {
        *count = 0;
        return status;
    }
    WriteStatus Write(char const * source, unsigned int count, unsigned int * done) override {
        if (throws)
            Mu::ThrowOutOfMemory();
        if (status.number != 0)
            return status;
        written.append(source, *done = count);
        return status;
    }
    SeekStatus Seek(SeekOrigin, long long offset, unsigned long long * position) override {
        *position = static_cast<unsigned long long>(offset);
        return status;
    }
    WriteStatus Flush() override { return status; }
    CloseStatus Close() override { return close; }
    LengthStatus SetDataLength(unsigned long long) override { return status; }
    LengthStatus GetDataLength(unsigned long long * result) override {
        *result = reportedLength;
        return status;
    }
    TypeStatus SetTypeInfo(unsigned int, unsigned int) override { return status; }
    TypeStatus GetTypeInfo(unsigned int *, unsigned int *) override { return status; }
    AttributeStatus IsWriteProtected(bool * result) override {
        *result = isProtected;
        return status;
    }
    AttributeStatus SetWriteProtection(bool) override { return status; }
    LockerStatus GetWriteLocker(Mu::UniString * program) override {
        *program = "editor";
        return status;
    }

    unsigned long long reportedLength = 0;

private:
    ScriptedVFS & owner;
};

/// A folder that answers each call as it is told to.
class ScriptedFolder : public IO::FolderEntry {
public:
    explicit ScriptedFolder(ScriptedVFS & owner) : owner(owner) {}

    AnyStatus status; // of all operations but GetType
    AnyStatus typeStatus;
    EntryType type{};
    int tries = 0;

    TimeStatus SetCreationTime(int const &) override { return status; }
    TimeStatus GetCreationTime(int *) override { return status; }
    TimeStatus SetModificationTime(int const &) override { return status; }
    TimeStatus GetModificationTime(int *) override { return status; }
    IO::BaseFileSystem * GetOwnerFileSystem() override;
    CreateStatus CreateFile(IO::Name const &, IO::FileEntry *) override { return status; }
    CreateStatus CreateFolder(IO::Name const &, IO::FolderEntry *) override { return status; }
    CreateStatus CreateLink(IO::Name const &, IO::Location const &) override { return status; }
    ExchangeStatus Exchange(IO::Name const &, IO::Name const &, bool, IO::Name *,
                            IO::Name *) override {
        ++tries;
        return status;
    }
    MoveStatus Move(IO::Name const &, FolderEntry &, IO::Name const &, bool) override {
        ++tries;
        return status;
    }
    CopyStatus Copy(IO::Name const &, FolderEntry &, IO::Name const &) override { return status; }
    DeleteStatus Delete(IO::Name const &, bool) override {
        ++tries;
        return status;
    }
    GetTypeStatus GetType(IO::Name const &, EntryType * result) override {
        *result = type;
        return typeStatus;
    }
    EnumerateStatus Enumerate(IO::EntryEnumerator &) override { return status; }
    AttributeStatus GetFreeSpace(unsigned long long *) override { return status; }
    bool IsReadable() override { return true; }
    bool IsWriteable() override { return true; }
    AttributeStatus IsOnLocalVolume(bool *) override { return status; }
    AttributeStatus IsOnFixedVolume(bool *) override { return status; }

private:
    ScriptedVFS & owner;
};

/// Mounted at a place where the disk has nothing; every location below is the one file or the one
/// folder.
class ScriptedVFS : public IO::FixedVFS {
public:
    ScriptedVFS() : file(*this), folder(*this), place(u"C:\\no such folder 8351\\scripted") {
        IO::fileSystem.Mount(*this, place);
    }
    ~ScriptedVFS() override { IO::fileSystem.Unmount(*this); }

    ScriptedFile file;
    ScriptedFolder folder;
    AnyStatus connect;

    IO::Location const & GetPlace() const { return place; }
    IO::Location GetFile() const { return IO::Location(place, IO::Name("file")); }

    void Mounted(IO::Location const &) override {}
    void Unmounted() override {}
    ConnectStatus Connect(IO::Location *, IO::FolderEntry ** entry) override {
        *entry = &folder;
        return connect;
    }
    ConnectStatus Connect(IO::Location *, IO::FileEntry ** entry) override {
        *entry = &file;
        return connect;
    }
    void Disconnect(IO::FolderEntry *) override {}
    void Disconnect(IO::FileEntry *) override {}

private:
    IO::Location place;
};

inline IO::BaseFileSystem * ScriptedFile::GetOwnerFileSystem() {
    return &owner;
}
inline IO::BaseFileSystem * ScriptedFolder::GetOwnerFileSystem() {
    return &owner;
}

} // namespace Tests
