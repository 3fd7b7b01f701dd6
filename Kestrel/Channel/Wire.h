#pragma once

#include <Kestrel/Channel/IChannelAdapter.h>
#include <Kestrel/Channel/OChannelAdapter.h>

#include <bit>
#include <cstring>
#include <type_traits>

// What the binary protocols have in common: how one value becomes bytes and is made of them again.
// In headers, with the adapters' ways to their buffers, for the sake of speed: a value costs two
// virtual calls, which take longer than all else, and a compiler that sees the one likely target of
// each compares the slot with it and goes on in line. Any other protocol or channel is still
// called.

namespace IO::Wire {

enum class ByteOrder { LowFirst, HighFirst };

/// Whether values in that order are to be turned round on this host.
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

/// Turns the bytes of a value round where it lies; as bits, since bytes in the wrong order may be
/// no number that a floating point register keeps as it is.
template <typename T>
void ReverseInPlace(T & value) {
    if constexpr (sizeof(T) > 1) {
        typename BitsOfSize<sizeof(T)>::Type bits;
        std::memcpy(&bits, &value, sizeof bits);
        bits = Reverse(bits);
        std::memcpy(&value, &bits, sizeof bits);
    }
}

/// What travels for a host's type: widths are those of the wire.
template <typename T>
struct Form {
    using Type = T;
};
template <>
struct Form<long> {
    using Type = int;
};
template <>
struct Form<unsigned long> {
    using Type = unsigned int;
};
template <>
struct Form<long double> {
    using Type = double;
};
template <>
struct Form<bool> {
    using Type = unsigned char; // any byte may come, but not every one is a bool
};

/// Reads `count` bytes that belong together: an end in the middle is a broken object, one in front
/// of them a clean end.
inline MuErrCode ReadWhole(Mu::IChannel & channel, char * destination, unsigned int count) {
    unsigned int read = 0;
    MuErrCode const status = channel.ReadBin(destination, count, &read);
    if (status != NoError && read > 0)
        return Mu::IChannel::ConvertObjectReadError(status);
    return status;
}

template <ByteOrder order, typename T>
MuErrCode ReadValue(Mu::IChannel & channel, T & value) {
    if constexpr (std::is_same_v<T, typename Form<T>::Type>) {
        MuErrCode const status = ReadWhole(channel, reinterpret_cast<char *>(&value), sizeof value);
        if constexpr (IsReversed(order))
            ReverseInPlace(value);
        return status;
    } else {
        typename Form<T>::Type wire{};
        MuErrCode const status = ReadValue<order>(channel, wire);
        if (status == NoError)
            value = static_cast<T>(wire);
        return status;
    }
}

template <ByteOrder order, typename T>
MuErrCode WriteValue(Mu::OChannel & channel, T value) {
    typename Form<T>::Type wire = static_cast<typename Form<T>::Type>(value);
    if constexpr (IsReversed(order))
        ReverseInPlace(wire);
    return channel.WriteBin(reinterpret_cast<char const *>(&wire), sizeof wire, nullptr);
}

/// The length of a text, or false where 32 bits cannot hold it.
inline bool MeasureText(char const * text, unsigned int * length) {
    std::size_t const size = std::strlen(text);
    *length = static_cast<unsigned int>(size);
    return size <= 0xFFFFFFFFu;
}

/// Reads a length and that many bytes and ends them with a zero byte; trusts the writer.
inline MuErrCode ReadText(Mu::IChannel & channel, char * text, unsigned int * length) {
    MuErrCode status = channel.Read(*length);
    if (status == NoError)
        status = channel.ReadBin(text, *length, nullptr);
    if (status != NoError)
        return Mu::IChannel::ConvertObjectReadError(status);
    text[*length] = '\0';
    return NoError;
}

} // namespace IO::Wire
