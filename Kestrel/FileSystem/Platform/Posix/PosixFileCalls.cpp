#include <Kestrel/FileSystem/Platform/Posix/PosixFileCalls.h>

#include <Kestrel/FileSystem/Platform/Posix/FolderReader.h>
#include <Kestrel/FileSystem/Platform/Posix/SpecialFolders.h>
#include <Kestrel/FileSystem/Platform/Posix/Volumes.h>

#include <cstdlib>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace IO {

FileCalls & GetPlatformFileCalls() {
    static PosixFileCalls calls([] {
        char const * const text = std::getenv("KESTREL_DRIVES");
        return std::string_view(text != nullptr ? text : "");
    }());
    return calls;
}

unsigned int PosixFileCalls::SetFileAttributes(EntryPath path, unsigned int attributes) {
    NativeEntry native;
    int const flags = path.in != nullptr ? AT_SYMLINK_NOFOLLOW : 0;
    return OnEntry(path, &native, [attributes, flags](int at, char const * entry) {
        constexpr mode_t writing = S_IWUSR | S_IWGRP | S_IWOTH;
        struct stat info;
        if (::fstatat(at, entry, &info, flags) != 0)
            return false;
        bool const isProtected = (attributes & FileAttribute::ReadOnly) != 0;
        mode_t const before = info.st_mode & 07777;
        mode_t const mode = isProtected               ? before & ~writing
                            : (before & writing) == 0 ? before | S_IWUSR
                                                      : before;
        return mode == before || ::fchmodat(at, entry, mode, flags) == 0;
    });
}

unsigned int PosixFileCalls::GetDiskFreeSpaceEx(PathText folder, unsigned long long * available) {
    *available = 0;
    struct statvfs info;
    NativeEntry native;
    unsigned int const error = OnEntry(folder, &native, [&info](int at, char const * entry) {
        if (at == AT_FDCWD)
            return Retry([&] { return ::statvfs(entry, &info); }) == 0;
        Descriptor const opened(IO::OpenFolder(at, entry, O_PATH));
        return opened.IsOpen() && Retry([&] { return ::fstatvfs(opened.Get(), &info); }) == 0;
    });
    if (error == FileError::None)
        *available = static_cast<unsigned long long>(info.f_bavail) * info.f_frsize;
    return error;
}

unsigned int PosixFileCalls::PutNative(std::string_view native, TextBuffer * path) const {
    return drives.ToPortable(native, path);
}

unsigned int PosixFileCalls::GetSystemDirectory(TextBuffer * path) {
    return PutNative("/usr/lib", path);
}

unsigned int PosixFileCalls::GetModuleFileName(TextBuffer * path) {
    BytePath native;
    auto const length = ::readlink("/proc/self/exe", native.text, BytePath::Size - 1);
    if (length < 0)
        return GetLastFileError();
    native.Truncate(static_cast<unsigned int>(length));
    return PutNative(native.GetText(), path);
}

unsigned int PosixFileCalls::GetCurrentDirectory(TextBuffer * path) {
    BytePath native;
    if (::getcwd(native.text, BytePath::Size) == nullptr)
        return GetLastFileError();
    return PutNative(native.text, path);
}

unsigned int PosixFileCalls::GetTempPath(TextBuffer * path) {
    BytePath native;
    if (!GetPathVariable("TMPDIR", &native))
        native.Append("/tmp");
    unsigned int const error = PutNative(native.GetText(), path);
    if (error != FileError::None || path->units[path->length - 1] == u'\\')
        return error;
    if (!path->Put(u'\\'))
        return FileError::MoreData;
    path->units[path->length] = 0;
    return FileError::None;
}

unsigned int PosixFileCalls::GetLongPathName(PathText path, TextBuffer * longPath) {
    NativeEntry native;
    struct stat info;
    unsigned int error = FindEntry(path, &native, &info);
    if (error == FileError::None)
        error = CheckIsWhole(native);
    return error == FileError::None ? PutNative(native.path.GetText(), longPath) : error;
}

unsigned int PosixFileCalls::SHGetFolderPath(int folder, TextBuffer * path) {
    BytePath native;
    if (!FindSpecialFolder(folder, &native))
        return FileError::FileNotFound;
    return PutNative(native.GetText(), path);
}

unsigned int PosixFileCalls::GetVolumeInformation(PathText root) {
    NativeEntry native;
    struct stat info;
    return OnEntry(root, &native, [&info](int at, char const * entry) {
        return ::fstatat(at, entry, &info, 0) == 0;
    });
}

unsigned int PosixFileCalls::GetLogicalDriveStrings(TextBuffer * text) {
    text->length = 0;
    for (unsigned int letter = 'A'; letter <= 'Z'; ++letter) {
        if (drives.GetFolder(letter).empty())
            continue;
        char16_t const root[] = {static_cast<char16_t>(letter), u':', u'\\', 0};
        if (!text->Put(PathText(root, std::size(root))))
            return FileError::MoreData;
    }
    text->units[text->length] = 0;
    return FileError::None;
}

unsigned int PosixFileCalls::GetDriveType(PathText root) {
    BytePath native;
    unsigned int rootLength;
    if (drives.ToNative(root, &native, &rootLength) != FileError::None)
        return DriveType::NoRoot;
    return GetVolumeType(native.text);
}

bool PosixFileCalls::IsSameName(PathText a, PathText b) {
    return IsSameSpelling(a, b);
}

// The system has no dialogs to suppress; the mode is only stored and returned.
unsigned int PosixFileCalls::SetErrorMode(unsigned int mode) {
    return errorMode.exchange(mode);
}

unsigned int PosixFileCalls::GetLastError() {
    return static_cast<unsigned int>(errno);
}

void PosixFileCalls::SetLastError(unsigned int error) {
    errno = static_cast<int>(error);
}

unsigned int PosixFileCalls::FormatMessage(unsigned int error, char * text, unsigned int size) {
    return GetErrorText(error, text, size);
}

} // namespace IO
