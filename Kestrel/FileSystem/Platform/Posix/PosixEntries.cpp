#include <Kestrel/FileSystem/Platform/Posix/LongPath.h>
#include <Kestrel/FileSystem/Platform/Posix/OpenedFolder.h>
#include <Kestrel/FileSystem/Platform/Posix/PosixFileCalls.h>
#include <Kestrel/FileSystem/Platform/Posix/Times.h>
#include <Kestrel/Root/Memory/Memory.h>

#include <algorithm>
#include <fcntl.h>
#include <sys/stat.h>

namespace IO {
namespace {

unsigned int ToAttributes(mode_t mode) {
    if (S_ISDIR(mode))
        return FileAttribute::Folder;
    if (S_ISLNK(mode))
        return FileAttribute::Link;
    unsigned int const kind = S_ISREG(mode) ? 0 : FileAttribute::Device;
    bool const isProtected = (mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0;
    return kind | (isProtected ? FileAttribute::ReadOnly : FileAttribute::Normal);
}

unsigned int ToAttributes(FolderReader::Type type) {
    switch (type) {
    case FolderReader::Type::Folder: return FileAttribute::Folder;
    case FolderReader::Type::Link: return FileAttribute::Link;
    default: return FileAttribute::Normal;
    }
}

bool SetName(std::string_view name, FindData * data) {
    TextBuffer text{data->name, static_cast<unsigned int>(std::size(data->name)), 0};
    bool const fits = AppendPortableName(name, &text);
    data->nameLength = text.length;
    return fits;
}

OpenedFolder * ToFolder(FindHandle find) {
    return static_cast<OpenedFolder *>(find);
}

unsigned int GetNext(Search * search, FindData * data) {
    FolderReader::Entry & entry = search->entry;
    int const folder = search->Reach();
    if (folder < 0)
        return GetLastFileError();
    if (!search->names.Next(folder, &entry))
        return errno == 0 ? FileError::NoMoreFiles : GetLastFileError();
    data->creationTime = 0;
    data->lastWriteTime = 0;
    data->attributes = ToAttributes(entry.type);
    data->size = entry.type == FolderReader::Type::Link ? 1 : 0;
    return SetName(entry.name, data) ? FileError::None : FileError::NameTooLong;
}

// A folder that may not be listed can still be used to reach its entries.
int OpenForUse(int at, char const * path, FolderUse use, int more) {
    return OpenFolder(at, path, use == FolderUse::List ? more : more | O_PATH);
}

template <typename Folder, typename... Arguments>
unsigned int Hold(int descriptor, FindHandle * find, Arguments... arguments) {
    void * const block = Mu::NewOperator(sizeof(Folder));
    if (block == nullptr) {
        Descriptor const closed(descriptor);
        return FileError::NotEnoughMemory;
    }
    OpenedFolder * const folder = new (block) Folder(descriptor, arguments...);
    *find = folder;
    return FileError::None;
}

} // namespace

unsigned int PosixFileCalls::ToNative(EntryPath path, NativeEntry * native) const {
    if (path.in == nullptr) {
        unsigned int const error = drives.ToNative(path.text, &native->path, &native->rootLength);
        return error == FileError::NameTooLong ? ReachInSteps(drives, path.text, native) : error;
    }
    bool const isName = !path.text.empty() && path.text != u"." && path.text != u".." &&
                        path.text.find_first_of(u"\\/") == PathText::npos;
    native->at = ToFolder(path.in)->Reach();
    if (native->at < 0)
        return GetLastFileError();
    return isName ? AppendNativeName(path.text, &native->path) : FileError::InvalidName;
}

// Whether an enumeration has reported the entry last, as a file.
bool PosixFileCalls::IsListedFile(EntryPath path, NativeEntry const & native) const {
    OpenedFolder const * const folder = ToFolder(path.in);
    if (folder == nullptr || !folder->IsListed())
        return false;
    FolderReader::Entry const & entry = static_cast<Search const *>(folder)->entry;
    return entry.name == native.path.GetText() && entry.type == FolderReader::Type::File;
}

unsigned int PosixFileCalls::FindEntry(EntryPath path, NativeEntry * native,
                                       struct stat * info) const {
    return OnEntry(path, native, [info](int at, char const * entry) {
        return ::fstatat(at, entry, info, AT_SYMLINK_NOFOLLOW) == 0;
    });
}

unsigned int PosixFileCalls::GetFileAttributes(EntryPath path, unsigned int * attributes) {
    *attributes = 0;
    NativeEntry native;
    struct stat info;
    unsigned int const error = FindEntry(path, &native, &info);
    if (error == FileError::None)
        *attributes = ToAttributes(info.st_mode);
    return error;
}

unsigned int PosixFileCalls::GetDiskUse(EntryPath path, DiskUse * use) {
    constexpr unsigned int blockSize = 512; // the unit of st_blocks, whatever that of the disk
    *use = {};
    NativeEntry native;
    struct stat info;
    unsigned int const error = FindEntry(path, &native, &info);
    if (error == FileError::None)
        *use = {true, static_cast<unsigned long long>(info.st_blocks) * blockSize, info.st_nlink,
                info.st_dev, info.st_ino};
    return error;
}

unsigned int PosixFileCalls::FindFirstFile(PathText path, FindData * data) {
    NativeEntry native;
    struct statx info;
    unsigned int const error = OnEntry(path, &native, [&info](int at, char const * entry) {
        return ::statx(at, entry, AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS | STATX_BTIME, &info) == 0;
    });
    if (error != FileError::None)
        return error;
    *data = {};
    data->attributes = ToAttributes(info.stx_mode);
    bool const isLink = S_ISLNK(info.stx_mode);
    data->size = isLink ? std::max<unsigned long long>(info.stx_size, 1) : info.stx_size;
    data->creationTime = GetCreationTime(native.at, native.path.text, info);
    data->lastWriteTime = FromSystemTime(info.stx_mtime.tv_sec, info.stx_mtime.tv_nsec);
    std::string_view const text = native.path.GetText();
    return SetName(text.substr(text.rfind('/') + 1), data) ? FileError::None
                                                           : FileError::NameTooLong;
}

unsigned int PosixFileCalls::OpenFolder(EntryPath folder, FolderUse use, FindHandle * find) {
    *find = nullptr;
    if (folder.in != nullptr && ToFolder(folder.in)->GetLevel() >= OpenedFolder::MostLevels)
        return FileError::NameTooLong;
    NativeEntry native;
    int const more = folder.in != nullptr ? O_NOFOLLOW : 0;
    int descriptor = -1;
    unsigned int const error = OnEntry(folder, &native, [&](int at, char const * entry) {
        return (descriptor = OpenForUse(at, entry, use, more)) >= 0;
    });
    if (error == FileError::FileNotFound && folder.in == nullptr)
        return FileError::PathNotFound; // a folder to be searched counts as a name before the last
    if (error != FileError::None)
        return error == FileError::PathNotFound && errno == ENOTDIR ? FileError::Directory : error;
    return use == FolderUse::List
               ? Hold<Search>(descriptor, find, ToFolder(folder.in))
               : Hold<OpenedFolder>(descriptor, find, ToFolder(folder.in), false);
}

unsigned int PosixFileCalls::GetFolderId(FindHandle find, FolderId * id) {
    struct stat info;
    *id = {};
    if (::fstat(ToFolder(find)->Reach(), &info) != 0)
        return GetLastFileError();
    *id = {info.st_dev, info.st_ino};
    return FileError::None;
}

unsigned int PosixFileCalls::FindNextFile(FindHandle find, FindData * data) {
    OpenedFolder * const folder = ToFolder(find);
    return folder->IsListed() ? GetNext(static_cast<Search *>(folder), data)
                              : FileError::AccessDenied;
}

unsigned int PosixFileCalls::LookAtFound(FindHandle find, FindData * data) {
    Search & search = static_cast<Search &>(*ToFolder(find));
    struct stat info;
    int const folder = search.Reach();
    if (folder < 0 || ::fstatat(folder, search.entry.name.data(), &info, AT_SYMLINK_NOFOLLOW) != 0)
        return GetLastFileError();
    data->attributes = ToAttributes(info.st_mode);
    data->size = S_ISLNK(info.st_mode) ? std::max<long long>(info.st_size, 1) : info.st_size;
    data->lastWriteTime = FromSystemTime(info.st_mtim.tv_sec, info.st_mtim.tv_nsec);
    return FileError::None;
}

unsigned int PosixFileCalls::FindClose(FindHandle find) {
    OpenedFolder * const folder = ToFolder(find);
    if (folder->IsListed())
        delete static_cast<Search *>(folder);
    else
        delete folder;
    return FileError::None;
}

} // namespace IO
