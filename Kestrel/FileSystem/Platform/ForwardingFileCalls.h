#pragma once

#include <Kestrel/FileSystem/Platform/FileCalls.h>

namespace IO {

/// Forwards every call to another object, so that a class derived from it changes one operation.
///
/// Memory, threads and failure are those of the calls below.
class ForwardingFileCalls : public FileCalls {
public:
    /// `below` must outlive this.
    explicit ForwardingFileCalls(FileCalls & below) : below(&below) {}

    FileCalls & GetBelow() const { return *below; }
    void SetBelow(FileCalls & calls) { below = &calls; }

    unsigned int SetFileAttributes(EntryPath path, unsigned int attributes) override {
        return below->SetFileAttributes(path, attributes);
    }
    unsigned int GetFileAttributes(EntryPath path, unsigned int * attributes) override {
        return below->GetFileAttributes(path, attributes);
    }
    unsigned int GetDiskUse(EntryPath path, DiskUse * use) override {
        return below->GetDiskUse(path, use);
    }
    unsigned int GetDiskFreeSpaceEx(PathText folder, unsigned long long * available) override {
        return below->GetDiskFreeSpaceEx(folder, available);
    }
    unsigned int FindFirstFile(PathText path, FindData * data) override {
        return below->FindFirstFile(path, data);
    }
    unsigned int OpenFolder(EntryPath folder, FolderUse use, FindHandle * find) override {
        return below->OpenFolder(folder, use, find);
    }
    unsigned int GetFolderId(FindHandle find, FolderId * id) override {
        return below->GetFolderId(find, id);
    }
    unsigned int FindNextFile(FindHandle find, FindData * data) override {
        return below->FindNextFile(find, data);
    }
    unsigned int LookAtFound(FindHandle find, FindData * data) override {
        return below->LookAtFound(find, data);
    }
    unsigned int FindClose(FindHandle find) override { return below->FindClose(find); }
    unsigned int CreateFile(EntryPath path, unsigned int access, unsigned int share,
                            unsigned int disposition, unsigned int attributes,
                            FileHandle * file) override {
        return below->CreateFile(path, access, share, disposition, attributes, file);
    }
    unsigned int CloseHandle(FileHandle file) override { return below->CloseHandle(file); }
    unsigned int CopyFile(EntryPath from, EntryPath to) override {
        return below->CopyFile(from, to);
    }
    unsigned int MoveFile(PathText from, PathText to) override { return below->MoveFile(from, to); }
    unsigned int ReplaceFile(PathText from, PathText to) override {
        return below->ReplaceFile(from, to);
    }
    unsigned int CreateFileLike(PathText path, PathText model) override {
        return below->CreateFileLike(path, model);
    }
    unsigned int DeleteFile(EntryPath path) override { return below->DeleteFile(path); }
    unsigned int CreateDirectory(EntryPath path) override { return below->CreateDirectory(path); }
    unsigned int RemoveDirectory(EntryPath path) override { return below->RemoveDirectory(path); }
    unsigned int SetFileTime(FileHandle file, unsigned long long const * creationTime,
                             unsigned long long const * lastWriteTime) override {
        return below->SetFileTime(file, creationTime, lastWriteTime);
    }
    unsigned int GetSystemDirectory(TextBuffer * path) override {
        return below->GetSystemDirectory(path);
    }
    unsigned int GetModuleFileName(TextBuffer * path) override {
        return below->GetModuleFileName(path);
    }
    unsigned int GetCurrentDirectory(TextBuffer * path) override {
        return below->GetCurrentDirectory(path);
    }
    unsigned int GetTempPath(TextBuffer * path) override { return below->GetTempPath(path); }
    unsigned int GetLongPathName(PathText path, TextBuffer * longPath) override {
        return below->GetLongPathName(path, longPath);
    }
    unsigned int SHGetFolderPath(int folder, TextBuffer * path) override {
        return below->SHGetFolderPath(folder, path);
    }
    unsigned int GetVolumeInformation(PathText root) override {
        return below->GetVolumeInformation(root);
    }
    unsigned int GetLogicalDriveStrings(TextBuffer * drives) override {
        return below->GetLogicalDriveStrings(drives);
    }
    unsigned int GetDriveType(PathText root) override { return below->GetDriveType(root); }
    unsigned int ReadFile(FileHandle file, char * destination, unsigned int count,
                          unsigned int * read) override {
        return below->ReadFile(file, destination, count, read);
    }
    unsigned int WriteFile(FileHandle file, char const * source, unsigned int count,
                           unsigned int * written) override {
        return below->WriteFile(file, source, count, written);
    }
    unsigned int SetEndOfFile(FileHandle file) override { return below->SetEndOfFile(file); }
    unsigned int GetFileSizeEx(FileHandle file, unsigned long long * size) override {
        return below->GetFileSizeEx(file, size);
    }
    unsigned int FlushFileBuffers(FileHandle file) override {
        return below->FlushFileBuffers(file);
    }
    unsigned int SetFilePointerEx(FileHandle file, long long offset, unsigned long long * position,
                                  unsigned int origin) override {
        return below->SetFilePointerEx(file, offset, position, origin);
    }
    bool MarksLinks() const override { return below->MarksLinks(); }
    LinkStatus ReadShellLink(PathText path, TextBuffer * target) override {
        return below->ReadShellLink(path, target);
    }
    unsigned int CreateShellLink(PathText path, PathText target, PathText description) override {
        return below->CreateShellLink(path, target, description);
    }
    bool IsSameName(PathText a, PathText b) override { return below->IsSameName(a, b); }
    bool ComparesByUnits() const override { return below->ComparesByUnits(); }
    unsigned int SetErrorMode(unsigned int mode) override { return below->SetErrorMode(mode); }
    unsigned int GetLastError() override { return below->GetLastError(); }
    void SetLastError(unsigned int error) override { below->SetLastError(error); }
    unsigned int FormatMessage(unsigned int error, char * text, unsigned int size) override {
        return below->FormatMessage(error, text, size);
    }

private:
    FileCalls * below;
};

} // namespace IO
