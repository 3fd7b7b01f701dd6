#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Text/CharCode.h>

namespace Mu {

/// One UTF-16 code unit as a value.
///
/// The conversion to a byte is explicit, as most units do not fit: a byte stands for the unit with
/// the same number, and a unit above 255 becomes '?'. The classifiers cover ASCII only. They are
/// for syntax such as schemes, escapes and drive letters, where letters of other scripts do not
/// count.
class KESTREL_API UniChar {
public:
    constexpr UniChar() = default;
    constexpr UniChar(char c) : unit(static_cast<unsigned char>(c)) {}
    constexpr UniChar(unsigned char c) : unit(c) {}
    constexpr UniChar(unsigned short givenUnit) : unit(givenUnit) {}
    constexpr UniChar(char16_t givenUnit) : unit(static_cast<unsigned short>(givenUnit)) {}
    /// The low 16 bits.
    explicit constexpr UniChar(int givenUnit) : unit(static_cast<unsigned short>(givenUnit)) {}

    explicit constexpr operator char() const {
        return static_cast<char>(static_cast<unsigned char>(*this));
    }
    explicit constexpr operator unsigned char() const {
        return unit < 0x100 ? static_cast<unsigned char>(unit) : '?';
    }
    constexpr unsigned short GetUnit() const { return unit; }

    constexpr bool IsDigit() const { return unit >= '0' && unit <= '9'; }
    constexpr bool IsLower() const { return unit >= 'a' && unit <= 'z'; }
    constexpr bool IsAlpha() const { return IsLower() || (unit >= 'A' && unit <= 'Z'); }
    constexpr bool IsHexaDigit() const {
        return IsDigit() || (unit >= 'a' && unit <= 'f') || (unit >= 'A' && unit <= 'F');
    }

    friend constexpr bool operator==(UniChar a, UniChar b) { return a.unit == b.unit; }
    friend constexpr bool operator==(UniChar a, char b) { return a.unit == UniChar(b).unit; }
    friend constexpr bool operator!=(UniChar a, char b) { return !(a == b); }
    friend constexpr bool operator==(UniChar a, char16_t b) { return a.unit == b; }
    friend constexpr bool operator==(UniChar a, unsigned short b) { return a.unit == b; }
    friend constexpr bool operator==(UniChar a, int b) { return a.unit == b; }

    /// Compares unit by unit; a prefix comes first.
    static CompareResult Compare(unsigned short const * a, unsigned int lengthA,
                                 unsigned short const * b, unsigned int lengthB,
                                 CaseComparison comparison);

private:
    unsigned short unit = 0;
};

} // namespace Mu
