#pragma once

#include <string>

namespace Tests {

inline std::string ToHex(std::string const & bytes) {
    static char const digits[] = "0123456789ABCDEF";
    std::string text;
    for (unsigned char const byte : bytes)
        (text += digits[byte >> 4]) += digits[byte & 15];
    return text;
}

} // namespace Tests
