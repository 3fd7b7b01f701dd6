#pragma once

#include <Kestrel/FileSystem/Platform/FileCallTypes.h>

namespace IO {

/// The operating system's file calls, as far as the library needs them, and its only way to them.
/// Names and error numbers are those of Windows everywhere; paths are portable text.
///
/// An implementation translates and does nothing else: no retry, no log line. RecordingFileCalls,
/// above it, records failures and sets the error mode.
///
/// On Linux a name finds an entry in another case when there is none in its own, and creating a
/// second entry whose name differs in case only is refused with FileExists or AlreadyExists. A
/// path's last name is not followed when it is a symbolic link, except by CreateFile; the names
/// before it are.
///
/// Memory:  none from the root except where documented; nothing is thrown.
/// Threads: any number at once, but one at a time on one handle.
/// Failure: each call returns 0 or the error number; out-parameters are then as documented for the
///          call.
class FileCalls {
public:
    virtual ~FileCalls() = default;

    /// Only ReadOnly matters: with it the file is write-protected, without it it is not.
    virtual unsigned int SetFileAttributes(EntryPath path, unsigned int attributes) = 0;
    /// `*attributes` is 0 after a failure.
    virtual unsigned int GetFileAttributes(EntryPath path, unsigned int * attributes) = 0;
    /// Of the entry itself: a link is not followed. `*use` is empty after a failure. Recorded as
    /// GetFileInformationByHandle.
    virtual unsigned int GetDiskUse(EntryPath path, DiskUse * use) = 0;

    /// Bytes that the user may still fill on the volume of the folder; 0 after a failure.
    virtual unsigned int GetDiskFreeSpaceEx(PathText folder, unsigned long long * available) = 0;

    /// What the folder of an entry reports of it.
    virtual unsigned int FindFirstFile(PathText path, FindData * data) = 0;
    /// Opens a folder, to be enumerated from its first entry on or to reach its entries. Null in
    /// `*find` after a failure. Directory when it is no folder; in a folder that is held open, a
    /// link is none. Recorded as FindFirstFile.
    virtual unsigned int OpenFolder(EntryPath folder, FolderUse use, FindHandle * find) = 0;
    virtual unsigned int GetFolderId(FindHandle find, FolderId * id) = 0;
    /// The next entry of a folder that was opened for listing: its name, the folder bit and the
    /// link bit; times, size and the other attributes are reliable only after LookAtFound.
    /// NoMoreFiles behind the last.
    virtual unsigned int FindNextFile(FindHandle find, FindData * data) = 0;
    /// Updates attributes, size and modification time in `*data`, which the enumeration has filled
    /// last: a query without a path, where the enumeration itself does not report them. Not
    /// recorded.
    virtual unsigned int LookAtFound(FindHandle find, FindData * data) = 0;
    virtual unsigned int FindClose(FindHandle find) = 0;

    /// Null in `*file` after a failure. `attributes` contains FileAttribute bits for a new file,
    /// and FileFlagBackupSemantics; for an entry of a folder that is held open it is 0 or Normal.
    /// Such an entry that is a link is CantResolveName. CreateNew of an existing name is
    /// FileExists. On Linux only the combinations of access and sharing that the open modes of
    /// FileEntry have are supported, others are InvalidParameter; and a folder that is opened for
    /// reading without the flag is refused at the first read, not here: that saves each opening a
    /// call.
    virtual unsigned int CreateFile(EntryPath path, unsigned int access, unsigned int share,
                                    unsigned int disposition, unsigned int attributes,
                                    FileHandle * file) = 0;
    /// The handle is invalid afterwards, even after a failure.
    virtual unsigned int CloseHandle(FileHandle file) = 0;

    /// One file, with its write protection and modification time. Never overwrites; after any
    /// failure there is no new target. A symbolic link is copied as a link.
    virtual unsigned int CopyFile(EntryPath from, EntryPath to) = 0;
    /// Files and folders. Never overwrites. NotSameDevice where copying would be needed, which
    /// Windows does by itself for a file.
    virtual unsigned int MoveFile(PathText from, PathText to) = 0;
    /// As MoveFile within one volume, in one step, but a file of that name is replaced.
    /// AccessDenied for a folder and for a write-protected file there.
    virtual unsigned int ReplaceFile(PathText from, PathText to) = 0;
    /// A new empty file with the rights of the file `model`, as far as the user may give them, and
    /// with no more at any moment. FileExists when something has the name.
    virtual unsigned int CreateFileLike(PathText path, PathText model) = 0;
    virtual unsigned int DeleteFile(EntryPath path) = 0;
    /// AlreadyExists when something has the name.
    virtual unsigned int CreateDirectory(EntryPath path) = 0;
    /// DirNotEmpty when it is not.
    virtual unsigned int RemoveDirectory(EntryPath path) = 0;

    /// A null pointer leaves that time unchanged. InvalidTime: the platform cannot represent it.
    virtual unsigned int SetFileTime(FileHandle file, unsigned long long const * creationTime,
                                     unsigned long long const * lastWriteTime) = 0;

    virtual unsigned int GetSystemDirectory(TextBuffer * path) = 0;
    /// The file of the running program.
    virtual unsigned int GetModuleFileName(TextBuffer * path) = 0;
    virtual unsigned int GetCurrentDirectory(TextBuffer * path) = 0;
    /// With a final `\`.
    virtual unsigned int GetTempPath(TextBuffer * path) = 0;
    /// The path in the spelling of its folders; on Linux with the deepest drive.
    virtual unsigned int GetLongPathName(PathText path, TextBuffer * longPath) = 0;
    /// The folder of a CSIDL number. On Linux:
    ///
    ///   5   documents                 XDG_DOCUMENTS_DIR of user-dirs.dirs, else the home
    ///   16  desktop                   XDG_DESKTOP_DIR, else ~/Desktop
    ///   26  settings of the user      XDG_CONFIG_HOME, else ~/.config
    ///   28  local data of the user    XDG_DATA_HOME, else ~/.local/share
    ///   35  settings for all users    the first of XDG_CONFIG_DIRS, else /etc/xdg
    ///   38  programs                  /usr/lib
    ///   40  home                      HOME, else the home of the account
    ///   43  shared components         /usr/local/lib
    ///   46  documents for all users   the first of XDG_DATA_DIRS, else /usr/local/share
    virtual unsigned int SHGetFolderPath(int folder, TextBuffer * path) = 0;

    /// Succeeds when the root has a volume with a medium.
    virtual unsigned int GetVolumeInformation(PathText root) = 0;
    /// The roots, as `C:\`, each ended by a zero; `length` counts these zeros.
    virtual unsigned int GetLogicalDriveStrings(TextBuffer * drives) = 0;
    /// A DriveType: this call has no failure.
    virtual unsigned int GetDriveType(PathText root) = 0;

    /// Reads from the handle's position, which moves behind what was read. Returns fewer bytes than
    /// requested only at the end of the file. `*read` bytes were read even after a failure.
    /// NotReady: a named pipe that has no writer yet.
    virtual unsigned int ReadFile(FileHandle file, char * destination, unsigned int count,
                                  unsigned int * read) = 0;
    /// Writes at the handle's position and moves it behind what was written. Writes all or fails;
    /// after a failure `*written` bytes did reach the file.
    virtual unsigned int WriteFile(FileHandle file, char const * source, unsigned int count,
                                   unsigned int * written) = 0;
    /// Truncates or extends the file to the handle's position. Added bytes read as zeros.
    virtual unsigned int SetEndOfFile(FileHandle file) = 0;
    virtual unsigned int GetFileSizeEx(FileHandle file, unsigned long long * size) = 0;
    virtual unsigned int FlushFileBuffers(FileHandle file) = 0;
    /// `origin`: 0 from the beginning, 1 from the position, 2 from the end. `position` may be null.
    /// Before the beginning: NegativeSeek, and the position is unchanged.
    virtual unsigned int SetFilePointerEx(FileHandle file, long long offset,
                                          unsigned long long * position, unsigned int origin) = 0;

    /// Whether FileAttribute::Link is set for each link and for nothing else, so that one call of
    /// GetFileAttributes distinguishes a link, a file and a folder, and an entry without the bit
    /// needs no ReadShellLink. On Linux, connecting to a file is restricted to that one call.
    virtual bool MarksLinks() const = 0;
    /// The absolute path that the link names, whether it exists or not; one that leads to another
    /// link is followed no further. Entries beneath "/dev/fd" that Linux shows as links, but opens
    /// without their text, such as a pipe, are none.
    virtual LinkStatus ReadShellLink(PathText path, TextBuffer * target) = 0;
    /// Where links carry no description, it is dropped.
    virtual unsigned int CreateShellLink(PathText path, PathText target, PathText description) = 0;

    /// Whether the platform treats the two as one name: the user's locale, without regard to case.
    virtual bool IsSameName(PathText a, PathText b) = 0;
    /// Whether IsSameName is equivalent to the names' own comparison: unit by unit in upper case.
    /// Then it need not be called for the equality of names.
    virtual bool ComparesByUnits() const = 0;

    /// Whether failures may bring up dialogs; returns the earlier mode. Kept per process. See
    /// ErrorModeMark.
    virtual unsigned int SetErrorMode(unsigned int mode) = 0;
    /// The OS's own error number of this thread, for callers that must leave it unchanged.
    virtual unsigned int GetLastError() = 0;
    virtual void SetLastError(unsigned int error) = 0;
    /// The OS's text for an error number, zero-terminated and cut to `size` bytes. The result is
    /// its length; 0 when there is none.
    virtual unsigned int FormatMessage(unsigned int error, char * text, unsigned int size) = 0;
};

/// The calls in use: recorded ones, over the platform's own or those set by SetFileCalls.
FileCalls & GetFileCalls();
/// The platform's own calls, with nothing above them.
FileCalls & GetPlatformFileCalls();
/// Replaces the calls below the recording; null restores the platform's own. Returns the previous
/// ones. Not while another thread works with files.
FileCalls & SetFileCalls(FileCalls * calls);

/// Suppresses system dialogs, as for a drive without a disk, during its lifetime.
/// RecordingFileCalls does so itself for the calls that need it, except for GetVolumeInformation.
class ErrorModeMark {
public:
    static constexpr unsigned int NoDialogs = 0x8001;

    explicit ErrorModeMark(FileCalls & calls)
        : calls(calls), earlier(calls.SetErrorMode(NoDialogs)) {}
    ~ErrorModeMark() { calls.SetErrorMode(earlier); }
    ErrorModeMark(ErrorModeMark const &) = delete;
    ErrorModeMark & operator=(ErrorModeMark const &) = delete;

private:
    FileCalls & calls;
    unsigned int earlier;
};

} // namespace IO
