#include <Kestrel/FileSystem/Platform/Posix/FolderReader.h>
#include <Kestrel/FileSystem/Platform/Posix/PosixFileCalls.h>
#include <Kestrel/FileSystem/Platform/Posix/Times.h>
#include <Kestrel/Root/Memory.h>

#include <algorithm>
#include <fcntl.h>
#include <sys/stat.h>

namespace IO {
namespace {

// What FindFirstFile hands out for one entry: there is nothing to go on with.
char oneEntry;

unsigned int ToAttributes(mode_t mode) {
    if (S_ISDIR(mode))
        return FileAttribute::Folder;
    if (S_ISLNK(mode))
        return FileAttribute::Link;
    bool const isProtected = (mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0;
    return isProtected ? FileAttribute::ReadOnly : FileAttribute::Normal;
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

// The folder of a path whose last name is "*"; empty for another.
PathText GetSearchedFolder(PathText path) {
    bool const isSearch = path.size() >= 2 && path.back() == u'*' &&
                          (path[path.size() - 2] == u'\\' || path[path.size() - 2] == u'/');
    return isSearch ? path.substr(0, path.size() - 1) : PathText();
}

struct Search : Mu::Allocated {
    explicit Search(int descriptor) : reader(descriptor) {}
    FolderReader reader;
    FolderReader::Entry entry; // handed out last
};

unsigned int GetNext(Search * search, FindData * data) {
    FolderReader::Entry & entry = search->entry;
    if (!search->reader.Next(&entry))
        return errno == 0 ? FileError::NoMoreFiles : GetLastFileError();
    data->creationTime = 0;
    data->lastWriteTime = 0;
    data->attributes = ToAttributes(entry.type);
    data->size = entry.type == FolderReader::Type::Link ? 1 : 0;
    return SetName(entry.name, data) ? FileError::None : FileError::NameTooLong;
}

} // namespace

unsigned int PosixFileCalls::FindEntry(PathText path, BytePath * native, struct stat * info) const {
    return OnEntry(path, native, [info](char const * entry) { return ::lstat(entry, info) == 0; });
}

unsigned int PosixFileCalls::GetFileAttributes(PathText path, unsigned int * attributes) {
    *attributes = 0;
    BytePath native;
    struct stat info;
    unsigned int const error = FindEntry(path, &native, &info);
    if (error == FileError::None)
        *attributes = ToAttributes(info.st_mode);
    return error;
}

unsigned int PosixFileCalls::FindFirstFile(PathText path, FindHandle * find, FindData * data) {
    *find = nullptr;
    PathText const folder = GetSearchedFolder(path);
    if (!folder.empty())
        return FindAll(folder, find, data);
    unsigned int const error = FindOne(path, data);
    if (error == FileError::None)
        *find = &oneEntry;
    return error;
}

unsigned int PosixFileCalls::FindOne(PathText path, FindData * data) const {
    BytePath native;
    struct statx info;
    unsigned int const error = OnEntry(path, &native, [&info](char const * entry) {
        return ::statx(AT_FDCWD, entry, AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS | STATX_BTIME,
                       &info) == 0;
    });
    if (error != FileError::None)
        return error;
    *data = {};
    data->attributes = ToAttributes(info.stx_mode);
    bool const isLink = S_ISLNK(info.stx_mode);
    data->size = isLink ? std::max<unsigned long long>(info.stx_size, 1) : info.stx_size;
    data->creationTime = GetCreationTime(native.text, info);
    data->lastWriteTime = FromSystemTime(info.stx_mtime.tv_sec, info.stx_mtime.tv_nsec);
    std::string_view const text = native.GetText();
    return SetName(text.substr(text.rfind('/') + 1), data) ? FileError::None
                                                           : FileError::NameTooLong;
}

unsigned int PosixFileCalls::FindAll(PathText folder, FindHandle * find, FindData * data) const {
    BytePath native;
    int descriptor = -1;
    unsigned int error = OnEntry(folder, &native, [&descriptor](char const * entry) {
        return (descriptor = OpenFolder(entry)) >= 0;
    });
    if (error == FileError::FileNotFound) // what is looked into is no last name
        return FileError::PathNotFound;
    if (error != FileError::None)
        return error == FileError::PathNotFound && errno == ENOTDIR ? FileError::Directory : error;
    void * const block = Mu::NewOperator(sizeof(Search));
    if (block == nullptr) {
        Descriptor const closed(descriptor);
        return FileError::NotEnoughMemory;
    }
    Search * const search = new (block) Search(descriptor);
    error = GetNext(search, data);
    if (error == FileError::None)
        *find = search;
    else
        delete search;
    return error == FileError::NoMoreFiles ? FileError::FileNotFound : error;
}

unsigned int PosixFileCalls::FindNextFile(FindHandle find, FindData * data) {
    if (find == &oneEntry)
        return FileError::NoMoreFiles;
    return GetNext(static_cast<Search *>(find), data);
}

unsigned int PosixFileCalls::LookAtFound(FindHandle find, FindData * data) {
    if (find == &oneEntry)
        return FileError::None;
    Search const & search = *static_cast<Search *>(find);
    struct stat info;
    if (::fstatat(search.reader.GetDescriptor(), search.entry.name.data(), &info,
                  AT_SYMLINK_NOFOLLOW) != 0)
        return GetLastFileError();
    data->attributes = ToAttributes(info.st_mode);
    data->size = S_ISLNK(info.st_mode) ? std::max<long long>(info.st_size, 1) : info.st_size;
    return FileError::None;
}

unsigned int PosixFileCalls::FindClose(FindHandle find) {
    if (find != &oneEntry)
        delete static_cast<Search *>(find);
    return FileError::None;
}

} // namespace IO
