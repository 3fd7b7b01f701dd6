#pragma once

#include <cstddef>
#include <cstring>

namespace IO {

/// memcpy for counts that are mostly those of one value: 1 to 8 bytes go by direct stores, and a
/// count of 0 takes null pointers. The spans must not overlap.
inline void CopyBytes(char * to, char const * from, std::size_t count) {
    switch (count) {
    case 0: return;
    case 1: *to = *from; return;
    case 2: std::memcpy(to, from, 2); return;
    case 3:
        std::memcpy(to, from, 2);
        to[2] = from[2];
        return;
    case 4: std::memcpy(to, from, 4); return;
    case 5:
        std::memcpy(to, from, 4);
        to[4] = from[4];
        return;
    case 6:
        std::memcpy(to, from, 4);
        std::memcpy(to + 4, from + 4, 2);
        return;
    case 7:
        std::memcpy(to, from, 4);
        std::memcpy(to + 3, from + 3, 4);
        return;
    case 8: std::memcpy(to, from, 8); return;
    default: std::memcpy(to, from, count);
    }
}

} // namespace IO
