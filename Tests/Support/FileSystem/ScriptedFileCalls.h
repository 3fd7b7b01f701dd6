#pragma once

#include "Tests/Support/ScriptedCalls.h"

#include <Kestrel/FileSystem/Platform/ForwardingFileCalls.h>

#include <atomic>
#include <functional>

namespace Tests {

using IO::EntryPath;
using IO::FileHandle;
using IO::FindData;
using IO::FindHandle;
using IO::LinkStatus;
using IO::PathText;
using IO::TextBuffer;

/// The calls that can be made to fail, or any of them.
enum class FileCall : unsigned int {
    SetFileAttributes,
    GetFileAttributes,
    GetDiskUse,
    GetDiskFreeSpaceEx,
    FindFirstFile,
    OpenFolder,
    GetFolderId,
    FindNextFile,
    LookAtFound,
    FindClose,
    CreateFile,
    CloseHandle,
    CopyFile,
    MoveFile,
    ReplaceFile,
    CreateFileLike,
    DeleteFile,
    CreateDirectory,
    RemoveDirectory,
    SetFileTime,
    GetSystemDirectory,
    GetModuleFileName,
    GetCurrentDirectory,
    GetTempPath,
    GetLongPathName,
    SHGetFolderPath,
    GetVolumeInformation,
    GetLogicalDriveStrings,
    GetDriveType,
    ReadFile,
    WriteFile,
    SetEndOfFile,
    GetFileSizeEx,
    FlushFileBuffers,
    SetFilePointerEx,
    ReadShellLink,
    CreateShellLink,
    Any
};

/// The real file calls with faults in between. It puts itself under the recording when it is made,
/// and takes itself out again at its end:
///
///     Tests::ScriptedFileCalls calls;
///     calls.Fail(Tests::FileCall::WriteFile, 2, IO::FileError::DiskFull); // the second write
///
/// A call that fails does nothing, except that one which gives something back (CloseHandle,
/// FindClose) gives it back all the same, and that a read or write may be told to move some bytes
/// first. A failing GetDriveType answers NoRoot, a failing ReadShellLink LinkStatus::Failed.
class ScriptedFileCalls : public IO::ForwardingFileCalls, public CallScript<FileCall> {
public:
    ScriptedFileCalls();
    ~ScriptedFileCalls() override;
    ScriptedFileCalls(ScriptedFileCalls const &) = delete;
    ScriptedFileCalls & operator=(ScriptedFileCalls const &) = delete;

    /// As that of the script. `bytes` are moved first where the call is a read or write; with the
    /// error 0 that is a short read or write that is no failure.
    void Fail(FileCall kind, unsigned int n, unsigned int error, bool onwards = false,
              unsigned int bytes = 0) {
        movedBytes = bytes;
        CallScript::Fail(kind, n, error, onwards);
    }

    unsigned int OpenFolder(EntryPath folder, IO::FolderUse use, FindHandle * find) override;
    unsigned int FindClose(FindHandle find) override;
    unsigned int CreateFile(EntryPath path, unsigned int access, unsigned int share,
                            unsigned int disposition, unsigned int attributes,
                            FileHandle * file) override;
    unsigned int CloseHandle(FileHandle file) override;
    unsigned int GetDriveType(PathText root) override;
    unsigned int ReadFile(FileHandle file, char * destination, unsigned int count,
                          unsigned int * read) override;
    unsigned int WriteFile(FileHandle file, char const * source, unsigned int count,
                           unsigned int * written) override;
    LinkStatus ReadShellLink(PathText path, TextBuffer * target) override;

// The rest fail or are made, and have nothing to keep straight.
#define KESTREL_TEST_CALL(Name, Parameters, WithoutResult, ...)                                    \
    unsigned int Name Parameters override {                                                        \
        std::optional<unsigned int> const failure = Meet(FileCall::Name);                          \
        if (!failure)                                                                              \
            return ForwardingFileCalls::Name(__VA_ARGS__);                                         \
        WithoutResult;                                                                             \
        return *failure;                                                                           \
    }

    KESTREL_TEST_CALL(SetFileAttributes, (EntryPath path, unsigned int attributes), (void)0, path,
                      attributes)
    KESTREL_TEST_CALL(GetFileAttributes, (EntryPath path, unsigned int * attributes),
                      *attributes = 0, path, attributes)
    KESTREL_TEST_CALL(GetDiskUse, (EntryPath path, IO::DiskUse * use), *use = {}, path, use)
    KESTREL_TEST_CALL(GetDiskFreeSpaceEx, (PathText folder, unsigned long long * available),
                      *available = 0, folder, available)
    KESTREL_TEST_CALL(FindFirstFile, (PathText path, FindData * data), (void)0, path, data)
    KESTREL_TEST_CALL(GetFolderId, (FindHandle find, IO::FolderId * id), (void)0, find, id)
    KESTREL_TEST_CALL(FindNextFile, (FindHandle find, FindData * data), (void)0, find, data)
    KESTREL_TEST_CALL(LookAtFound, (FindHandle find, FindData * data), (void)0, find, data)
    KESTREL_TEST_CALL(CopyFile, (EntryPath from, EntryPath to), (void)0, from, to)
    KESTREL_TEST_CALL(MoveFile, (PathText from, PathText to), (void)0, from, to)
    KESTREL_TEST_CALL(ReplaceFile, (PathText from, PathText to), (void)0, from, to)
    KESTREL_TEST_CALL(CreateFileLike, (PathText path, PathText model), (void)0, path, model)
    KESTREL_TEST_CALL(DeleteFile, (EntryPath path), (void)0, path)
    KESTREL_TEST_CALL(CreateDirectory, (EntryPath path), (void)0, path)
    KESTREL_TEST_CALL(RemoveDirectory, (EntryPath path), (void)0, path)
    KESTREL_TEST_CALL(SetFileTime,
                      (FileHandle file, unsigned long long const * creationTime,
                       unsigned long long const * lastWriteTime),
                      (void)0, file, creationTime, lastWriteTime)
    KESTREL_TEST_CALL(GetSystemDirectory, (TextBuffer * path), path->length = 0, path)
    KESTREL_TEST_CALL(GetModuleFileName, (TextBuffer * path), path->length = 0, path)
    KESTREL_TEST_CALL(GetCurrentDirectory, (TextBuffer * path), path->length = 0, path)
    KESTREL_TEST_CALL(GetTempPath, (TextBuffer * path), path->length = 0, path)
    KESTREL_TEST_CALL(GetLongPathName, (PathText path, TextBuffer * longPath), longPath->length = 0,
                      path, longPath)
    KESTREL_TEST_CALL(SHGetFolderPath, (int folder, TextBuffer * path), path->length = 0, folder,
                      path)
    KESTREL_TEST_CALL(GetVolumeInformation, (PathText root), (void)0, root)
    KESTREL_TEST_CALL(GetLogicalDriveStrings, (TextBuffer * drives), drives->length = 0, drives)
    KESTREL_TEST_CALL(SetEndOfFile, (FileHandle file), (void)0, file)
    KESTREL_TEST_CALL(GetFileSizeEx, (FileHandle file, unsigned long long * size), *size = 0, file,
                      size)
    KESTREL_TEST_CALL(FlushFileBuffers, (FileHandle file), (void)0, file)
    KESTREL_TEST_CALL(SetFilePointerEx,
                      (FileHandle file, long long offset, unsigned long long * position,
                       unsigned int origin),
                      (void)0, file, offset, position, origin)
    KESTREL_TEST_CALL(CreateShellLink, (PathText path, PathText target, PathText description),
                      (void)0, path, target, description)

#undef KESTREL_TEST_CALL

private:
    std::atomic<unsigned int> movedBytes = 0;
};

/// SweepCalls with each error number that some table of the library tells apart.
void SweepFileCalls(std::function<void(bool failed)> const & scenario);

/// The same with those three alone that do most harm: denied, gone and full. For long scenarios.
void SweepFileCallsBriefly(std::function<void(bool failed)> const & scenario);

} // namespace Tests

using Tests::SweepFileCalls;
