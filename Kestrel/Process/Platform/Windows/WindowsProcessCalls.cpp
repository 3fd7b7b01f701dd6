#include <windows.h>

#include <shellapi.h>
#include <tlhelp32.h>

#undef GetModuleFileName

#include <Kestrel/Process/Platform/Windows/WindowsProcessCalls.h>
#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Text/CodeUnits.h>
#include <Kestrel/Root/Text/UniString.h>

#include <Kestrel/Root/Platform/Windows/WideText.h>

#include <algorithm>
#include <cstring>

namespace IO::Process {
namespace {

/// A snapshot that is closed at the end of its scope.
class Snapshot {
public:
    Snapshot(DWORD flags, int processId) {
        // While a process is loading modules, the system requests another try.
        for (int tries = 0; tries < 16; ++tries) {
            handle = ::CreateToolhelp32Snapshot(flags, static_cast<DWORD>(processId));
            if (handle != INVALID_HANDLE_VALUE || ::GetLastError() != ERROR_BAD_LENGTH)
                break;
        }
    }
    ~Snapshot() {
        if (handle != INVALID_HANDLE_VALUE)
            ::CloseHandle(handle);
    }
    Snapshot(Snapshot const &) = delete;
    Snapshot & operator=(Snapshot const &) = delete;

    bool IsOpen() const { return handle != INVALID_HANDLE_VALUE; }
    HANDLE Get() const { return handle; }
    HANDLE Release() { return std::exchange(handle, INVALID_HANDLE_VALUE); }

private:
    HANDLE handle = INVALID_HANDLE_VALUE;
};

unsigned int LastError() {
    unsigned int const error = ::GetLastError();
    return error != FileError::None ? error : FileError::GeneralFailure;
}

template <typename Entry>
Entry MakeEntry() {
    Entry entry;
    std::memset(&entry, 0, sizeof(entry));
    entry.dwSize = sizeof(entry);
    return entry;
}
static_assert(sizeof(PROCESSENTRY32W) == 568 && sizeof(MODULEENTRY32W) == 1080);

PathText GetText(wchar_t const * text, std::size_t size) {
    return PathText(reinterpret_cast<char16_t const *>(text), ::wcsnlen(text, size));
}

template <typename Step>
unsigned int Take(SnapshotHandle snapshot, Step step, ProcessEntry * entry) {
    PROCESSENTRY32W found = MakeEntry<PROCESSENTRY32W>();
    if (!step(snapshot, &found))
        return LastError();
    entry->processId = static_cast<int>(found.th32ProcessID);
    entry->parentProcessId = static_cast<int>(found.th32ParentProcessID);
    PathText const name = GetText(found.szExeFile, ProcessEntry::NameSize - 1);
    name.copy(entry->exeFile, name.size());
    entry->exeFile[name.size()] = 0;
    return FileError::None;
}

} // namespace

ProcessCalls & GetPlatformProcessCalls() {
    static WindowsProcessCalls calls;
    return calls;
}

unsigned int WindowsProcessCalls::GetModuleFileName(TextBuffer * path) {
    wchar_t * const wide = reinterpret_cast<wchar_t *>(path->units);
    DWORD const length = ::GetModuleFileNameW(nullptr, wide, path->size);
    path->length = length < path->size ? length : 0;
    path->units[path->length] = 0;
    return length == 0 ? LastError() : path->length == 0 ? FileError::MoreData : FileError::None;
}

unsigned int WindowsProcessCalls::CreateProcessSnapshot(SnapshotHandle * snapshot) {
    Snapshot made(TH32CS_SNAPPROCESS, 0);
    unsigned int const error = made.IsOpen() ? FileError::None : LastError();
    *snapshot = made.IsOpen() ? made.Release() : nullptr;
    return error;
}

unsigned int WindowsProcessCalls::FirstProcess(SnapshotHandle snapshot, ProcessEntry * entry) {
    return Take(snapshot, ::Process32FirstW, entry);
}

unsigned int WindowsProcessCalls::NextProcess(SnapshotHandle snapshot, ProcessEntry * entry) {
    return Take(snapshot, ::Process32NextW, entry);
}

void WindowsProcessCalls::CloseSnapshot(SnapshotHandle snapshot) {
    ::CloseHandle(snapshot);
}

unsigned int WindowsProcessCalls::EnumerateModules(int processId, ModuleVisitor & visitor) {
    Snapshot const modules(TH32CS_SNAPMODULE, processId);
    if (!modules.IsOpen())
        return LastError();
    MODULEENTRY32W found = MakeEntry<MODULEENTRY32W>();
    for (BOOL more = ::Module32FirstW(modules.Get(), &found); more;
         more = ::Module32NextW(modules.Get(), &found)) {
        ModuleEntry const entry{GetText(found.szModule, std::size(found.szModule)),
                                GetText(found.szExePath, std::size(found.szExePath))};
        if (!visitor.ModuleFound(entry))
            break;
    }
    return FileError::None;
}

unsigned int WindowsProcessCalls::Launch(wchar_t const * path, PathText parameters) {
    try {
        Mu::UniString const text(parameters); // for its terminator
        INT_PTR const result = reinterpret_cast<INT_PTR>(::ShellExecuteW(
            nullptr, L"open", path, Mu::Platform::ToWide(text.GetUnits()), nullptr, SW_SHOWNORMAL));
        constexpr INT_PTR LastFailure = 32;
        if (result > LastFailure)
            return FileError::None;
        return result > 0 ? static_cast<unsigned int>(result) : FileError::NotEnoughMemory;
    } catch (Mu::OutOfMemoryException const &) {
        return FileError::NotEnoughMemory;
    }
}

} // namespace IO::Process
