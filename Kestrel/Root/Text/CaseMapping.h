#pragma once

#include <Kestrel/Root/Export.h>

// Case mapping for single UTF-16 units, so that a text keeps its length and its indices. Maps the
// whole Basic Multilingual Plane by the system's rules; surrogates are unchanged.
//
// Memory:  none from the heap.
// Threads: any.

namespace Mu {

/// For units beyond ASCII: one look-up, once the page of 256 units has been filled.
KESTREL_API unsigned short ToUpperUnitBeyondAscii(unsigned short unit) noexcept;
KESTREL_API unsigned short ToLowerUnitBeyondAscii(unsigned short unit) noexcept;

inline unsigned short ToUpperUnit(unsigned short unit) noexcept {
    if (unit < 0x80)
        return unit >= 'a' && unit <= 'z' ? static_cast<unsigned short>(unit - 32) : unit;
    return ToUpperUnitBeyondAscii(unit);
}

inline unsigned short ToLowerUnit(unsigned short unit) noexcept {
    if (unit < 0x80)
        return unit >= 'A' && unit <= 'Z' ? static_cast<unsigned short>(unit + 32) : unit;
    return ToLowerUnitBeyondAscii(unit);
}

/// The hash of a text. The same on every platform and in every release, as it may be persisted.
KESTREL_API unsigned int HashUnits(unsigned short const * units, unsigned int length) noexcept;

/// The HashUnits of the units converted to upper case, without copying them. Depends on the
/// system's case rules, so it must not be persisted.
KESTREL_API unsigned int HashUnitsUpperCased(unsigned short const * units,
                                             unsigned int length) noexcept;

/// Whether the ranges are equal after conversion to upper case.
KESTREL_API bool EqualUnitsUpperCased(unsigned short const * a, unsigned short const * b,
                                      unsigned int length) noexcept;

} // namespace Mu
