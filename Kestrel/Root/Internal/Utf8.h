#pragma once

// UTF-8, one character at a time. Header-only, so that code that decodes outside bytes (names of
// files, for one) can treat invalid ones in a way of its own.

namespace Mu::Internal {

struct Utf8Character {
    unsigned int codePoint; // U+FFFD for an invalid piece
    unsigned int size;      // bytes consumed, at least 1
    bool isValid;
};

inline constexpr unsigned int ReplacementCharacter = 0xFFFD;

constexpr bool IsHighSurrogate(unsigned int unit) {
    return (unit & 0xFC00) == 0xD800;
}
constexpr bool IsLowSurrogate(unsigned int unit) {
    return (unit & 0xFC00) == 0xDC00;
}

/// The number of bytes after the lead byte and the range of the first of them, which excludes
/// overlong forms, surrogates and code points above U+10FFFF.
struct Utf8Lead {
    unsigned int bits;
    unsigned int following; // 0: not a lead byte
    unsigned char lowest;
    unsigned char highest;
};

constexpr Utf8Lead GetUtf8Lead(unsigned char lead) {
    if (lead < 0xC2 || lead > 0xF4)
        return {0, 0, 0, 0};
    if (lead < 0xE0)
        return {lead & 0x1Fu, 1, 0x80, 0xBF};
    if (lead < 0xF0)
        return {lead & 0x0Fu, 2, static_cast<unsigned char>(lead == 0xE0 ? 0xA0 : 0x80),
                static_cast<unsigned char>(lead == 0xED ? 0x9F : 0xBF)};
    return {lead & 0x07u, 3, static_cast<unsigned char>(lead == 0xF0 ? 0x90 : 0x80),
            static_cast<unsigned char>(lead == 0xF4 ? 0x8F : 0xBF)};
}

/// Decodes the character at `at`, which is before `end`. An invalid piece is the longest valid
/// beginning of a character there, so that a truncated one becomes a single replacement.
constexpr Utf8Character DecodeUtf8Character(char const * at, char const * end) {
    unsigned char const first = static_cast<unsigned char>(*at);
    if (first < 0x80)
        return {first, 1, true};
    Utf8Lead const lead = GetUtf8Lead(first);
    unsigned int codePoint = lead.bits;
    for (unsigned int i = 1; i <= lead.following; ++i) {
        unsigned char const next = at + i < end ? static_cast<unsigned char>(at[i]) : 0;
        if (next < (i == 1 ? lead.lowest : 0x80) || next > (i == 1 ? lead.highest : 0xBF))
            return {ReplacementCharacter, i, false};
        codePoint = codePoint << 6 | (next & 0x3Fu);
    }
    if (lead.following == 0)
        return {ReplacementCharacter, 1, false};
    return {codePoint, 1 + lead.following, true};
}

/// Stores the character, which is no surrogate, and returns the number of bytes, 1 to 4.
constexpr unsigned int EncodeUtf8Character(unsigned int codePoint, char (&bytes)[4]) {
    if (codePoint < 0x80) {
        bytes[0] = static_cast<char>(codePoint);
        return 1;
    }
    unsigned int const following = codePoint < 0x800 ? 1 : codePoint < 0x10000 ? 2 : 3;
    for (unsigned int i = following; i > 0; --i, codePoint >>= 6)
        bytes[i] = static_cast<char>(0x80 | (codePoint & 0x3F));
    constexpr unsigned char leads[] = {0, 0xC0, 0xE0, 0xF0};
    bytes[0] = static_cast<char>(leads[following] | codePoint);
    return 1 + following;
}

} // namespace Mu::Internal
