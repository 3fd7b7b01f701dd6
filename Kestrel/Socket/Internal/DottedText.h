#pragma once

#include <Kestrel/Root/Text/String.h>

#include <string_view>

// IPv4 addresses and their texts. The same on every platform, so that all hosts read them alike.

namespace IO::Socket {

/// What InetAddr returns for a text that is no address; also the value of 255.255.255.255.
inline constexpr unsigned int NoInetAddr = 0xFFFFFFFFu;

/// The address in the zero-terminated text, as a number: 10.0.0.1 is 0x0A000001.
///
/// One to four numbers separated by points, each decimal, octal after a leading "0" or hexadecimal
/// after "0x" or "0X". All but the last are one byte; the last one fills the remaining bytes, so
/// "10.1" is 10.0.0.1 and "0x7f000001" is 127.0.0.1. The text ends at the zero or at the first
/// white space; anything after white space is ignored. Signs, leading white space, an empty part
/// and a number that does not fit are rejected.
unsigned int InetAddr(char const * text);

/// Whether the text contains a zero unit, at which a call that takes a zero-terminated text would
/// stop.
inline bool HasZero(Mu::String const & text) {
    return std::string_view(text).find('\0') != std::string_view::npos;
}

/// The dotted form, without leading zeros.
Mu::String InetNtoa(unsigned char const * address);

/// The four bytes, most significant first, as a number and back.
constexpr unsigned int ToNumber(unsigned char const * address) {
    return static_cast<unsigned int>(address[0]) << 24 |
           static_cast<unsigned int>(address[1]) << 16 |
           static_cast<unsigned int>(address[2]) << 8 | address[3];
}
constexpr void ToBytes(unsigned int number, unsigned char (&address)[4]) {
    for (int i = 0; i < 4; ++i)
        address[i] = static_cast<unsigned char>(number >> (24 - 8 * i));
}

} // namespace IO::Socket
