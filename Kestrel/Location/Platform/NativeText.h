#pragma once

#include <Kestrel/Location/Platform/NativeTypes.h>

#include <string_view>

// The names of a file system that knows bytes, as units, and back. Kestrel/FileSystem/NativePath.h
// states the rule. It is the same code on all platforms, though only one needs it.

namespace IO {

/// A native path, zero-terminated, as long as the system takes one.
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
    /// A "/" where none stands, and the name.
    bool AppendName(std::string_view name);
    /// Puts `replacement` in the place of a part.
    bool Replace(unsigned int from, unsigned int count, std::string_view replacement);
};

/// A name has at most as many units as bytes, but for one unit behind a reserved word.
inline constexpr unsigned int MaxNameBytes = 255;

/// Appends one name as units. False when the buffer is full.
bool AppendPortableName(std::string_view name, TextBuffer * text);
/// Appends a path, "/" and names by turns, with `\` for each "/", if all that takes is to copy it: its
/// names are plain and none of them empty or ".". False, and nothing appended, for another path and
/// for one that does not fit; nearly all do.
bool AppendPlainPath(std::string_view path, TextBuffer * text);
/// The way back: appends names, a separator before each, if all that takes is to copy them: they are
/// ASCII, and none of them is empty. False, and nothing appended, otherwise.
bool AppendPlainNames(PathText names, BytePath * path);
/// Appends one name as bytes: 0, FileError::InvalidName or FileError::NameTooLong.
unsigned int AppendNativeName(PathText name, BytePath * path);

/// A native text, such as a native path, for people to read: its characters are themselves, and only
/// bytes that are no UTF-8 are units of the range for them. As above otherwise.
bool AppendPortableText(std::string_view bytes, TextBuffer * text);
unsigned int AppendNativeText(PathText text, BytePath * path);

/// How many bytes the name has then; 0 when it is no native name.
unsigned int MeasureNativeName(PathText name);
/// The hash of the name in upper case, equal for all its spellings.
unsigned int HashNameUpperCased(std::string_view name);
/// Whether two names are spellings of one.
bool IsSameSpelling(PathText a, PathText b);
bool IsSpellingOf(std::string_view name, PathText other);

} // namespace IO
