#pragma once

#include <Kestrel/Root/Text/PlatformConversion.h>

#include <algorithm>

namespace IO {

/// The sign of this library's own form.
inline constexpr Mu::PlatformSign HostSign = Mu::WindowsSign;

/// IVChars for any length; its own count is signed.
inline void Recode(Mu::PlatformSign origin, char * text, unsigned int length,
                   Mu::PlatformSign destination) {
    while (length > 0) {
        unsigned int const part = std::min(length, 0x40000000u);
        IVChars(origin, text, static_cast<int>(part), MuMachineCharCode, destination);
        text += part;
        length -= part;
    }
}

} // namespace IO
