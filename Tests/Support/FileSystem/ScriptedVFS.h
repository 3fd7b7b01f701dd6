#pragma once

#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/Root/Memory/Memory.h>

#include "Tests/Support/FileSystem/DiskVFS.h"

#include <string>

namespace Tests {

/// A file that answers each call as it is told to.
class ScriptedFile : public TestFile {
public:
    using TestFile::TestFile;

    AnyStatus open;  // of Open,
    AnyStatus close; // and `status` of all others
    bool isProtected = false;
    bool throws = false; // when written to
    int opens = 0;
    std::string written;
    unsigned long long reportedLength = 0;

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
    CloseStatus Close() override { return close; }
    LengthStatus GetDataLength(unsigned long long * result) override {
        *result = reportedLength;
        return status;
    }
    AttributeStatus IsWriteProtected(bool * result) override {
        *result = isProtected;
        return status;
    }
    LockerStatus GetWriteLocker(Mu::UniString * program) override {
        *program = "editor";
        return status;
    }
};

/// A folder that answers each call as it is told to.
class ScriptedFolder : public TestFolder {
public:
    using TestFolder::TestFolder;

    AnyStatus typeStatus; // of GetType
    EntryType type{};
    int tries = 0;

    ExchangeStatus Exchange(IO::Name const &, IO::Name const &, bool, IO::Name *,
                            IO::Name *) override {
        ++tries;
        return status;
    }
    MoveStatus Move(IO::Name const &, FolderEntry &, IO::Name const &, bool) override {
        ++tries;
        return status;
    }
    DeleteStatus Delete(IO::Name const &, bool) override {
        ++tries;
        return status;
    }
    GetTypeStatus GetType(IO::Name const &, EntryType * result) override {
        *result = type;
        return typeStatus;
    }
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

} // namespace Tests
