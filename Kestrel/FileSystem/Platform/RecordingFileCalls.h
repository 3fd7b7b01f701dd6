#pragma once

#include <Kestrel/FileSystem/Platform/ForwardingFileCalls.h>

namespace IO {

/// A layer above the calls of every platform: failures are recorded for the next log line, with the
/// name of the call, the number and the system's text, and system dialogs are suppressed.
///
/// Recording leaves the system's own error number as it was.
///
/// Memory:  AddOSError's; a failure that occurs when it runs out is not recorded.
/// Threads: any. The error mode is the process's, so that two threads that set it during their
///          calls at once may leave it set.
/// Failure: as below.
class RecordingFileCalls : public ForwardingFileCalls {
public:
    /// The largest piece that is written by one call below; some systems refuse more.
    static constexpr unsigned int MaxWrite = 0x1FF8000;

    using ForwardingFileCalls::ForwardingFileCalls;

    unsigned int SetFileAttributes(EntryPath path, unsigned int attributes) override;
    unsigned int GetFileAttributes(EntryPath path, unsigned int * attributes) override;
    unsigned int GetDiskUse(EntryPath path, DiskUse * use) override;
    unsigned int GetDiskFreeSpaceEx(PathText folder, unsigned long long * available) override;
    unsigned int FindFirstFile(PathText path, FindData * data) override;
    unsigned int OpenFolder(EntryPath folder, FolderUse use, FindHandle * find) override;
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

private:
    void Record(char const * name, unsigned int error);
    template <typename... Parameters, typename... Arguments>
    unsigned int Recorded(char const * name, unsigned int (FileCalls::*call)(Parameters...),
                          Arguments... arguments);
};

} // namespace IO
