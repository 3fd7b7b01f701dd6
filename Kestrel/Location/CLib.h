#pragma once

/// Basic operations on zero-terminated narrow text, without locale and checks, where a text class
/// of the root would be too much.
namespace IO::CLib {

inline unsigned int StrLen(char const * text) {
    char const * end = text;
    while (*end != 0)
        ++end;
    return static_cast<unsigned int>(end - text);
}

/// Copies the text with its terminator and returns `to`, which must have space for both.
inline char * StrCpy(char * to, char const * from) {
    char * out = to;
    while ((*out++ = *from++) != 0) {
    }
    return to;
}

/// Appends the text to the one in `to` and returns `to`.
inline char * StrCat(char * to, char const * from) {
    StrCpy(to + StrLen(to), from);
    return to;
}

} // namespace IO::CLib
