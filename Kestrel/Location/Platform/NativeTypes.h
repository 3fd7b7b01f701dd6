#pragma once

#include <string_view>

// Common to all seams to the operating system that take paths.

namespace IO {

/// A path or name in the portable form, `C:\a\b` or `\\host\share\x` on both platforms, of UTF-16
/// units. Need not be zero-terminated. "/" separates like `\`.
using PathText = std::u16string_view;

constexpr bool IsSeparator(char16_t unit) {
    return unit == u'\\' || unit == u'/';
}

/// The output of an operation that returns a text: `size` units at `units`. The text and its
/// terminating zero must fit, or the call fails with FileError::MoreData; `length` excludes the
/// zero.
struct TextBuffer {
    char16_t * units;
    unsigned int size;
    unsigned int length;

    PathText GetText() const { return PathText(units, length); }
    /// Appends one unit, if a terminator still fits behind it.
    bool Put(char16_t unit) {
        if (size - length < 2)
            return false;
        units[length++] = unit;
        return true;
    }
    bool Put(PathText text) {
        for (char16_t const unit : text)
            if (!Put(unit))
                return false;
        return true;
    }
};

/// The error numbers that the library distinguishes. Others may occur as well.
namespace FileError {
inline constexpr unsigned int None = 0;
inline constexpr unsigned int InvalidFunction = 1;
inline constexpr unsigned int FileNotFound = 2; ///< the last name of the path
inline constexpr unsigned int PathNotFound = 3; ///< a name before the last
inline constexpr unsigned int TooManyOpenFiles = 4;
inline constexpr unsigned int AccessDenied = 5;
inline constexpr unsigned int InvalidHandle = 6;
inline constexpr unsigned int NotEnoughMemory = 8;
inline constexpr unsigned int NotSameDevice = 17;
inline constexpr unsigned int NoMoreFiles = 18; ///< FindNextFile: the end, no failure
inline constexpr unsigned int WriteProtect = 19;
inline constexpr unsigned int NotReady = 21; ///< no medium
inline constexpr unsigned int WriteFault = 29;
inline constexpr unsigned int ReadFault = 30;
inline constexpr unsigned int GeneralFailure = 31;
inline constexpr unsigned int SharingViolation = 32;
inline constexpr unsigned int LockViolation = 33;
inline constexpr unsigned int HandleDiskFull = 39;
inline constexpr unsigned int NotSupported = 50;
inline constexpr unsigned int BadNetPath = 53; ///< no such host or share
inline constexpr unsigned int FileExists = 80;
inline constexpr unsigned int InvalidParameter = 87;
inline constexpr unsigned int DiskFull = 112;
inline constexpr unsigned int InvalidName = 123;
inline constexpr unsigned int NegativeSeek = 131;
inline constexpr unsigned int DirNotEmpty = 145;
inline constexpr unsigned int AlreadyExists = 183;
inline constexpr unsigned int NameTooLong = 206;
inline constexpr unsigned int FileTooLarge = 223;
inline constexpr unsigned int MoreData = 234;
inline constexpr unsigned int Directory = 267; ///< a folder was required, and it is none
inline constexpr unsigned int IODevice = 1117;
inline constexpr unsigned int TooManyLinks = 1142;
inline constexpr unsigned int InvalidTime = 1901;
inline constexpr unsigned int CantResolveName = 1921;
} // namespace FileError

} // namespace IO
