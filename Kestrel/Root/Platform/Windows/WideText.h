#pragma once

#include <Kestrel/Root/Text/CodeUnits.h>

// The system's wide character is a UTF-16 unit under another name; only this file converts between
// them.

namespace Mu::Platform {

inline wchar_t const * ToWide(unsigned short const * units) {
    return reinterpret_cast<wchar_t const *>(ToChar16(units));
}

inline wchar_t * ToWide(unsigned short * units) {
    return const_cast<wchar_t *>(ToWide(static_cast<unsigned short const *>(units)));
}

inline unsigned short const * FromWide(wchar_t const * text) {
    return ToUnits(reinterpret_cast<char16_t const *>(text));
}

} // namespace Mu::Platform
