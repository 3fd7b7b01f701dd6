#include <Kestrel/Root/Platform/PreferenceFile.h>

#include <Kestrel/Root/Clock.h>
#include <Kestrel/Root/ErrorCodes.h>
#include <Kestrel/Root/Memory.h>

#include <atomic>
#include <cwchar>

#include <windows.h>

#include <shlobj.h>

namespace Mu::Platform {

namespace {

class FileHandle {
public:
    explicit FileHandle(HANDLE handle) : handle(handle) {}
    ~FileHandle() {
        if (IsOpen())
            CloseHandle(handle);
    }
    FileHandle(FileHandle const &) = delete;
    FileHandle & operator=(FileHandle const &) = delete;
    HANDLE Get() const { return handle; }
    bool IsOpen() const { return handle != INVALID_HANDLE_VALUE; }

private:
    HANDLE handle;
};

constexpr DWORD PathSize = 1024;
using Path = wchar_t[PathSize];

bool Append(Path & path, wchar_t const * rest) {
    if (std::wcslen(path) + std::wcslen(rest) >= PathSize)
        return false;
    std::wcscat(path, rest);
    return true;
}

bool GetPath(Path & path) {
    DWORD const length = GetEnvironmentVariableW(L"KESTREL_PREFERENCES", path, PathSize);
    if (length > 0)
        return length < PathSize;
    return SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, path) == S_OK &&
           Append(path, L"\\Kestrel\\preferences.ini");
}

// Opening the file shows whether they exist.
void MakeFolders(Path & path) {
    for (wchar_t * c = path + 1; *c != 0; ++c) {
        if ((*c != L'\\' && *c != L'/') || c[-1] == L':')
            continue;
        wchar_t const separator = *c;
        *c = 0;
        CreateDirectoryW(path, nullptr);
        *c = separator;
    }
}

bool Create(wchar_t const * path, char const * text, std::size_t size) {
    FileHandle const file(CreateFileW(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
    DWORD written = 0;
    return file.IsOpen() &&
           WriteFile(file.Get(), text, static_cast<DWORD>(size), &written, nullptr) &&
           written == size && FlushFileBuffers(file.Get());
}

// The name of a new file beside the other, which no other thread or process uses.
bool MakeFreshName(Path & fresh, Path const & path) {
    static std::atomic<unsigned int> counter = 0;
    wchar_t ending[48];
    std::swprintf(ending, 48, L".%lu.%u.new", GetCurrentProcessId(), counter++);
    std::wcscpy(fresh, path);
    return Append(fresh, ending);
}

// Nobody can replace a file that somebody reads, which other processes do for some moments.
bool Replace(wchar_t const * fresh, wchar_t const * path) {
    constexpr int tries = 10;
    for (int i = 0; i < tries; ++i) {
        if (MoveFileExW(fresh, path, MOVEFILE_REPLACE_EXISTING))
            return true;
        if (GetLastError() != ERROR_ACCESS_DENIED && GetLastError() != ERROR_SHARING_VIOLATION)
            return false;
        clockManager.Sleep(0.01);
    }
    return false;
}

bool IsMissing(DWORD error) {
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

} // namespace

MuErrCode ReadPreferences(std::size_t limit, char ** text, std::size_t * size) {
    *text = nullptr;
    *size = 0;
    Path path;
    if (!GetPath(path))
        return NoError;
    FileHandle const file(CreateFileW(path, GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, 0, nullptr));
    if (!file.IsOpen())
        return IsMissing(GetLastError()) ? NoError : InputFailure;
    LARGE_INTEGER length;
    if (!GetFileSizeEx(file.Get(), &length))
        return InputFailure;
    if (length.QuadPart == 0)
        return NoError;
    if (static_cast<unsigned long long>(length.QuadPart) > limit)
        return Error;
    char * block = BMAllocatePtr(static_cast<std::size_t>(length.QuadPart), 0, 0);
    if (block == nullptr)
        return ErrMemoryFull;
    DWORD got = 0;
    if (!ReadFile(file.Get(), block, static_cast<DWORD>(length.QuadPart), &got, nullptr)) {
        BMKillPtr(&block);
        return InputFailure;
    }
    *text = block;
    *size = got;
    return NoError;
}

MuErrCode WritePreferences(char const * text, std::size_t size) {
    Path path, fresh;
    if (!GetPath(path))
        return OutputClosed;
    MakeFolders(path);
    if (!MakeFreshName(fresh, path))
        return OutputClosed;
    if (Create(fresh, text, size) && Replace(fresh, path))
        return NoError;
    DeleteFileW(fresh);
    return OutputClosed;
}

} // namespace Mu::Platform
