#include <Kestrel/FileSystem/Platform/Windows/Win32.h>

#include <Kestrel/FileSystem/Platform/SparseCopy.h>
#include <Kestrel/FileSystem/Platform/Windows/WidePath.h>
#include <Kestrel/FileSystem/Platform/Windows/WindowsFileCalls.h>
#include <Kestrel/FileSystem/TransferScope.h>

#include <Kestrel/Root/Memory/Memory.h>

#include <cstring>
#include <winioctl.h>
#include <winternl.h>

namespace IO {
namespace {

// Some calls fail without setting a number.
unsigned int LastError() {
    unsigned int const error = ::GetLastError();
    return error != FileError::None ? error : FileError::GeneralFailure;
}

unsigned int Result(BOOL done) {
    return done ? FileError::None : LastError();
}

// The end of a file, or that of a pipe whose writer has closed it.
bool IsEnd(unsigned int error) {
    return error == ERROR_HANDLE_EOF || error == ERROR_BROKEN_PIPE;
}

// Calls the system with a path in the form that it accepts.
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

// For the calls that return a length: 0 is a failure, and one that fills the buffer did not fit.
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

void Fill(wchar_t const * name, std::size_t length, FindData * data) {
    data->nameLength = static_cast<unsigned int>(std::min(length, std::size(data->name)));
    std::memcpy(data->name, name, data->nameLength * sizeof(wchar_t));
}

/// A folder that is held open; a Search, if it was opened for listing.
struct Folder : Mu::Allocated {
    explicit Folder(HANDLE handle) : handle(handle) {}
    virtual ~Folder() { ::CloseHandle(handle); }
    Folder(Folder const &) = delete;
    Folder & operator=(Folder const &) = delete;

    HANDLE handle;
};

struct Search : Folder {
    using Folder::Folder;
    FILE_ID_BOTH_DIR_INFO const * next = nullptr; // null: the buffer must be filled
    alignas(8) char buffer[32768];
};

HANDLE GetHandle(FindHandle find) {
    return static_cast<Folder *>(find)->handle;
}

/// Closes a handle on destruction.
class Handle {
public:
    Handle() = default;
    ~Handle() {
        if (handle != nullptr)
            ::CloseHandle(handle);
    }
    Handle(Handle const &) = delete;
    Handle & operator=(Handle const &) = delete;
    operator HANDLE() const { return handle; }
    HANDLE * GetPlace() { return &handle; }
    HANDLE Release() {
        HANDLE const released = handle;
        handle = nullptr;
        return released;
    }

private:
    HANDLE handle = nullptr;
};

struct NtOpening {
    ACCESS_MASK access;
    ULONG share = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    ULONG disposition = FILE_OPEN;
    ULONG options = 0;
};

unsigned int OpenNameIn(HANDLE folder, PathText name, NtOpening const & opening, HANDLE * handle) {
    if (name.empty() || name == u"." || name == u".." || name.size() > 0x7FFF ||
        name.find_first_of(std::u16string_view(u"\\/\0", 3)) != PathText::npos)
        return FileError::InvalidName;
    UNICODE_STRING text;
    text.Buffer = const_cast<wchar_t *>(ToWide(name));
    text.Length = text.MaximumLength = static_cast<USHORT>(name.size() * sizeof(wchar_t));
    OBJECT_ATTRIBUTES attributes;
    InitializeObjectAttributes(&attributes, &text, OBJ_CASE_INSENSITIVE, folder, nullptr);
    IO_STATUS_BLOCK io;
    NTSTATUS const status = ::NtCreateFile(
        handle, opening.access | SYNCHRONIZE, &attributes, &io, nullptr, FILE_ATTRIBUTE_NORMAL,
        opening.share, opening.disposition,
        opening.options | FILE_OPEN_REPARSE_POINT | FILE_SYNCHRONOUS_IO_NONALERT, nullptr, 0);
    if (status >= 0)
        return FileError::None;
    *handle = nullptr;
    return ::RtlNtStatusToDosError(status);
}

// The only call of the system that opens an entry of an open folder. A link is opened itself. Paths
// lose the dots and blanks behind a name; here they are removed by hand, except from a name that
// exists in the folder with them.
unsigned int OpenIn(EntryPath entry, NtOpening const & opening, HANDLE * handle) {
    PathText const asInPath = entry.text.substr(0, entry.text.find_last_not_of(u". ") + 1);
    if (opening.disposition == FILE_CREATE)
        return OpenNameIn(GetHandle(entry.in), asInPath, opening, handle);
    unsigned int const error = OpenNameIn(GetHandle(entry.in), entry.text, opening, handle);
    return error == FileError::FileNotFound && asInPath.size() != entry.text.size()
               ? OpenNameIn(GetHandle(entry.in), asInPath, opening, handle)
               : error;
}

unsigned int OpenByPath(PathText path, DWORD access, DWORD share, DWORD flags, Handle * handle) {
    return WithPath(path, [=](wchar_t const * wide) {
        HANDLE const opened =
            ::CreateFileW(wide, access, share, nullptr, OPEN_EXISTING, flags, nullptr);
        if (opened == INVALID_HANDLE_VALUE)
            return false;
        *handle->GetPlace() = opened;
        return true;
    });
}

// Whether the opened entry stands for a folder elsewhere, so that entering it would leave the tree.
bool LeadsElsewhere(HANDLE handle) {
    FILE_ATTRIBUTE_TAG_INFO info;
    return !::GetFileInformationByHandleEx(handle, FileAttributeTagInfo, &info, sizeof(info)) ||
           ((info.FileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
            IsReparseTagNameSurrogate(info.ReparseTag));
}

unsigned int DeleteIn(EntryPath entry, ULONG options) {
    Handle handle;
    unsigned int const error = OpenIn(
        entry, {.access = DELETE | FILE_READ_ATTRIBUTES, .options = options}, handle.GetPlace());
    FILE_DISPOSITION_INFO gone = {TRUE};
    return error != FileError::None ? error
                                    : Result(::SetFileInformationByHandle(
                                          handle, FileDispositionInfo, &gone, sizeof(gone)));
}

// The full path of an open file or folder, with room for a name behind it.
unsigned int GetPathOf(HANDLE handle, wchar_t (&path)[WidePath::Size]) {
    DWORD const length = ::GetFinalPathNameByHandleW(handle, path, WidePath::Size, 0);
    return length == 0 ? LastError() : length >= WidePath::Size ? FileError::NameTooLong : 0;
}

// A path for a call that takes no folder, and the handle that keeps its meaning while it is open.
class PinnedPath {
public:
    // The entry itself is pinned, so that it cannot be replaced by another.
    unsigned int SetToEntry(EntryPath entry) {
        unsigned int const error = OpenIn(entry,
                                          {.access = FILE_READ_DATA | FILE_READ_ATTRIBUTES,
                                           .share = FILE_SHARE_READ | FILE_SHARE_WRITE,
                                           .options = FILE_NON_DIRECTORY_FILE},
                                          pin.GetPlace());
        return error != FileError::None ? error : GetPathOf(pin, text);
    }
    // The folder is pinned where it was opened as a FolderUse::Target.
    unsigned int SetToNew(EntryPath entry) {
        unsigned int const error = GetPathOf(GetHandle(entry.in), text);
        std::size_t const length = error == FileError::None ? std::wcslen(text) : 0;
        if (error != FileError::None || length + entry.text.size() + 2 > WidePath::Size)
            return error != FileError::None ? error : FileError::NameTooLong;
        text[length] = L'\\';
        std::memcpy(text + length + 1, entry.text.data(), entry.text.size() * sizeof(wchar_t));
        text[length + 1 + entry.text.size()] = 0;
        return FileError::None;
    }
    operator wchar_t const *() const { return text; }

private:
    Handle pin;
    wchar_t text[WidePath::Size];
};

// A file in a folder that is held open. Its content may be elsewhere, as that of a file in a cloud;
// then it is opened once more, by its handle, in the way that fetches it.
unsigned int CreateFileIn(EntryPath entry, DWORD access, DWORD share, DWORD disposition,
                          FileHandle * file) {
    constexpr ULONG dispositions[] = {FILE_CREATE, FILE_OVERWRITE_IF, FILE_OPEN, FILE_OPEN_IF,
                                      FILE_OVERWRITE};
    if (disposition - 1 >= std::size(dispositions))
        return FileError::InvalidParameter;
    Handle handle;
    unsigned int const error = OpenIn(entry,
                                      {.access = access | FILE_READ_ATTRIBUTES,
                                       .share = share,
                                       .disposition = dispositions[disposition - 1],
                                       .options = FILE_NON_DIRECTORY_FILE},
                                      handle.GetPlace());
    if (error != FileError::None) // folders have another number for it
        return error == FileError::AlreadyExists ? FileError::FileExists : error;
    FILE_ATTRIBUTE_TAG_INFO info;
    if (!::GetFileInformationByHandleEx(handle, FileAttributeTagInfo, &info, sizeof(info)))
        return LastError();
    if ((info.FileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) {
        *file = handle.Release();
        return FileError::None;
    }
    if (IsReparseTagNameSurrogate(info.ReparseTag))
        return FileError::CantResolveName;
    Handle look;
    if (unsigned int const failure =
            OpenIn(entry, {.access = FILE_READ_ATTRIBUTES}, look.GetPlace());
        failure != FileError::None)
        return failure;
    ::CloseHandle(handle.Release());
    HANDLE const whole = ::ReOpenFile(look, access, share, 0);
    if (whole == INVALID_HANDLE_VALUE)
        return LastError();
    *file = whole;
    return FileError::None;
}

// A file that is open for copying, with the operations for CopySparse.
class SparseFile {
public:
    SparseFile() = default;
    SparseFile(wchar_t const * path, DWORD access, DWORD share, DWORD disposition) {
        HANDLE const opened =
            ::CreateFileW(path, access, share, nullptr, disposition,
                          FILE_FLAG_OPEN_REPARSE_POINT | FILE_ATTRIBUTE_NORMAL, nullptr);
        if (opened != INVALID_HANDLE_VALUE)
            *handle.GetPlace() = opened;
    }
    operator HANDLE() const { return handle; }
    void Close() { ::CloseHandle(handle.Release()); }

    unsigned int GetSize(unsigned long long * size) {
        LARGE_INTEGER found;
        unsigned int const error = Result(::GetFileSizeEx(handle, &found));
        *size = static_cast<unsigned long long>(found.QuadPart);
        return error;
    }
    unsigned int FindData(unsigned long long from, unsigned long long end, SparseRange * range) {
        FILE_ALLOCATED_RANGE_BUFFER asked;
        asked.FileOffset.QuadPart = static_cast<long long>(from);
        asked.Length.QuadPart = static_cast<long long>(end - from);
        FILE_ALLOCATED_RANGE_BUFFER found;
        DWORD got = 0;
        bool const done = ::DeviceIoControl(handle, FSCTL_QUERY_ALLOCATED_RANGES, &asked,
                                            sizeof(asked), &found, sizeof(found), &got, nullptr);
        if (!done && ::GetLastError() != ERROR_MORE_DATA) // there are more ranges
            return LastError();
        *range = {end, end};
        if (got >= sizeof(found))
            *range = {
                static_cast<unsigned long long>(found.FileOffset.QuadPart),
                static_cast<unsigned long long>(found.FileOffset.QuadPart + found.Length.QuadPart)};
        return FileError::None;
    }
    unsigned int MakeSparse() {
        DWORD got = 0;
        return Result(
            ::DeviceIoControl(handle, FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &got, nullptr));
    }
    unsigned int SetSize(unsigned long long size) {
        FILE_END_OF_FILE_INFO info;
        info.EndOfFile.QuadPart = static_cast<long long>(size);
        return Result(::SetFileInformationByHandle(handle, FileEndOfFileInfo, &info, sizeof(info)));
    }
    unsigned int ReadAt(unsigned long long place, char * bytes, unsigned int count,
                        unsigned int * read) {
        OVERLAPPED at = At(place);
        DWORD got = 0;
        unsigned int const error = Result(::ReadFile(handle, bytes, count, &got, &at));
        *read = got;
        return error == ERROR_HANDLE_EOF ? FileError::None : error;
    }
    unsigned int WriteAt(unsigned long long place, char const * bytes, unsigned int count) {
        OVERLAPPED at = At(place);
        DWORD put = 0;
        return Result(::WriteFile(handle, bytes, count, &put, &at));
    }

private:
    static OVERLAPPED At(unsigned long long place) {
        OVERLAPPED at = {};
        at.Offset = static_cast<DWORD>(place);
        at.OffsetHigh = static_cast<DWORD>(place >> 32);
        return at;
    }

    Handle handle;
};

DWORD CALLBACK CountCopied(LARGE_INTEGER, LARGE_INTEGER now, LARGE_INTEGER, LARGE_INTEGER, DWORD,
                           DWORD, HANDLE, HANDLE, void * data) {
    unsigned long long & counted = *static_cast<unsigned long long *>(data);
    auto const copied = static_cast<unsigned long long>(now.QuadPart);
    bool const goesOn = TransferScope::Add(copied - counted);
    counted = copied;
    return goesOn ? PROGRESS_CONTINUE : PROGRESS_CANCEL;
}

BOOL CopyWhole(wchar_t const * from, wchar_t const * to) {
    bool const isWatched = TransferScope::GetCurrent() != nullptr;
    unsigned long long counted = 0;
    BOOL const done = ::CopyFileExW(from, to, isWatched ? CountCopied : nullptr, &counted, nullptr,
                                    COPY_FILE_FAIL_IF_EXISTS | COPY_FILE_COPY_SYMLINK);
    WIN32_FILE_ATTRIBUTE_DATA info;
    // Some systems report no progress.
    if (!done || !isWatched || counted != 0 ||
        !::GetFileAttributesExW(to, GetFileExInfoStandard, &info) ||
        TransferScope::Add(Join(info.nFileSizeHigh, info.nFileSizeLow)))
        return done;
    ::DeleteFileW(to);
    ::SetLastError(ERROR_REQUEST_ABORTED);
    return FALSE;
}

// Keeps what the system's own copy keeps of a file without other streams, which are rare in one
// with holes. A failed target is deleted as its handle is closed, before another attempt.
unsigned int CopyWithHoles(SparseFile & source, FILE_BASIC_INFO info, wchar_t const * to) {
    SparseFile target(to, GENERIC_WRITE | DELETE, 0, CREATE_NEW);
    if (target == nullptr)
        return LastError();
    unsigned int error = CopySparse(source, target);
    info.CreationTime.QuadPart = info.ChangeTime.QuadPart = 0; // 0: unchanged
    info.FileAttributes &= ~static_cast<DWORD>(FILE_ATTRIBUTE_SPARSE_FILE);
    if (error == FileError::None)
        error = Result(::SetFileInformationByHandle(target, FileBasicInfo, &info, sizeof(info)));
    FILE_DISPOSITION_INFO gone = {TRUE};
    if (error != FileError::None)
        ::SetFileInformationByHandle(target, FileDispositionInfo, &gone, sizeof(gone));
    return error;
}

// The system's own copy fills holes, and would read a pipe or a device without end.
BOOL CopyNew(wchar_t const * from, wchar_t const * to) {
    SparseFile look(from, FILE_READ_ATTRIBUTES,
                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, OPEN_EXISTING);
    FILE_BASIC_INFO info;
    constexpr DWORD others =
        FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_ENCRYPTED;
    if (look != nullptr && ::GetFileType(look) != FILE_TYPE_DISK) {
        ::SetLastError(ERROR_NOT_SUPPORTED);
        return FALSE;
    }
    bool const isSparse =
        look != nullptr &&
        ::GetFileInformationByHandleEx(look, FileBasicInfo, &info, sizeof(info)) &&
        (info.FileAttributes & FILE_ATTRIBUTE_SPARSE_FILE) != 0 &&
        (info.FileAttributes & others) == 0;
    if (look != nullptr)
        look.Close();
    if (!isSparse)
        return CopyWhole(from, to);
    SparseFile source(from, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING);
    unsigned int const error = source == nullptr ? LastError() : CopyWithHoles(source, info, to);
    // The file system of the copy does not support holes.
    if (error == ERROR_INVALID_FUNCTION || error == ERROR_NOT_SUPPORTED) {
        if (source != nullptr)
            source.Close();
        return CopyWhole(from, to);
    }
    ::SetLastError(error);
    return error == FileError::None;
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

unsigned int WindowsFileCalls::SetFileAttributes(EntryPath path, unsigned int attributes) {
    bool const isProtected = (attributes & FileAttribute::ReadOnly) != 0;
    DWORD const bits = isProtected ? FileAttribute::ReadOnly : FileAttribute::Normal;
    if (path.in != nullptr) {
        Handle handle;
        unsigned int const error =
            OpenIn(path, {.access = FILE_WRITE_ATTRIBUTES}, handle.GetPlace());
        FILE_BASIC_INFO info = {}; // a time of 0 means unchanged
        info.FileAttributes = bits;
        return error != FileError::None ? error
                                        : Result(::SetFileInformationByHandle(handle, FileBasicInfo,
                                                                              &info, sizeof(info)));
    }
    return WithPath(path.text,
                    [=](wchar_t const * wide) { return ::SetFileAttributesW(wide, bits); });
}

unsigned int WindowsFileCalls::GetFileAttributes(EntryPath path, unsigned int * attributes) {
    *attributes = 0;
    if (path.in != nullptr) {
        Handle handle;
        unsigned int const error =
            OpenIn(path, {.access = FILE_READ_ATTRIBUTES}, handle.GetPlace());
        FILE_BASIC_INFO info;
        if (error != FileError::None)
            return error;
        if (!::GetFileInformationByHandleEx(handle, FileBasicInfo, &info, sizeof(info)))
            return LastError();
        *attributes = info.FileAttributes;
        return FileError::None;
    }
    return WithPath(path.text, [=](wchar_t const * wide) {
        DWORD const found = ::GetFileAttributesW(wide);
        *attributes = found == INVALID_FILE_ATTRIBUTES ? 0 : found;
        return found != INVALID_FILE_ATTRIBUTES;
    });
}

unsigned int WindowsFileCalls::GetDiskUse(EntryPath path, DiskUse * use) {
    *use = {};
    Handle handle;
    unsigned int const error =
        path.in != nullptr
            ? OpenIn(path, {.access = FILE_READ_ATTRIBUTES}, handle.GetPlace())
            : OpenByPath(path.text, FILE_READ_ATTRIBUTES,
                         FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                         FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, &handle);
    if (error != FileError::None)
        return error;
    FILE_STANDARD_INFO size; // AllocationSize is the real one of compressed and sparse files
    BY_HANDLE_FILE_INFORMATION info;
    if (!::GetFileInformationByHandleEx(handle, FileStandardInfo, &size, sizeof(size)) ||
        !::GetFileInformationByHandle(handle, &info))
        return LastError();
    *use = {true, static_cast<unsigned long long>(size.AllocationSize.QuadPart),
            info.nNumberOfLinks, info.dwVolumeSerialNumber,
            Join(info.nFileIndexHigh, info.nFileIndexLow)};
    return FileError::None;
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

unsigned int WindowsFileCalls::FindFirstFile(PathText path, FindData * data) {
    return WithPath(path, [=](wchar_t const * wide) {
        WIN32_FIND_DATAW found;
        HANDLE const handle = ::FindFirstFileW(wide, &found);
        if (handle == INVALID_HANDLE_VALUE)
            return false;
        ::FindClose(handle);
        data->attributes = found.dwFileAttributes;
        data->creationTime = Join(found.ftCreationTime);
        data->lastWriteTime = Join(found.ftLastWriteTime);
        data->size = Join(found.nFileSizeHigh, found.nFileSizeLow);
        Fill(found.cFileName, ::wcsnlen(found.cFileName, std::size(found.cFileName)), data);
        return true;
    });
}

unsigned int WindowsFileCalls::OpenFolder(EntryPath folder, FolderUse use, FindHandle * find) {
    *find = nullptr;
    NtOpening const opening = {
        .access = FILE_READ_ATTRIBUTES | FILE_TRAVERSE |
                  (use == FolderUse::List ? static_cast<ACCESS_MASK>(FILE_LIST_DIRECTORY) : 0),
        .share = FILE_SHARE_READ | FILE_SHARE_WRITE |
                 (use == FolderUse::Target ? 0ul : static_cast<ULONG>(FILE_SHARE_DELETE)),
        .options = FILE_DIRECTORY_FILE};
    Handle handle;
    unsigned int error = FileError::None;
    if (folder.in != nullptr)
        error = OpenIn(folder, opening, handle.GetPlace());
    else
        error = OpenByPath(folder.text, opening.access | SYNCHRONIZE, opening.share,
                           FILE_FLAG_BACKUP_SEMANTICS, &handle);
    if (error == FileError::FileNotFound && folder.in == nullptr)
        return FileError::PathNotFound; // a folder to be searched counts as a name before the last
    FILE_BASIC_INFO info;
    if (error == FileError::None &&
        !::GetFileInformationByHandleEx(handle, FileBasicInfo, &info, sizeof(info)))
        error = LastError();
    if (error != FileError::None)
        return error;
    if ((info.FileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0 ||
        (folder.in != nullptr && LeadsElsewhere(handle)))
        return FileError::Directory;
    bool const lists = use == FolderUse::List;
    void * const block = Mu::NewOperator(lists ? sizeof(Search) : sizeof(Folder));
    if (block == nullptr)
        return FileError::NotEnoughMemory;
    Folder * const opened =
        lists ? new (block) Search(handle.Release()) : new (block) Folder(handle.Release());
    *find = opened;
    return FileError::None;
}

unsigned int WindowsFileCalls::GetFolderId(FindHandle find, FolderId * id) {
    BY_HANDLE_FILE_INFORMATION info;
    *id = {};
    if (!::GetFileInformationByHandle(GetHandle(find), &info))
        return LastError();
    *id = {info.dwVolumeSerialNumber, Join(info.nFileIndexHigh, info.nFileIndexLow)};
    return FileError::None;
}

unsigned int WindowsFileCalls::FindNextFile(FindHandle find, FindData * data) {
    Search & search = *static_cast<Search *>(static_cast<Folder *>(find));
    if (search.next == nullptr) {
        if (!::GetFileInformationByHandleEx(search.handle, FileIdBothDirectoryInfo, search.buffer,
                                            sizeof(search.buffer)))
            // An empty folder without the entries for dots is at its end, too.
            return LastError() == FileError::FileNotFound ? FileError::NoMoreFiles : LastError();
        search.next = reinterpret_cast<FILE_ID_BOTH_DIR_INFO const *>(search.buffer);
    }
    FILE_ID_BOTH_DIR_INFO const & found = *search.next;
    search.next = found.NextEntryOffset == 0
                      ? nullptr
                      : reinterpret_cast<FILE_ID_BOTH_DIR_INFO const *>(
                            reinterpret_cast<char const *>(&found) + found.NextEntryOffset);
    // For a reparse point, the size of the extended attributes is its tag. Those that stand for
    // other places are links here; others, as of files in a cloud, are what they seem to be.
    bool const isReparsePoint = (found.FileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
    bool const isLink =
        isReparsePoint && (found.EaSize == 0 || IsReparseTagNameSurrogate(found.EaSize));
    data->attributes = found.FileAttributes & ~FileAttribute::Link;
    if (isLink)
        data->attributes |= FileAttribute::Link;
    data->creationTime = static_cast<unsigned long long>(found.CreationTime.QuadPart);
    data->lastWriteTime = static_cast<unsigned long long>(found.LastWriteTime.QuadPart);
    data->size = static_cast<unsigned long long>(found.EndOfFile.QuadPart);
    Fill(found.FileName, found.FileNameLength / sizeof(wchar_t), data);
    return FileError::None;
}

// The enumeration has reported everything.
unsigned int WindowsFileCalls::LookAtFound(FindHandle /*find*/, FindData * /*data*/) {
    return FileError::None;
}

unsigned int WindowsFileCalls::FindClose(FindHandle find) {
    delete static_cast<Folder *>(find);
    return FileError::None;
}

unsigned int WindowsFileCalls::CreateFile(EntryPath path, unsigned int access, unsigned int share,
                                          unsigned int disposition, unsigned int attributes,
                                          FileHandle * file) {
    *file = nullptr;
    if (path.in != nullptr)
        return CreateFileIn(path, access, share, disposition, file);
    return WithPath(path.text, [=](wchar_t const * wide) {
        HANDLE const handle =
            ::CreateFileW(wide, access, share, nullptr, disposition, attributes, nullptr);
        *file = handle == INVALID_HANDLE_VALUE ? nullptr : handle;
        return handle != INVALID_HANDLE_VALUE;
    });
}

unsigned int WindowsFileCalls::CloseHandle(FileHandle file) {
    return Result(::CloseHandle(file));
}

unsigned int WindowsFileCalls::CopyFile(EntryPath from, EntryPath to) {
    if (from.in == nullptr)
        return WithPaths(from.text, to.text, CopyNew);
    PinnedPath source;
    PinnedPath target;
    unsigned int error = source.SetToEntry(from);
    if (error == FileError::None)
        error = target.SetToNew(to);
    return error == FileError::None ? Result(CopyNew(source, target)) : error;
}

unsigned int WindowsFileCalls::MoveFile(PathText from, PathText to) {
    return WithPaths(from, to, ::MoveFileW);
}

unsigned int WindowsFileCalls::ReplaceFile(PathText from, PathText to) {
    return WithPaths(from, to, [](wchar_t const * source, wchar_t const * target) {
        return ::MoveFileExW(source, target, MOVEFILE_REPLACE_EXISTING);
    });
}

unsigned int WindowsFileCalls::CreateFileLike(PathText path, PathText model) {
    return WithPaths(path, model, [](wchar_t const * created, wchar_t const * like) {
        alignas(8) char descriptor[0x10000]; // the most that an access list can hold
        DWORD needed;
        // A volume without access rights has none to copy.
        bool const hasRights = ::GetFileSecurityW(like, DACL_SECURITY_INFORMATION, descriptor,
                                                  sizeof(descriptor), &needed) != 0;
        if (!hasRights && ::GetLastError() == ERROR_ACCESS_DENIED)
            return false;
        SECURITY_ATTRIBUTES rights = {sizeof(rights), descriptor, FALSE};
        HANDLE const file = ::CreateFileW(created, GENERIC_WRITE, 0, hasRights ? &rights : nullptr,
                                          CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
        return file != INVALID_HANDLE_VALUE && ::CloseHandle(file);
    });
}

unsigned int WindowsFileCalls::DeleteFile(EntryPath path) {
    return path.in != nullptr ? DeleteIn(path, FILE_NON_DIRECTORY_FILE)
                              : WithPath(path.text, ::DeleteFileW);
}

unsigned int WindowsFileCalls::CreateDirectory(EntryPath path) {
    Handle handle;
    if (path.in != nullptr)
        return OpenIn(path,
                      {.access = FILE_READ_ATTRIBUTES,
                       .disposition = FILE_CREATE,
                       .options = FILE_DIRECTORY_FILE},
                      handle.GetPlace());
    return WithPath(path.text,
                    [](wchar_t const * wide) { return ::CreateDirectoryW(wide, nullptr); });
}

unsigned int WindowsFileCalls::RemoveDirectory(EntryPath path) {
    return path.in != nullptr ? DeleteIn(path, FILE_DIRECTORY_FILE)
                              : WithPath(path.text, ::RemoveDirectoryW);
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
    wchar_t text[1024] = {}; // the call takes no size, and writes 260 units at most
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
    *read = 0;
    do {
        DWORD got = 0;
        unsigned int const error =
            Result(::ReadFile(file, destination + *read, count - *read, &got, nullptr));
        *read += got;
        if (error != FileError::None || got == 0)
            return IsEnd(error) ? FileError::None : error;
        // A pipe or a device may return less before its end.
    } while (*read < count && ::GetFileType(file) != FILE_TYPE_DISK);
    return FileError::None;
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
