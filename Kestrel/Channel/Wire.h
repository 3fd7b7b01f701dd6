#pragma once

#include <Kestrel/Channel/IChannelAdapter.h>
#include <Kestrel/Channel/OChannelAdapter.h>
#include <Kestrel/Root/Streams/PlainForm.h>

#include <cstring>
#include <type_traits>

// What the binary protocols have in common: how one value goes through a channel. In headers, with the
// adapters' ways to their buffers, for the sake of speed: a value that does not pass through the
// channel's window costs two virtual calls, which take longer than all else, and a compiler that sees
// the one likely target of each compares the slot with it and goes on in line. Any other protocol or
// channel is still called.

namespace IO::Wire {

using Mu::ByteOrder;
using Mu::IsReversed;
using Mu::Reverse;
using Mu::ReverseInPlace;
template <typename T>
using Form = Mu::PlainForm<T>;

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
