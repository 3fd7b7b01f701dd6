#pragma once

#include <Kestrel/Channel/Streams.h>
#include <Kestrel/Comfort/Result.h>
#include <Kestrel/Root/Streams/IChannel.h>
#include <Kestrel/Root/Streams/OChannel.h>
#include <Kestrel/Root/Text/UniString.h>

#include <charconv>
#include <concepts>
#include <istream>
#include <string>
#include <string_view>

// UTF-8 text to and from any channel. Types for which OChannel has operators use those.

namespace Mu {

/// The bytes unchanged. A failure remains in the channel's status.
inline OChannel & operator<<(OChannel & channel, std::string_view text) {
    while (!text.empty()) {
        std::string_view const part = text.substr(0, 0x40000000);
        if (channel.WriteBin(part.data(), static_cast<unsigned int>(part.size()), nullptr) !=
            NoError)
            break;
        text.remove_prefix(part.size());
    }
    return channel;
}

inline OChannel & operator<<(OChannel & channel, std::string const & text) {
    return channel << std::string_view(text);
}

inline OChannel & operator<<(OChannel & channel, UniString const & text) {
    text.Print(channel);
    return channel;
}

/// A number for which OChannel has no operator, in decimal; false and true are 0 and 1.
template <std::integral Number>
requires(!std::same_as<Number, char> && !std::same_as<Number, unsigned int>) OChannel &
operator<<(OChannel & channel, Number number) {
    char text[24];
    std::to_chars_result const end = std::to_chars(text, text + sizeof text, +number);
    return channel << std::string_view(text, static_cast<std::size_t>(end.ptr - text));
}

} // namespace Mu

namespace IO {

/// The next value in the channel, as a stream of the standard library reads it: a number, or a
/// std::string up to the next white space; leading white space is skipped. Error: there is
/// something else; if reading failed, the channel's status.
template <typename T>
Result<T> Extract(Mu::IChannel & channel) {
    IChannelStreamBuffer buffer(channel);
    std::istream stream(&buffer);
    T value{};
    if (stream >> value)
        return value;
    MuErrCode const status = channel.GetInputStatus();
    return Result<T>::Failure(status != NoError ? status : Error);
}

/// The bytes up to the next line break, which is read, too, and left out. EOI: there are none.
inline Result<std::string> ReadLine(Mu::IChannel & channel) {
    IChannelStreamBuffer buffer(channel);
    std::istream stream(&buffer);
    std::string line;
    if (std::getline(stream, line))
        return line;
    MuErrCode const status = channel.GetInputStatus();
    return Result<std::string>::Failure(status != NoError ? status : Error);
}

} // namespace IO

namespace Mu {

/// As IO::Extract; a value that cannot be read is zero or empty.
template <typename T>
requires std::is_arithmetic_v<T> || std::same_as<T, std::string> IChannel &
operator>>(IChannel & channel, T & value) {
    value = IO::Extract<T>(channel).GetValueOr(T{});
    return channel;
}

} // namespace Mu
