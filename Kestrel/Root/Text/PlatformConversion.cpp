#include <Kestrel/Root/Text/PlatformConversion.h>

#include <Kestrel/Root/Internal/CharCodeConversion.h>
#include <Kestrel/Root/Internal/CharacterSets.h>

#include <bit>

namespace {

using Mu::Internal::macRomanRows;
using Mu::Internal::Recoding;
using Mu::Internal::windows1252Rows;

constexpr Recoding toMac(windows1252Rows, macRomanRows);
constexpr Recoding toWindows(macRomanRows, windows1252Rows);

bool IsSign(Mu::PlatformSign sign) {
    return sign == Mu::WindowsSign || sign == Mu::BigEndianMacSign ||
           sign == Mu::LittleEndianMacSign;
}

bool IsMac(Mu::PlatformSign sign) {
    return sign != Mu::WindowsSign;
}

} // namespace

// The code is that of this machine and does not matter: the signs determine both sets.
void IVChars(Mu::PlatformSign origin, char * text, int length, MuCharCode,
             Mu::PlatformSign destination) {
    if (!IsSign(origin) || !IsSign(destination) || IsMac(origin) == IsMac(destination))
        return;
    Recoding const & recoding = IsMac(origin) ? toWindows : toMac;
    unsigned int const count = Mu::Internal::GetNarrowLength(text, length);
    for (unsigned int i = 0; i < count; ++i)
        text[i] = recoding.Convert(text[i]);
}

void IVULong(Mu::PlatformSign sign, unsigned int * value) {
    if (value == nullptr || !IsSign(sign))
        return;
    std::endian const order = sign == Mu::BigEndianMacSign ? std::endian::big : std::endian::little;
    if (order != std::endian::native)
        *value = *value >> 24 | (*value >> 8 & 0xFF00) | (*value & 0xFF00) << 8 | *value << 24;
}
