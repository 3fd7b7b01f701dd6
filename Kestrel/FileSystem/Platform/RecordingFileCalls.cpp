#include <Kestrel/FileSystem/Platform/RecordingFileCalls.h>

#include <Kestrel/Location/Internal/OSErrors.h>

#include <algorithm>
#include <charconv>
#include <string_view>

namespace IO {
namespace {

RecordingFileCalls & GetRecording() {
    static RecordingFileCalls recording(GetPlatformFileCalls());
    return recording;
}

} // namespace

FileCalls & GetFileCalls() {
    return GetRecording();
}

FileCalls & SetFileCalls(FileCalls * calls) {
    FileCalls & before = GetRecording().GetBelow();
    GetRecording().SetBelow(calls != nullptr ? *calls : GetPlatformFileCalls());
    return before;
}

void RecordingFileCalls::Record(char const * name, unsigned int error) {
    FileCalls & calls = GetBelow();
    unsigned int const found = calls.GetLastError();
    char text[256];
    char entry[sizeof(text) + 64]; // with room for the call's name and the number
    char * const limit = std::end(entry) - 1;
    bool const hasText = calls.FormatMessage(error, text, sizeof(text)) != 0;
    // Without the standard library's formatting: queries of missing entries are common.
    char * end = entry;
    auto const append = [&](std::string_view part) {
        end += part.copy(end, static_cast<std::size_t>(limit - end));
    };
    append(name);
    append(": ");
    end = std::to_chars(end, limit, error).ptr;
    append(" = \"");
    append(hasText ? text : "???");
    append("\"");
    *end = 0;
    AddOSError(entry);
    calls.SetLastError(found);
}

// Every recorded call goes through this, with its own name.
template <typename... Parameters, typename... Arguments>
unsigned int RecordingFileCalls::Recorded(char const * name,
                                          unsigned int (FileCalls::*call)(Parameters...),
                                          Arguments... arguments) {
    unsigned int const error = (GetBelow().*call)(arguments...);
    if (error != FileError::None)
        Record(name, error);
    return error;
}

unsigned int RecordingFileCalls::SetFileAttributes(EntryPath path, unsigned int attributes) {
    ErrorModeMark const mark(GetBelow());
    return Recorded("SetFileAttributes", &FileCalls::SetFileAttributes, path, attributes);
}

unsigned int RecordingFileCalls::GetFileAttributes(EntryPath path, unsigned int * attributes) {
    ErrorModeMark const mark(GetBelow());
    return Recorded("GetFileAttributes", &FileCalls::GetFileAttributes, path, attributes);
}

unsigned int RecordingFileCalls::GetDiskUse(EntryPath path, DiskUse * use) {
    ErrorModeMark const mark(GetBelow());
    return Recorded("GetFileInformationByHandle", &FileCalls::GetDiskUse, path, use);
}

unsigned int RecordingFileCalls::GetDiskFreeSpaceEx(PathText folder,
                                                    unsigned long long * available) {
    ErrorModeMark const mark(GetBelow());
    return Recorded("GetDiskFreeSpaceEx", &FileCalls::GetDiskFreeSpaceEx, folder, available);
}

unsigned int RecordingFileCalls::FindFirstFile(PathText path, FindData * data) {
    ErrorModeMark const mark(GetBelow());
    return Recorded("FindFirstFile", &FileCalls::FindFirstFile, path, data);
}

unsigned int RecordingFileCalls::OpenFolder(EntryPath folder, FolderUse use, FindHandle * find) {
    ErrorModeMark const mark(GetBelow());
    return Recorded("FindFirstFile", &FileCalls::OpenFolder, folder, use, find);
}

unsigned int RecordingFileCalls::FindClose(FindHandle find) {
    return Recorded("FindClose", &FileCalls::FindClose, find);
}

unsigned int RecordingFileCalls::CreateFile(EntryPath path, unsigned int access, unsigned int share,
                                            unsigned int disposition, unsigned int attributes,
                                            FileHandle * file) {
    return Recorded("CreateFile", &FileCalls::CreateFile, path, access, share, disposition,
                    attributes, file);
}

unsigned int RecordingFileCalls::CloseHandle(FileHandle file) {
    return Recorded("CloseHandle", &FileCalls::CloseHandle, file);
}

unsigned int RecordingFileCalls::CopyFile(EntryPath from, EntryPath to) {
    return Recorded("CopyFile", &FileCalls::CopyFile, from, to);
}

unsigned int RecordingFileCalls::MoveFile(PathText from, PathText to) {
    return Recorded("MoveFile", &FileCalls::MoveFile, from, to);
}

unsigned int RecordingFileCalls::ReplaceFile(PathText from, PathText to) {
    return Recorded("ReplaceFile", &FileCalls::ReplaceFile, from, to);
}

unsigned int RecordingFileCalls::CreateFileLike(PathText path, PathText model) {
    return Recorded("CreateFile", &FileCalls::CreateFileLike, path, model);
}

unsigned int RecordingFileCalls::DeleteFile(EntryPath path) {
    return Recorded("DeleteFile", &FileCalls::DeleteFile, path);
}

unsigned int RecordingFileCalls::CreateDirectory(EntryPath path) {
    return Recorded("CreateDirectory", &FileCalls::CreateDirectory, path);
}

unsigned int RecordingFileCalls::RemoveDirectory(EntryPath path) {
    return Recorded("RemoveDirectory", &FileCalls::RemoveDirectory, path);
}

unsigned int RecordingFileCalls::SetFileTime(FileHandle file,
                                             unsigned long long const * creationTime,
                                             unsigned long long const * lastWriteTime) {
    return Recorded("SetFileTime", &FileCalls::SetFileTime, file, creationTime, lastWriteTime);
}

unsigned int RecordingFileCalls::GetSystemDirectory(TextBuffer * path) {
    return Recorded("GetSystemDirectory", &FileCalls::GetSystemDirectory, path);
}

unsigned int RecordingFileCalls::GetModuleFileName(TextBuffer * path) {
    return Recorded("GetModuleFileName", &FileCalls::GetModuleFileName, path);
}

unsigned int RecordingFileCalls::GetCurrentDirectory(TextBuffer * path) {
    return Recorded("GetCurrentDirectory", &FileCalls::GetCurrentDirectory, path);
}

unsigned int RecordingFileCalls::GetTempPath(TextBuffer * path) {
    return Recorded("GetTempPath", &FileCalls::GetTempPath, path);
}

unsigned int RecordingFileCalls::GetLongPathName(PathText path, TextBuffer * longPath) {
    return Recorded("GetLongPathName", &FileCalls::GetLongPathName, path, longPath);
}

unsigned int RecordingFileCalls::GetVolumeInformation(PathText root) {
    return Recorded("GetVolumeInformation", &FileCalls::GetVolumeInformation, root);
}

unsigned int RecordingFileCalls::GetLogicalDriveStrings(TextBuffer * drives) {
    return Recorded("GetLogicalDriveStrings", &FileCalls::GetLogicalDriveStrings, drives);
}

unsigned int RecordingFileCalls::GetDriveType(PathText root) {
    ErrorModeMark const mark(GetBelow());
    return GetBelow().GetDriveType(root);
}

unsigned int RecordingFileCalls::ReadFile(FileHandle file, char * destination, unsigned int count,
                                          unsigned int * read) {
    return Recorded("ReadFile", &FileCalls::ReadFile, file, destination, count, read);
}

unsigned int RecordingFileCalls::WriteFile(FileHandle file, char const * source, unsigned int count,
                                           unsigned int * written) {
    *written = 0;
    unsigned int error = FileError::None;
    do {
        unsigned int const piece = std::min(count - *written, MaxWrite);
        unsigned int put = 0;
        error = Recorded("WriteFile", &FileCalls::WriteFile, file, source + *written, piece, &put);
        *written += put;
    } while (error == FileError::None && *written < count);
    return error;
}

unsigned int RecordingFileCalls::SetEndOfFile(FileHandle file) {
    return Recorded("SetEndOfFile", &FileCalls::SetEndOfFile, file);
}

unsigned int RecordingFileCalls::GetFileSizeEx(FileHandle file, unsigned long long * size) {
    return Recorded("GetFileSizeEx", &FileCalls::GetFileSizeEx, file, size);
}

unsigned int RecordingFileCalls::FlushFileBuffers(FileHandle file) {
    return Recorded("FlushFileBuffers", &FileCalls::FlushFileBuffers, file);
}

} // namespace IO
