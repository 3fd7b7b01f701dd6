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

/// Digits of either case, with blanks between the bytes or without.
inline std::string FromHex(std::string const & hex) {
    std::string bytes;
    for (std::size_t i = 0; i < hex.size(); ++i)
        if (hex[i] != ' ')
            bytes.push_back(static_cast<char>(std::stoi(hex.substr(i++, 2), nullptr, 16)));
    return bytes;
}

} // namespace Tests
