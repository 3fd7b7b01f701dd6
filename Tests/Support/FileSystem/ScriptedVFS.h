#pragma once

#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/FixedVFS.h>
#include <Kestrel/FileSystem/FolderEntry.h>
#include <Kestrel/Root/Memory.h>

#include <string>

namespace Tests {

class ScriptedVFS;

/// A file that answers each call as it is told to.
class ScriptedFile : public IO::FileEntry {
public:
    explicit ScriptedFile(ScriptedVFS & owner) : owner(owner) {}

    OpenStatus open{};
    ReadStatus read{};
    WriteStatus write{};
    WriteStatus flush{};
    SeekStatus seek{};
    CloseStatus close{};
    LengthStatus length{};
    TimeStatus time{};
    TypeStatus type{};
    AttributeStatus attribute{};
    LockerStatus locker{};
    bool isProtected = false;
    bool throws = false; // when written to
    int opens = 0;
    std::string written;

    TimeStatus SetCreationTime(int const &) override { return time; }
    TimeStatus GetCreationTime(int *) override { return time; }
    TimeStatus SetModificationTime(int const &) override { return time; }
    TimeStatus GetModificationTime(int *) override { return time; }
    IO::BaseFileSystem * GetOwnerFileSystem() override;
    OpenStatus Open(OpenMode) override {
        ++opens;
        return open;
    }
    ReadStatus Read(char *, unsigned int, unsigned int * count) override {
        *count = 0;
        return read;
    }
    WriteStatus Write(char const * source, unsigned int count, unsigned int * done) override {
        if (throws)
            Mu::ThrowOutOfMemory();
        if (write != WriteStatus::Done)
            return write;
        written.append(source, *done = count);
        return write;
    }
    SeekStatus Seek(SeekOrigin, long long offset, unsigned long long * position) override {
        *position = static_cast<unsigned long long>(offset);
        return seek;
    }
    WriteStatus Flush() override { return flush; }
    CloseStatus Close() override { return close; }
    LengthStatus SetDataLength(unsigned long long) override { return length; }
    LengthStatus GetDataLength(unsigned long long * result) override {
        *result = reportedLength;
        return length;
    }
    TypeStatus SetTypeInfo(unsigned int, unsigned int) override { return type; }
    TypeStatus GetTypeInfo(unsigned int *, unsigned int *) override { return type; }
    AttributeStatus IsWriteProtected(bool * result) override {
        *result = isProtected;
        return attribute;
    }
    AttributeStatus SetWriteProtection(bool) override { return attribute; }
    LockerStatus GetWriteLocker(Mu::UniString * program) override {
        *program = "editor";
        return locker;
    }

    unsigned long long reportedLength = 0;

private:
    ScriptedVFS & owner;
};

/// A folder that answers each call as it is told to.
class ScriptedFolder : public IO::FolderEntry {
public:
    explicit ScriptedFolder(ScriptedVFS & owner) : owner(owner) {}

    CreateStatus create{};
    MoveStatus move{};
    CopyStatus copy{};
    ExchangeStatus exchange{};
    DeleteStatus remove{};
    GetTypeStatus typeStatus{};
    EntryType type{};
    EnumerateStatus enumerate{};
    AttributeStatus attribute{};
    TimeStatus time{};
    bool isWriteable = true;
    int tries = 0;

    TimeStatus SetCreationTime(int const &) override { return time; }
    TimeStatus GetCreationTime(int *) override { return time; }
    TimeStatus SetModificationTime(int const &) override { return time; }
    TimeStatus GetModificationTime(int *) override { return time; }
    IO::BaseFileSystem * GetOwnerFileSystem() override;
    CreateStatus CreateFile(IO::Name const &, IO::FileEntry *) override { return create; }
    CreateStatus CreateFolder(IO::Name const &, IO::FolderEntry *) override { return create; }
    CreateStatus CreateLink(IO::Name const &, IO::Location const &) override { return create; }
    ExchangeStatus Exchange(IO::Name const &, IO::Name const &, bool, IO::Name *,
                            IO::Name *) override {
        ++tries;
        return exchange;
    }
    MoveStatus Move(IO::Name const &, FolderEntry &, IO::Name const &, bool) override {
        ++tries;
        return move;
    }
    CopyStatus Copy(IO::Name const &, FolderEntry &, IO::Name const &) override { return copy; }
    DeleteStatus Delete(IO::Name const &, bool) override {
        ++tries;
        return remove;
    }
    GetTypeStatus GetType(IO::Name const &, EntryType * result) override {
        *result = type;
        return typeStatus;
    }
    EnumerateStatus Enumerate(IO::EntryEnumerator &) override { return enumerate; }
    AttributeStatus GetFreeSpace(unsigned long long *) override { return attribute; }
    bool IsReadable() override { return true; }
    bool IsWriteable() override { return isWriteable; }
    AttributeStatus IsOnLocalVolume(bool *) override { return attribute; }
    AttributeStatus IsOnFixedVolume(bool *) override { return attribute; }

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
    ConnectStatus connect{};

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
