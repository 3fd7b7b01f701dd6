#pragma once

#include <Kestrel/Channel/IChannelAdapter.h>
#include <Kestrel/Channel/OChannelAdapter.h>
#include <Kestrel/Root/Streams/PlainForm.h>

#include <cstring>
#include <type_traits>

// The common part of the binary protocols: how one value is read from or written to a channel. It
// is in headers, with the adapters' access to their buffers, for speed: a value that bypasses the
// channel's window costs two virtual calls, which take longer than everything else. As each has one
// likely target, the compiler compares the slot with it and continues in line. Any other protocol
// or channel is still called.

namespace IO::Wire {

using Mu::ByteOrder;
using Mu::IsReversed;
using Mu::Reverse;
using Mu::ReverseInPlace;
template <typename T>
using Form = Mu::PlainForm<T>;

/// Reads `count` bytes that belong together: the end of the input inside them is a broken object,
/// in front of them a clean end.
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

/// The length of a text, or false if it does not fit into 32 bits.
inline bool MeasureText(char const * text, unsigned int * length) {
    std::size_t const size = std::strlen(text);
    *length = static_cast<unsigned int>(size);
    return size <= 0xFFFFFFFFu;
}

/// Reads a length and that number of bytes and terminates them with a zero; trusts the writer.
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
