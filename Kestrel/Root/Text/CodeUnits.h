#pragma once

#include <string_view>

// A UTF-16 unit is an `unsigned short` here and a `char16_t` in the standard library. Only these
// two functions reinterpret one as the other.

namespace Mu {

inline unsigned short const * ToUnits(char16_t const * units) {
#if defined(__GNUC__)
    // Keeps the compiler from assuming that the two types do not alias.
    asm volatile("" : "+r"(units) : : "memory");
#endif
    return reinterpret_cast<unsigned short const *>(units);
}

inline char16_t const * ToChar16(unsigned short const * units) {
#if defined(__GNUC__)
    asm volatile("" : "+r"(units) : : "memory");
#endif
    return reinterpret_cast<char16_t const *>(units);
}

/// The number of units before the first zero; 0 for a null pointer.
inline unsigned int CountUnits(unsigned short const * units) {
    unsigned int length = 0;
    if (units != nullptr)
        while (units[length] != 0)
            ++length;
    return length;
}

} // namespace Mu
