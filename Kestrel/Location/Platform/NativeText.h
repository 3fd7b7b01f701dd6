#pragma once

#include <Kestrel/Location/Platform/NativeTypes.h>

#include <string_view>

// The names of a file system of bytes, as units, and back. Kestrel/FileSystem/NativePath.h
// specifies the rule. It is the same code on all platforms, though only one needs it.

namespace IO {

/// A native path, zero-terminated, up to the length that the system accepts.
struct BytePath {
    static constexpr unsigned int Size = 4096;

    char text[Size];
    unsigned int length = 0;

    BytePath() { text[0] = 0; }
    std::string_view GetText() const { return std::string_view(text, length); }
    /// False: it would become too long; nothing changed.
    bool Append(std::string_view more);
    void Truncate(unsigned int newLength) {
        length = newLength;
        text[length] = 0;
    }
    /// Appends a "/", unless there is one, and the name.
    bool AppendName(std::string_view name);
    /// Replaces a part.
    bool Replace(unsigned int from, unsigned int count, std::string_view replacement);
};

/// A name has at most as many units as bytes, plus one unit behind a reserved word.
inline constexpr unsigned int MaxNameBytes = 255;

/// Appends one name as units. False when the buffer is full.
bool AppendPortableName(std::string_view name, TextBuffer * text);
/// Appends a path, "/" and names by turns, with `\` for each "/", if copying suffices: its names
/// are plain and none of them empty or ".". False, and nothing appended, for another path and for
/// one that does not fit; nearly all do.
bool AppendPlainPath(std::string_view path, TextBuffer * text);
/// The reverse: appends names, a separator before each, if copying suffices: they are ASCII, and
/// none of them is empty. False, and nothing appended, otherwise.
bool AppendPlainNames(PathText names, BytePath * path);
/// Appends one name as bytes: 0, FileError::InvalidName or FileError::NameTooLong.
unsigned int AppendNativeName(PathText name, BytePath * path);

/// A native text, such as a native path, for people to read: its characters are unchanged, and only
/// bytes that are not UTF-8 become units of the range for them. As above otherwise.
bool AppendPortableText(std::string_view bytes, TextBuffer * text);
unsigned int AppendNativeText(PathText text, BytePath * path);

/// The number of bytes of the native name; 0 when there is none.
unsigned int MeasureNativeName(PathText name);
/// The hash of the name in upper case, equal for all its spellings.
unsigned int HashNameUpperCased(std::string_view name);
/// Whether two names are spellings of the same one.
bool IsSameSpelling(PathText a, PathText b);
bool IsSpellingOf(std::string_view name, PathText other);

} // namespace IO
