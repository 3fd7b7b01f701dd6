#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Text/CharCode.h>

namespace Mu {

/// Where binary data comes from: its byte order and the character set of its 8-bit texts. Each
/// value is two equal letters, so that the mark reads alike in either byte order.
enum PlatformSign : unsigned short {
    BigEndianMacSign = 19789,    ///< "MM": most significant byte first, Mac OS Roman
    WindowsSign = 22359,         ///< "WW": low byte first, Windows code page 1252
    LittleEndianMacSign = 28013, ///< "mm": low byte first, Mac OS Roman
};

} // namespace Mu

/// Recodes `length` bytes of 8-bit text in place (-1: up to the zero byte). Equal signs, and signs
/// that are none of the three, leave the text alone.
///
/// What only one of the two sets has is paired with what only the other has instead of being replaced
/// by a mark, so that two different texts never become the same one, and a text that comes back is
/// the one that was sent: names travel this way, and must still name their files.
KESTREL_API void IVChars(Mu::PlatformSign origin, char * text, int length, MuCharCode code,
                         Mu::PlatformSign destination);

/// Converts the value in place between the sign's byte order and the machine's.
KESTREL_API void IVULong(Mu::PlatformSign sign, unsigned int * value);
