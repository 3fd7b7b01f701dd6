#pragma once

#include <Kestrel/Root/Text/NarrowText.h>

#include <algorithm>
#include <cstring>

namespace FTM {

inline bool IsAscii(char const * text) {
    return std::all_of(text, text + std::strlen(text),
                       [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

/// As CHtoLower, which decodes characters; ASCII needs no decoding.
inline void LowerCase(char * text) {
    for (char * at = text; *at != 0; ++at) {
        if (static_cast<unsigned char>(*at) >= 0x80) {
            CHtoLower(text, -1, MuMachineCharCode);
            return;
        }
        if (*at >= 'A' && *at <= 'Z')
            *at = static_cast<char>(*at + ('a' - 'A'));
    }
}

/// Whether the two texts decode to the same characters. Texts beyond 128 bytes, for which
/// CHCompareTexts would allocate, are compared by bytes.
inline bool IsSameText(char const * a, char const * b) {
    if (std::strcmp(a, b) == 0)
        return true;
    if (IsAscii(a) || IsAscii(b) || std::strlen(a) > 128 || std::strlen(b) > 128)
        return false;
    return CHCompareTexts(a, -1, b, -1, Mu::RespectCase, MuMachineCharCode) == Mu::Equal;
}

/// The first four bytes of a text in lower case as a number, low byte first, padded with zero
/// bytes; and whether the text is longer.
inline unsigned int MakeExtensionKey(char const * lowered, bool * isLong) {
    unsigned int key = 0;
    unsigned int at = 0;
    for (; at < 4 && lowered[at] != 0; ++at)
        key |= static_cast<unsigned int>(static_cast<unsigned char>(lowered[at])) << 8 * at;
    *isLong = at == 4 && lowered[4] != 0;
    return key;
}

} // namespace FTM
