#pragma once

#include <Kestrel/Location/Location.h>
#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Text/UniString.h>

#include <filesystem>
#include <string_view>

// The library names files by portable text on both platforms, `C:\a\b` or `\\host\share\x`. On
// Windows that is the native path itself. On Linux a table of drives maps between the two: drive
// `C:` is the folder `/` unless the environment says otherwise when the first path is converted,
//
//     KESTREL_DRIVES=C=/;D=/mnt/data;\\host\share=/srv/share
//
// and a share is known only when the table names it. A native path gets the drive whose folder is
// its deepest ancestor. Every file name that Linux allows has a portable form that is legal on
// every platform and comes back from it byte by byte. Characters that a portable name cannot hold
// are written as units of the private-use area:
//
//   - `\ : * ? " < > |` and the characters 1 to 31 are U+F000 plus the character, and so is a dot
//     or a space at the end of a name;
//   - a name that Windows reserves for a device, such as "con", has a U+F000 appended;
//   - a byte that is not part of valid UTF-8 is U+EF00 plus the byte, and so are the three bytes of
//     a unit of these ranges that a name really contains.
//
// Memory:  the texts'. Mu::OutOfMemoryException on shortage.
// Threads: any.
// Failure: false, with an empty text.

namespace IO {

/// One unit of the operating system's own path texts: a byte on Linux, a UTF-16 unit on Windows.
using NativeUnit = std::filesystem::path::value_type;

/// Whether the text is a native absolute path and no portable one: on Linux, one that begins with
/// exactly one "/" and whose first name is no drive of the table. Never on Windows, where the two
/// forms are one.
KESTREL_API bool IsNativePath(Mu::UniString const & text);

/// The portable form of a native absolute path. False for a relative path, and for one that is
/// under no drive and no share. "." and repeated separators are removed; ".." is left for the
/// system to resolve.
KESTREL_API bool FromNativePath(std::basic_string_view<NativeUnit> native, Mu::UniString * path);
/// The same for a path given as text, such as one typed by a user: on Linux, in UTF-8, with invalid
/// bytes as above and everything else unchanged.
KESTREL_API bool FromNativePath(Mu::UniString const & native, Mu::UniString * path);

/// The native form of an absolute portable path, zero-terminated; returns its length, or 0 if there
/// is none: the drive or share is unknown, a unit is not valid in native paths (a zero, a lone
/// surrogate), units of the ranges above stand for "." or "..", or it is longer than `size` units
/// with its terminator. Does not check whether an entry exists there.
KESTREL_API unsigned int ToNativePath(Mu::UniString const & path, NativeUnit * native,
                                      unsigned int size);
/// The same as text, for display and for FromNativePath.
KESTREL_API bool ToNativePath(Mu::UniString const & path, Mu::UniString * native);

/// For use with <filesystem>; empty when there is no native form.
inline std::filesystem::path ToNativePath(Mu::UniString const & path) {
    NativeUnit native[4096];
    return std::filesystem::path(native, native + ToNativePath(path, native, 4096));
}

/// The inverse; empty if there is no portable form.
inline Mu::UniString FromNativePath(std::filesystem::path const & native) {
    Mu::UniString path;
    FromNativePath(std::basic_string_view<NativeUnit>(native.native()), &path);
    return path;
}

/// Also empty for a location that is on another machine or has no path.
inline std::filesystem::path ToNativePath(Location const & location) {
    Mu::UniString path;
    return location.ToPath(&path) == NoError ? ToNativePath(path) : std::filesystem::path();
}

/// Makes a Location of a native path: a relative one is below the current folder, and one without a
/// portable form sets the status ErrIllegalLocation.
template <>
struct TextOfLocation<std::filesystem::path> {
    static Mu::UniString Convert(std::filesystem::path const & native) {
        std::error_code failure;
        Mu::UniString path = FromNativePath(absolute(native, failure));
        return path.IsEmpty() || failure ? Mu::UniString("://") : path;
    }
    static std::filesystem::path ConvertBack(Location const & location) {
        return ToNativePath(location);
    }
};

} // namespace IO
