#pragma once

#include <cstddef>
#include <cstring>

namespace Mu {

/// The limit of CopyFewBytes.
inline constexpr std::size_t FewBytes = 16;

/// Two stores of one width, which overlap for the counts between that width and the next.
template <typename Word>
inline void CopyHeadAndTail(char * to, char const * from, std::size_t count) {
    Word head;
    Word tail;
    std::memcpy(&head, from, sizeof head);
    std::memcpy(&tail, from + count - sizeof tail, sizeof tail);
    std::memcpy(to, &head, sizeof head);
    std::memcpy(to + count - sizeof tail, &tail, sizeof tail);
}

/// Copies up to 16 bytes, such as a value or a short text, by direct stores instead of a call.
inline void CopyFewBytes(char * to, char const * from, std::size_t count) {
    if (count >= 8)
        CopyHeadAndTail<unsigned long long>(to, from, count);
    else if (count >= 4)
        CopyHeadAndTail<unsigned int>(to, from, count);
    else if (count >= 2)
        CopyHeadAndTail<unsigned short>(to, from, count);
    else if (count == 1)
        *to = *from;
}

/// memcpy for counts that are mostly small. A count of 0 allows null pointers. The ranges must not
/// overlap.
inline void CopyBytes(char * to, char const * from, std::size_t count) {
    if (count <= FewBytes)
        CopyFewBytes(to, from, count);
    else
        std::memcpy(to, from, count);
}

} // namespace Mu
