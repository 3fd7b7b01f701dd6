#include <Kestrel/FileSystem/Platform/Windows/Win32.h>

#include <Kestrel/FileSystem/Platform/Windows/WidePath.h>
#include <Kestrel/FileSystem/Platform/Windows/WindowsFileCalls.h>

#include <cstring>

namespace IO {
namespace {

// Some calls fail without a number of their own.
unsigned int LastError() {
    unsigned int const error = ::GetLastError();
    return error != FileError::None ? error : FileError::GeneralFailure;
}

unsigned int Result(BOOL done) {
    return done ? FileError::None : LastError();
}

// Calls the system with a path that it can take.
template <typename Call>
unsigned int WithPath(PathText path, Call call) {
    WidePath const wide(path);
    return wide.GetError() != FileError::None ? wide.GetError() : Result(call(wide));
}

template <typename Call>
unsigned int WithPaths(PathText a, PathText b, Call call) {
    WidePath const second(b);
    if (second.GetError() != FileError::None)
        return second.GetError();
    return WithPath(a, [&](wchar_t const * first) { return call(first, second); });
}

wchar_t * GetWide(TextBuffer * text) {
    return reinterpret_cast<wchar_t *>(text->units);
}

// For the calls that answer a length: 0 is a failure, and one that fills the buffer did not fit.
unsigned int PutLength(DWORD length, TextBuffer * text) {
    text->length = 0;
    if (length == 0)
        return LastError();
    if (length >= text->size)
        return FileError::MoreData;
    text->length = length;
    return FileError::None;
}

unsigned long long Join(DWORD high, DWORD low) {
    return static_cast<unsigned long long>(high) << 32 | low;
}

unsigned long long Join(FILETIME const & time) {
    return Join(time.dwHighDateTime, time.dwLowDateTime);
}

FILETIME Split(unsigned long long time) {
    return {static_cast<DWORD>(time), static_cast<DWORD>(time >> 32)};
}

void Tell(WIN32_FIND_DATAW const & found, FindData * data) {
    data->attributes = found.dwFileAttributes;
    data->creationTime = Join(found.ftCreationTime);
    data->lastWriteTime = Join(found.ftLastWriteTime);
    data->size = Join(found.nFileSizeHigh, found.nFileSizeLow);
    data->nameLength = static_cast<unsigned int>(
        ::wcsnlen(found.cFileName, std::min(std::size(found.cFileName), std::size(data->name))));
    std::memcpy(data->name, found.cFileName, data->nameLength * sizeof(wchar_t));
}

} // namespace

FileCalls & GetPlatformFileCalls() {
    static WindowsFileCalls calls;
    return calls;
}

WindowsFileCalls::WindowsFileCalls() {
    HMODULE const library = ::LoadLibraryA("SHFolder.dll");
    auto const address = library ? ::GetProcAddress(library, "SHGetFolderPathW") : nullptr;
    static_assert(sizeof(address) == sizeof(findFolder));
    std::memcpy(&findFolder, &address, sizeof(findFolder));
}

unsigned int WindowsFileCalls::SetFileAttributes(PathText path, unsigned int attributes) {
    bool const isProtected = (attributes & FileAttribute::ReadOnly) != 0;
    DWORD const bits = isProtected ? FileAttribute::ReadOnly : FileAttribute::Normal;
    return WithPath(path, [=](wchar_t const * wide) { return ::SetFileAttributesW(wide, bits); });
}

unsigned int WindowsFileCalls::GetFileAttributes(PathText path, unsigned int * attributes) {
    *attributes = 0;
    return WithPath(path, [=](wchar_t const * wide) {
        DWORD const found = ::GetFileAttributesW(wide);
        *attributes = found == INVALID_FILE_ATTRIBUTES ? 0 : found;
        return found != INVALID_FILE_ATTRIBUTES;
    });
}

unsigned int WindowsFileCalls::GetDiskFreeSpaceEx(PathText folder, unsigned long long * available) {
    *available = 0;
    ULARGE_INTEGER size;
    unsigned int const error = WithPath(folder, [&size](wchar_t const * wide) {
        return ::GetDiskFreeSpaceExW(wide, &size, nullptr, nullptr);
    });
    if (error == FileError::None)
        *available = size.QuadPart;
    return error;
}

unsigned int WindowsFileCalls::FindFirstFile(PathText path, FindHandle * find, FindData * data) {
    *find = nullptr;
    return WithPath(path, [=](wchar_t const * wide) {
        WIN32_FIND_DATAW found;
        HANDLE const handle = ::FindFirstFileW(wide, &found);
        if (handle == INVALID_HANDLE_VALUE)
            return false;
        Tell(found, data);
        *find = handle;
        return true;
    });
}

unsigned int WindowsFileCalls::FindNextFile(FindHandle find, FindData * data) {
    WIN32_FIND_DATAW found;
    if (!::FindNextFileW(find, &found))
        return LastError();
    Tell(found, data);
    return FileError::None;
}

// The enumeration has told all there is.
unsigned int WindowsFileCalls::LookAtFound(FindHandle /*find*/, FindData * /*data*/) {
    return FileError::None;
}

unsigned int WindowsFileCalls::FindClose(FindHandle find) {
    return Result(::FindClose(find));
}

unsigned int WindowsFileCalls::CreateFile(PathText path, unsigned int access, unsigned int share,
                                          unsigned int disposition, unsigned int attributes,
                                          FileHandle * file) {
    *file = nullptr;
    return WithPath(path, [=](wchar_t const * wide) {
        HANDLE const handle =
            ::CreateFileW(wide, access, share, nullptr, disposition, attributes, nullptr);
        *file = handle == INVALID_HANDLE_VALUE ? nullptr : handle;
        return handle != INVALID_HANDLE_VALUE;
    });
}

unsigned int WindowsFileCalls::CloseHandle(FileHandle file) {
    return Result(::CloseHandle(file));
}

unsigned int WindowsFileCalls::CopyFile(PathText from, PathText to) {
    return WithPaths(from, to, [](wchar_t const * source, wchar_t const * target) {
        return ::CopyFileExW(source, target, nullptr, nullptr, nullptr, COPY_FILE_FAIL_IF_EXISTS);
    });
}

unsigned int WindowsFileCalls::MoveFile(PathText from, PathText to) {
    return WithPaths(from, to, ::MoveFileW);
}

unsigned int WindowsFileCalls::DeleteFile(PathText path) {
    return WithPath(path, ::DeleteFileW);
}

unsigned int WindowsFileCalls::CreateDirectory(PathText path) {
    return WithPath(path, [](wchar_t const * wide) { return ::CreateDirectoryW(wide, nullptr); });
}

unsigned int WindowsFileCalls::RemoveDirectory(PathText path) {
    return WithPath(path, ::RemoveDirectoryW);
}

unsigned int WindowsFileCalls::SetFileTime(FileHandle file, unsigned long long const * creationTime,
                                           unsigned long long const * lastWriteTime) {
    FILETIME const creation = Split(creationTime != nullptr ? *creationTime : 0);
    FILETIME const lastWrite = Split(lastWriteTime != nullptr ? *lastWriteTime : 0);
    return Result(::SetFileTime(file, creationTime != nullptr ? &creation : nullptr, nullptr,
                                lastWriteTime != nullptr ? &lastWrite : nullptr));
}

unsigned int WindowsFileCalls::GetSystemDirectory(TextBuffer * path) {
    return PutLength(::GetSystemDirectoryW(GetWide(path), path->size), path);
}

unsigned int WindowsFileCalls::GetModuleFileName(TextBuffer * path) {
    return PutLength(::GetModuleFileNameW(nullptr, GetWide(path), path->size), path);
}

unsigned int WindowsFileCalls::GetCurrentDirectory(TextBuffer * path) {
    return PutLength(::GetCurrentDirectoryW(path->size, GetWide(path)), path);
}

unsigned int WindowsFileCalls::GetTempPath(TextBuffer * path) {
    return PutLength(::GetTempPathW(path->size, GetWide(path)), path);
}

unsigned int WindowsFileCalls::GetLongPathName(PathText path, TextBuffer * longPath) {
    longPath->length = 0;
    WidePath const wide(path);
    if (wide.GetError() != FileError::None)
        return wide.GetError();
    return PutLength(::GetLongPathNameW(wide, GetWide(longPath), longPath->size), longPath);
}

unsigned int WindowsFileCalls::SHGetFolderPath(int folder, TextBuffer * path) {
    path->length = 0;
    wchar_t text[1024] = {}; // the call knows no size; it writes 260 units at most
    if (findFolder == nullptr)
        return FileError::NotSupported;
    long const result = findFolder(nullptr, folder, nullptr, 0, text);
    if (result < 0)
        return HRESULT_CODE(result) != 0 ? static_cast<unsigned int>(HRESULT_CODE(result))
                                         : FileError::GeneralFailure;
    std::size_t const length = ::wcsnlen(text, std::size(text));
    if (length >= path->size)
        return FileError::MoreData;
    std::memcpy(path->units, text, (length + 1) * sizeof(wchar_t));
    path->length = static_cast<unsigned int>(length);
    return FileError::None;
}

unsigned int WindowsFileCalls::GetVolumeInformation(PathText root) {
    return WithPath(root, [](wchar_t const * wide) {
        return ::GetVolumeInformationW(wide, nullptr, 0, nullptr, nullptr, nullptr, nullptr, 0);
    });
}

unsigned int WindowsFileCalls::GetLogicalDriveStrings(TextBuffer * drives) {
    return PutLength(::GetLogicalDriveStringsW(drives->size, GetWide(drives)), drives);
}

unsigned int WindowsFileCalls::GetDriveType(PathText root) {
    WidePath const wide(root);
    return wide.GetError() != FileError::None ? DriveType::NoRoot : ::GetDriveTypeW(wide);
}

unsigned int WindowsFileCalls::ReadFile(FileHandle file, char * destination, unsigned int count,
                                        unsigned int * read) {
    DWORD got = 0;
    unsigned int const error = Result(::ReadFile(file, destination, count, &got, nullptr));
    *read = got;
    return error == ERROR_HANDLE_EOF ? FileError::None : error;
}

unsigned int WindowsFileCalls::WriteFile(FileHandle file, char const * source, unsigned int count,
                                         unsigned int * written) {
    DWORD put = 0;
    unsigned int const error = Result(::WriteFile(file, source, count, &put, nullptr));
    *written = put;
    return error;
}

unsigned int WindowsFileCalls::SetEndOfFile(FileHandle file) {
    return Result(::SetEndOfFile(file));
}

unsigned int WindowsFileCalls::GetFileSizeEx(FileHandle file, unsigned long long * size) {
    LARGE_INTEGER found = {};
    unsigned int const error = Result(::GetFileSizeEx(file, &found));
    *size = static_cast<unsigned long long>(found.QuadPart);
    return error;
}

unsigned int WindowsFileCalls::FlushFileBuffers(FileHandle file) {
    return Result(::FlushFileBuffers(file));
}

unsigned int WindowsFileCalls::SetFilePointerEx(FileHandle file, long long offset,
                                                unsigned long long * position,
                                                unsigned int origin) {
    LARGE_INTEGER by;
    LARGE_INTEGER reached = {};
    by.QuadPart = offset;
    unsigned int const error = Result(::SetFilePointerEx(file, by, &reached, origin));
    if (error == FileError::None && position != nullptr)
        *position = static_cast<unsigned long long>(reached.QuadPart);
    return error;
}

bool WindowsFileCalls::IsSameName(PathText a, PathText b) {
    if (a.empty() || b.empty()) // the system does not compare empty texts by length
        return a.empty() && b.empty();
    return ::CompareStringW(LOCALE_USER_DEFAULT, NORM_IGNORECASE, ToWide(a),
                            static_cast<int>(a.size()), ToWide(b),
                            static_cast<int>(b.size())) == CSTR_EQUAL;
}

unsigned int WindowsFileCalls::SetErrorMode(unsigned int mode) {
    return ::SetErrorMode(mode);
}

unsigned int WindowsFileCalls::GetLastError() {
    return ::GetLastError();
}

void WindowsFileCalls::SetLastError(unsigned int error) {
    ::SetLastError(error);
}

unsigned int WindowsFileCalls::FormatMessage(unsigned int error, char * text, unsigned int size) {
    constexpr DWORD flags =
        FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK;
    return ::FormatMessageA(flags, nullptr, error, 0, text, size, nullptr);
}

} // namespace IO
