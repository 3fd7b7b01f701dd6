#pragma once

#include <Kestrel/FileSystem/Platform/FileCallTypes.h>

namespace IO {

/// The operating system's file calls, as far as the library needs them, and its only way to them.
/// Names and error numbers are those of Windows everywhere; paths are portable text.
///
/// An implementation translates and does nothing else: no retry, no log line. Recording of failures
/// and the error mode round the marked calls stand above, in RecordingFileCalls.
///
/// On Linux a name finds an entry in another case when there is none in its own, and what would
/// make a second entry whose name differs in case only is refused with FileExists or AlreadyExists.
/// A path's last name is not followed when it is a symbolic link, except by CreateFile; the names
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

    /// What the folder of an entry knows of it.
    virtual unsigned int FindFirstFile(PathText path, FindData * data) = 0;
    /// Opens a folder, to be enumerated from its first entry on or to reach its entries. Null in
    /// `*find` after a failure. Directory when it is no folder; in a folder that is held open, a
    /// link is none. Recorded as FindFirstFile.
    virtual unsigned int OpenFolder(EntryPath folder, FolderUse use, FindHandle * find) = 0;
    virtual unsigned int GetFolderId(FindHandle find, FolderId * id) = 0;
    /// The next entry of a folder that was opened for listing: its name, the folder bit and the
    /// link bit; times, size and the other attributes need not be certain. NoMoreFiles behind the
    /// last.
    virtual unsigned int FindNextFile(FindHandle find, FindData * data) = 0;
    /// Makes attributes, size and time of change certain of the entry that an enumeration handed out last into
    /// `*data`: a look without a path, where the enumeration itself does not report them. Not
    /// recorded.
    virtual unsigned int LookAtFound(FindHandle find, FindData * data) = 0;
    virtual unsigned int FindClose(FindHandle find) = 0;

    /// Null in `*file` after a failure. `attributes` holds FileAttribute bits for a new file, and
    /// FileFlagBackupSemantics; for an entry of a folder that is held open it is 0 or Normal. Such
    /// an entry that is a link is CantResolveName. A new file that stands already: FileExists. On
    /// Linux only the combinations of access and sharing that the open modes of FileEntry have are
    /// known, others are InvalidParameter; and a folder that is opened for reading without the flag
    /// is refused at the first read, not here: that saves each opening a call.
    virtual unsigned int CreateFile(EntryPath path, unsigned int access, unsigned int share,
                                    unsigned int disposition, unsigned int attributes,
                                    FileHandle * file) = 0;
    /// The handle is gone even after a failure.
    virtual unsigned int CloseHandle(FileHandle file) = 0;

    /// One file, with its write protection and modification time. Never overwrites; after any
    /// failure there is no new target. A symbolic link is copied as a link.
    virtual unsigned int CopyFile(EntryPath from, EntryPath to) = 0;
    /// Files and folders. Never overwrites. NotSameDevice where copying would be needed, which
    /// Windows does by itself for a file.
    virtual unsigned int MoveFile(PathText from, PathText to) = 0;
    /// As MoveFile inside one volume, in one step, but a file that has the name goes. AccessDenied for
    /// a folder and for what is write-protected there.
    virtual unsigned int ReplaceFile(PathText from, PathText to) = 0;
    /// A new empty file with the rights of the file `model`, as far as the user may give them, and
    /// with no more at any moment. FileExists when something has the name.
    virtual unsigned int CreateFileLike(PathText path, PathText model) = 0;
    virtual unsigned int DeleteFile(EntryPath path) = 0;
    /// AlreadyExists when something has the name.
    virtual unsigned int CreateDirectory(EntryPath path) = 0;
    /// DirNotEmpty when it is not.
    virtual unsigned int RemoveDirectory(EntryPath path) = 0;

    /// A null pointer leaves that time alone. Times a platform cannot hold: InvalidTime.
    virtual unsigned int SetFileTime(FileHandle file, unsigned long long const * creationTime,
                                     unsigned long long const * lastWriteTime) = 0;

    virtual unsigned int GetSystemDirectory(TextBuffer * path) = 0;
    /// The file of the running program.
    virtual unsigned int GetModuleFileName(TextBuffer * path) = 0;
    virtual unsigned int GetCurrentDirectory(TextBuffer * path) = 0;
    /// With a final `\`.
    virtual unsigned int GetTempPath(TextBuffer * path) = 0;
    /// The path as its folders spell it; on Linux with the deepest drive.
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

    /// Succeeds when there is a volume with a medium behind the root.
    virtual unsigned int GetVolumeInformation(PathText root) = 0;
    /// The roots, as `C:\`, each ended by a zero; `length` counts these zeros.
    virtual unsigned int GetLogicalDriveStrings(TextBuffer * drives) = 0;
    /// A DriveType: this call has no failure.
    virtual unsigned int GetDriveType(PathText root) = 0;

    /// From the handle's position on, which moves behind what was read. Fewer bytes than asked for
    /// come only at the end of the file. `*read` bytes did come even after a failure. NotReady: a
    /// named pipe that nobody writes to yet.
    virtual unsigned int ReadFile(FileHandle file, char * destination, unsigned int count,
                                  unsigned int * read) = 0;
    /// Writes at the handle's position and moves it behind what was written. Writes all or fails;
    /// after a failure `*written` bytes did reach the file.
    virtual unsigned int WriteFile(FileHandle file, char const * source, unsigned int count,
                                   unsigned int * written) = 0;
    /// Cuts or lengthens the file to the handle's position. What is added reads as zeros.
    virtual unsigned int SetEndOfFile(FileHandle file) = 0;
    virtual unsigned int GetFileSizeEx(FileHandle file, unsigned long long * size) = 0;
    virtual unsigned int FlushFileBuffers(FileHandle file) = 0;
    /// `origin`: 0 from the beginning, 1 from the position, 2 from the end. `position` may be null.
    /// Before the beginning: NegativeSeek, and the position stays.
    virtual unsigned int SetFilePointerEx(FileHandle file, long long offset,
                                          unsigned long long * position, unsigned int origin) = 0;

    /// Whether FileAttribute::Link is set for each link and for nothing else, so that one call of
    /// GetFileAttributes distinguishes a link, a file and a folder, and an entry without the bit
    /// need not be asked by ReadShellLink. Connecting to a file is held to that one call on Linux.
    virtual bool MarksLinks() const = 0;
    /// The absolute path that the link names, whether it exists or not; one that leads to another
    /// link is followed no further. What Linux shows as links beneath "/dev/fd" and opens without
    /// their text, such as a pipe, is none.
    virtual LinkStatus ReadShellLink(PathText path, TextBuffer * target) = 0;
    /// Where links carry no description, it is dropped.
    virtual unsigned int CreateShellLink(PathText path, PathText target, PathText description) = 0;

    /// Whether the platform takes the two for one name: the user's locale, without regard to case.
    virtual bool IsSameName(PathText a, PathText b) = 0;
    /// Whether IsSameName returns what names would by themselves: equal unit by unit after each
    /// unit was put in upper case. Then nobody need ask it for the equality of names.
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

/// The calls in use: recorded ones, over the platform's own or what SetFileCalls put there.
FileCalls & GetFileCalls();
/// The platform's own calls, with nothing above them.
FileCalls & GetPlatformFileCalls();
/// Puts other calls under the recording; null the platform's own. Returns what was there before.
/// Not while another thread works with files.
FileCalls & SetFileCalls(FileCalls * calls);

/// Keeps system dialogs away, as for a drive without a disk, as long as it lives.
/// RecordingFileCalls does that itself round the calls that need it, but for GetVolumeInformation.
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
