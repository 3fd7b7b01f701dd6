#pragma once

// The system's wide character is a UTF-16 unit under another name; only here one becomes the other.

namespace Mu::Platform {

inline wchar_t const * ToWide(unsigned short const * units) {
    asm volatile("" : "+r"(units) : : "memory"); // see CodeUnits.h
    return reinterpret_cast<wchar_t const *>(units);
}

inline wchar_t * ToWide(unsigned short * units) {
    asm volatile("" : "+r"(units) : : "memory");
    return reinterpret_cast<wchar_t *>(units);
}

inline unsigned short const * FromWide(wchar_t const * text) {
    asm volatile("" : "+r"(text) : : "memory");
    return reinterpret_cast<unsigned short const *>(text);
}

} // namespace Mu::Platform
