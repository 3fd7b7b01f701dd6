#include <Kestrel/Root/Platform/PreferenceFile.h>

#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Memory/Memory.h>

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

} // namespace Mu::Platform
