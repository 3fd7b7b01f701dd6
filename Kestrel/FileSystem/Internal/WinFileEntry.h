#pragma once

#include <Kestrel/FileSystem/FileEntry.h>
#include <Kestrel/FileSystem/FileSystemTypes.h>
#include <Kestrel/FileSystem/Platform/FileCalls.h>
#include <Kestrel/Root/Text/UniString.h>

namespace IO {

class WinFileSystem;

/// A file of the platform, by its path.
///
/// Kept in the pool of its file system between two uses; a failed operation leaves no handle open.
class WinFileEntry final : public FileEntry {
public:
    explicit WinFileEntry(WinFileSystem & owner) : owner(owner) {}
    ~WinFileEntry() override;
    WinFileEntry(WinFileEntry const &) = delete;
    WinFileEntry & operator=(WinFileEntry const &) = delete;

    /// Takes ownership of the path. Before this, and after Release, the entry is unused.
    void Set(Mu::UniString & newPath) noexcept { path.Swap(newPath); }
    /// From now on opens the file in this folder, which the caller holds open while the entry is
    /// used. False: the entry's path is not that of the file there, but that of a link's target.
    bool SetFolder(FindHandle newFolder, PathText expectedPath) noexcept;
    void Release() noexcept;

    TimeStatus SetTime(TimeKind kind, long long seconds);
    TimeStatus GetTime(TimeKind kind, long long * seconds) const;
    AttributeStatus GetDiskUse(DiskUse * use) const;
    TimeStatus SetCreationTime(int const & time) override;
    TimeStatus GetCreationTime(int * time) override;
    TimeStatus SetModificationTime(int const & time) override;
    TimeStatus GetModificationTime(int * time) override;
    BaseFileSystem * GetOwnerFileSystem() override;

    OpenStatus Open(OpenMode mode) override;
    ReadStatus Read(char * destination, unsigned int count, unsigned int * read) override;
    WriteStatus Write(char const * source, unsigned int count, unsigned int * written) override;
    SeekStatus Seek(SeekOrigin origin, long long offset, unsigned long long * position) override;
    WriteStatus Flush() override;
    CloseStatus Close() override;
    LengthStatus SetDataLength(unsigned long long length) override;
    LengthStatus GetDataLength(unsigned long long * length) override;
    TypeStatus SetTypeInfo(unsigned int type, unsigned int creator) override;
    TypeStatus GetTypeInfo(unsigned int * type, unsigned int * creator) override;
    AttributeStatus IsWriteProtected(bool * writeProtected) override;
    AttributeStatus SetWriteProtection(bool writeProtected) override;
    LockerStatus GetWriteLocker(Mu::UniString * program) override;

private:
    OpenStatus OpenHandle(OpenMode mode, FileHandle * opened);
    SeekStatus CheckForwardSeek(SeekOrigin origin, unsigned long long offset);
    LengthStatus SetEnd(FileHandle file, unsigned long long length);

    WinFileSystem & owner;
    Mu::UniString path;
    FindHandle folder = nullptr; // where the file is opened; null: by its path
    FileHandle handle = nullptr; // null while closed
};

} // namespace IO
