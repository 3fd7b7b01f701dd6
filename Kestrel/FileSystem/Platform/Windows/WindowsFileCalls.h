#pragma once

#include <Kestrel/FileSystem/Platform/FileCalls.h>

namespace IO {

/// The file calls of Windows: each is the system's own of its name, in the wide form. Links are shell
/// link files.
///
/// SHFolder.dll is loaded by the constructor and remains loaded, as the system's other libraries
/// do; without it the special folders are not found.
class WindowsFileCalls : public FileCalls {
public:
    WindowsFileCalls();

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
    bool MarksLinks() const override { return false; }
    LinkStatus ReadShellLink(PathText path, TextBuffer * target) override;
    unsigned int CreateShellLink(PathText path, PathText target, PathText description) override;
    bool IsSameName(PathText a, PathText b) override;
    bool ComparesByUnits() const override { return false; }
    unsigned int SetErrorMode(unsigned int mode) override;
    unsigned int GetLastError() override;
    void SetLastError(unsigned int error) override;
    unsigned int FormatMessage(unsigned int error, char * text, unsigned int size) override;

private:
    using FindFolder = long(__stdcall *)(void * window, int folder, void * token,
                                         unsigned long flags, wchar_t * path);

    FindFolder findFolder; // null when the system has none
};

} // namespace IO
