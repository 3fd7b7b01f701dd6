#pragma once

#include <Kestrel/FileSystem/FileSystemTypes.h>
#include <Kestrel/Location/Platform/NativeTypes.h>

#include <concepts>

namespace IO {

/// An open file. Null is none; the caller that opened it closes it.
using FileHandle = void *;
/// A folder that is held open, to enumerate it or to reach its entries. Null is none; the caller
/// that opened it closes it by FindClose.
using FindHandle = void *;

/// The entry that a call is for: one at a path, or, with `in`, the entry of this name in a folder
/// that is held open. The second form resolves that one name and never follows a link, so that
/// renaming folders or replacing them by links cannot redirect the call.
struct EntryPath {
    template <std::convertible_to<PathText> Path>
    EntryPath(Path const & path) : text(path) {}
    EntryPath(FindHandle in, PathText name) : text(name), in(in) {}

    PathText text;
    FindHandle in = nullptr;
};

/// The purpose for which a folder is opened.
enum class FolderUse : unsigned char {
    List = 0,  ///< FindNextFile, and reaching entries
    Base = 1,  ///< reaching entries alone, which needs no right to list
    Target = 2 ///< the same; while it is open, Windows prevents renaming the folder
};

/// Equal for one and the same folder, by whatever path it was opened.
struct FolderId {
    unsigned long long volume;
    unsigned long long file;

    bool operator==(FolderId const &) const = default;
};

namespace FileAttribute {
inline constexpr unsigned int ReadOnly = 0x1;
inline constexpr unsigned int Folder = 0x10;
/// A pipe, a socket or a device that Linux shows among its files. In addition to others, and only
/// for information.
inline constexpr unsigned int Device = 0x40;
inline constexpr unsigned int Normal = 0x80;
/// A symbolic link on Linux; see FileCalls::MarksLinks. On Windows FindNextFile sets it beside
/// Folder for junctions and for symbolic links to folders, which stand for a folder elsewhere.
inline constexpr unsigned int Link = 0x400;
} // namespace FileAttribute

namespace FileAccess {
inline constexpr unsigned int None = 0; ///< bound by no share mode
inline constexpr unsigned int Read = 0x80000000u;
inline constexpr unsigned int Write = 0x40000000u;
} // namespace FileAccess

namespace FileShare {
inline constexpr unsigned int None = 0;
inline constexpr unsigned int Read = 1;
inline constexpr unsigned int Write = 2;
} // namespace FileShare

namespace FileDisposition {
inline constexpr unsigned int CreateNew = 1;
inline constexpr unsigned int CreateAlways = 2;
inline constexpr unsigned int OpenExisting = 3;
inline constexpr unsigned int OpenAlways = 4;
inline constexpr unsigned int TruncateExisting = 5;
} // namespace FileDisposition

/// Among the attributes of CreateFile: reaches a folder too.
inline constexpr unsigned int FileFlagBackupSemantics = 0x2000000;

namespace DriveType {
inline constexpr unsigned int Unknown = 0;
inline constexpr unsigned int NoRoot = 1; ///< there is no such drive
inline constexpr unsigned int Removable = 2;
inline constexpr unsigned int Fixed = 3;
inline constexpr unsigned int Remote = 4;
inline constexpr unsigned int CDRom = 5;
inline constexpr unsigned int RamDisk = 6;
} // namespace DriveType

/// What FindFirstFile reports. Times count 100 ns from the start of 1601.
struct FindData {
    unsigned int attributes;
    unsigned long long creationTime;
    unsigned long long lastWriteTime;
    unsigned long long size; ///< never 0 for a symbolic link
    unsigned int nameLength;
    char16_t name[260];

    PathText GetName() const { return PathText(name, nameLength); }
    bool IsFolder() const { return (attributes & FileAttribute::Folder) != 0; }
    /// "." and "..", which an enumeration may report.
    bool IsDots() const {
        return nameLength <= 2 && name[0] == u'.' && (nameLength == 1 || name[1] == u'.');
    }
};

/// The result of reading a link.
enum class LinkStatus : unsigned char {
    Done = 0,     ///< the target is in the buffer
    NotALink = 1, ///< something else, or nothing
    Broken = 2,   ///< a link that names no target
    Failed = 3
};

} // namespace IO
