#pragma once

#include <Kestrel/Location/Platform/NativeTypes.h>

namespace IO {

/// An open file. Null is none; who made it closes it.
using FileHandle = void *;
/// An enumeration under way. Null is none; who began it ends it by FindClose.
using FindHandle = void *;

namespace FileAttribute {
inline constexpr unsigned int ReadOnly = 0x1;
inline constexpr unsigned int Folder = 0x10;
inline constexpr unsigned int Normal = 0x80;
/// Only on Linux, where it says "a symbolic link"; see FileCalls::MarksLinks.
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

/// What FindFirstFile tells. Times count 100 ns from the start of 1601.
struct FindData {
    unsigned int attributes;
    unsigned long long creationTime;
    unsigned long long lastWriteTime;
    unsigned long long size; ///< never 0 for a symbolic link
    unsigned int nameLength;
    char16_t name[260];

    PathText GetName() const { return PathText(name, nameLength); }
    bool IsFolder() const { return (attributes & FileAttribute::Folder) != 0; }
    /// "." and "..", which an enumeration may hand out.
    bool IsDots() const {
        return nameLength <= 2 && name[0] == u'.' && (nameLength == 1 || name[1] == u'.');
    }
};

/// How reading a link went.
enum class LinkStatus : unsigned char {
    Done = 0,     ///< the target stands in the buffer
    NotALink = 1, ///< something else, or nothing
    Broken = 2,   ///< a link that names no target
    Failed = 3
};

} // namespace IO
