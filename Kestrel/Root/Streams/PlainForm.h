#pragma once

#include <bit>
#include <cstddef>
#include <cstring>

// The conversion of one value to bytes, for the protocols and for the channels that avoid calling
// them.

namespace Mu {

enum class ByteOrder { LowFirst, HighFirst };

/// Whether values in that order must be byte-swapped on this host.
inline constexpr bool IsReversed(ByteOrder order) {
    return (order == ByteOrder::LowFirst) != (std::endian::native == std::endian::little);
}

inline constexpr unsigned short Reverse(unsigned short bits) {
    return static_cast<unsigned short>(bits << 8 | bits >> 8);
}

inline constexpr unsigned int Reverse(unsigned int bits) {
    return bits << 24 | (bits & 0xFF00u) << 8 | (bits >> 8 & 0xFF00u) | bits >> 24;
}

inline constexpr unsigned long long Reverse(unsigned long long bits) {
    return static_cast<unsigned long long>(Reverse(static_cast<unsigned int>(bits))) << 32 |
           Reverse(static_cast<unsigned int>(bits >> 32));
}

template <std::size_t size>
struct BitsOfSize;
template <>
struct BitsOfSize<2> {
    using Type = unsigned short;
};
template <>
struct BitsOfSize<4> {
    using Type = unsigned int;
};
template <>
struct BitsOfSize<8> {
    using Type = unsigned long long;
};

/// Reverses the bytes of a value in place; as bits, since reversed bytes may not survive in a
/// floating point register.
template <typename T>
void ReverseInPlace(T & value) {
    if constexpr (sizeof(T) > 1) {
        typename BitsOfSize<sizeof(T)>::Type bits;
        std::memcpy(&bits, &value, sizeof bits);
        bits = Reverse(bits);
        std::memcpy(&value, &bits, sizeof bits);
    }
}

/// The type on the wire for a host's type.
template <typename T>
struct PlainForm {
    using Type = T;
};
template <>
struct PlainForm<long> {
    using Type = int;
};
template <>
struct PlainForm<unsigned long> {
    using Type = unsigned int;
};
template <>
struct PlainForm<long double> {
    using Type = double;
};
template <>
struct PlainForm<bool> {
    using Type = unsigned char; // any byte may be read, but not every one is a valid bool
};

} // namespace Mu
