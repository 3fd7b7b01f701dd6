#pragma once

#include <Kestrel/FileSystem/Platform/DriveTable.h>
#include <Kestrel/FileSystem/Platform/FileCalls.h>
#include <Kestrel/FileSystem/Platform/Posix/FolderNames.h>
#include <Kestrel/Location/Platform/Posix/ErrorMapping.h>

#include <atomic>
#include <sys/stat.h>

namespace IO {

struct ShareLock;

/// The file calls of Linux, as documented by FileCalls. Substitutes for what Linux lacks are beside
/// this class: drives in DriveTable, spellings in FolderNames, share modes in ShareLock, creation
/// times in Times, volumes, special folders and copying in files of their own.
///
/// Write protection is the lack of every write permission bit, and is checked here too, since the
/// system exempts root. A handle is a file descriptor with its access. Interrupted calls are
/// repeated, and every descriptor is closed on exec.
///
/// What Windows refuses and this class does not: moving a folder while a file beneath it is open.
class PosixFileCalls : public FileCalls {
public:
    /// `drives` as for DriveTable.
    explicit PosixFileCalls(std::string_view drives) : drives(drives) {}

    DriveTable const & GetDrives() const { return drives; }

    unsigned int SetFileAttributes(EntryPath path, unsigned int attributes) override;
    unsigned int GetFileAttributes(EntryPath path, unsigned int * attributes) override;
    unsigned int GetDiskUse(EntryPath path, DiskUse * use) override;
    unsigned int GetDiskFreeSpaceEx(PathText folder, unsigned long long * available) override;
    unsigned int FindFirstFile(PathText path, FindData * data) override;
    unsigned int OpenFolder(EntryPath folder, FolderUse use, FindHandle * find) override;
    unsigned int GetFolderId(FindHandle find, FolderId * id) override;
    unsigned int FindNextFile(FindHandle find, FindData * data) override;
    unsigned int LookAtFound(FindHandle find, FindData * data) override;
    unsigned int FindClose(FindHandle find) override;
    unsigned int CreateFile(EntryPath path, unsigned int access, unsigned int share,
                            unsigned int disposition, unsigned int attributes,
                            FileHandle * file) override;
    unsigned int CloseHandle(FileHandle file) override;
    unsigned int CopyFile(EntryPath from, EntryPath to) override;
    unsigned int MoveFile(PathText from, PathText to) override;
    unsigned int ReplaceFile(PathText from, PathText to) override;
    unsigned int CreateFileLike(PathText path, PathText model) override;
    unsigned int DeleteFile(EntryPath path) override;
    unsigned int CreateDirectory(EntryPath path) override;
    unsigned int RemoveDirectory(EntryPath path) override;
    unsigned int SetFileTime(FileHandle file, unsigned long long const * creationTime,
                             unsigned long long const * lastWriteTime) override;
    unsigned int GetSystemDirectory(TextBuffer * path) override;
    unsigned int GetModuleFileName(TextBuffer * path) override;
    unsigned int GetCurrentDirectory(TextBuffer * path) override;
    unsigned int GetTempPath(TextBuffer * path) override;
    unsigned int GetLongPathName(PathText path, TextBuffer * longPath) override;
    unsigned int SHGetFolderPath(int folder, TextBuffer * path) override;
    unsigned int GetVolumeInformation(PathText root) override;
    unsigned int GetLogicalDriveStrings(TextBuffer * drives) override;
    unsigned int GetDriveType(PathText root) override;
    unsigned int ReadFile(FileHandle file, char * destination, unsigned int count,
                          unsigned int * read) override;
    unsigned int WriteFile(FileHandle file, char const * source, unsigned int count,
                           unsigned int * written) override;
    unsigned int SetEndOfFile(FileHandle file) override;
    unsigned int GetFileSizeEx(FileHandle file, unsigned long long * size) override;
    unsigned int FlushFileBuffers(FileHandle file) override;
    unsigned int SetFilePointerEx(FileHandle file, long long offset, unsigned long long * position,
                                  unsigned int origin) override;
    bool MarksLinks() const override { return true; }
    LinkStatus ReadShellLink(PathText path, TextBuffer * target) override;
    unsigned int CreateShellLink(PathText path, PathText target, PathText description) override;
    bool IsSameName(PathText a, PathText b) override;
    bool ComparesByUnits() const override { return true; }
    unsigned int SetErrorMode(unsigned int mode) override;
    unsigned int GetLastError() override;
    void SetLastError(unsigned int error) override;
    unsigned int FormatMessage(unsigned int error, char * text, unsigned int size) override;

private:
    /// How a file is opened, apart from its path.
    struct Opening {
        unsigned int access;
        unsigned int disposition;
        unsigned int attributes;
        ShareLock const * lock;

        int Open(int at, char const * path, int more) const;
        unsigned int Admit(int descriptor) const;
    };

    unsigned int ToNative(EntryPath path, NativeEntry * native) const;
    /// For calls that take no folder beside a path: NameTooLong for one reached in steps.
    static unsigned int CheckIsWhole(NativeEntry const & native) {
        return native.at == AT_FDCWD ? FileError::None : FileError::NameTooLong;
    }

    /// Calls `call` with the place of the entry, as openat takes it, and once more with the
    /// spelling of the folders when nothing has that path. `call` returns false with errno.
    template <typename Call>
    unsigned int OnEntry(EntryPath path, NativeEntry * native, Call call) const;

    /// The place of the entry itself, and what lstat reports of it.
    unsigned int FindEntry(EntryPath path, NativeEntry * native, struct stat * info) const;
    unsigned int OpenExisting(EntryPath path, Opening const & opening, int * descriptor) const;
    unsigned int CreateNew(EntryPath path, Opening const & opening, int * descriptor) const;
    bool IsListedFile(EntryPath path, NativeEntry const & native) const;
    bool DeleteListed(EntryPath path, unsigned int * error) const;
    unsigned int CopyLink(NativeEntry const & link, NativeEntry * copy) const;
    unsigned int PutNative(std::string_view native, TextBuffer * path) const;

    DriveTable drives;
    std::atomic<unsigned int> errorMode = 0;
};

template <typename Call>
unsigned int PosixFileCalls::OnEntry(EntryPath path, NativeEntry * native, Call call) const {
    unsigned int error = ToNative(path, native);
    if (error != FileError::None)
        return error;
    if (call(native->at, native->path.text))
        return FileError::None;
    if (errno != ENOENT)
        return GetLastFileError();
    error = native->at == AT_FDCWD
                ? FolderNames::Get().FindSpelling(&native->path, native->rootLength)
                : FolderNames::Get().FindSpellingIn(native->at, &native->path);
    if (error == FileError::None && !call(native->at, native->path.text))
        error = GetLastFileError();
    return error;
}

} // namespace IO
