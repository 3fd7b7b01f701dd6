#pragma once

#include <Kestrel/Root/Streams/CopyBytes.h>
#include <Kestrel/Root/Streams/PlainForm.h>

#include <cstddef>
#include <cstring>

namespace Mu {

/// The part of a channel's buffer that is used in line, without a call: for a byte a comparison and
/// a store.
///
/// A buffered channel opens it at the end of each of its operations, over the bytes that lie ready or
/// the room that is left, and takes note at the start of the next one how far it was used. It stays
/// closed while anything but the bytes counts, such as a status that sticks; what does not fit goes
/// the channel's own way. The channel's own operations on bytes use it always. Numbers pass it by
/// the protocol and by ReadBin or WriteBin, so only in the plain form, and where the channel said that
/// nobody has put another operation in the place of those.
///
/// Memory:  none; the bytes are the channel's.
/// Threads: the channel's.
template <typename Byte>
class ChannelWindow {
public:
    /// From `begin` to `limit`; null pointers leave it closed.
    void Open(Byte * begin, Byte * limit, bool numbersToo, bool isPlain) {
        next = begin;
        end = limit;
        takesNumbers = numbersToo;
        SetPlain(isPlain);
    }
    void Close() { next = end = numbersEnd = nullptr; }
    /// Where the next byte lies now may not be known from here any more, as where a ring goes round.
    void CloseIfUsedUp() {
        if (next == end)
            Close();
    }
    /// Whether numbers are in the plain form from now on.
    void SetPlain(bool isPlain) { numbersEnd = takesNumbers && isPlain ? end : next; }

    bool IsOpen() const { return next != nullptr; }
    /// The place of the next byte; null while closed.
    Byte * GetPlace() const { return next; }

protected:
    /// No bytes at all never fit: they are a question for the channel's status.
    bool Fits(unsigned int count) const {
        return static_cast<std::size_t>(count) - 1 < static_cast<std::size_t>(end - next);
    }
    template <typename T>
    bool FitsNumber() const {
        if constexpr (sizeof(T) == 1)
            return next < numbersEnd;
        else
            return numbersEnd - next >= static_cast<std::ptrdiff_t>(sizeof(T));
    }
    Byte * Pass(std::size_t count) {
        Byte * const passed = next;
        next += count;
        return passed;
    }

private:
    Byte * next = nullptr;
    Byte * end = nullptr;
    Byte * numbersEnd = nullptr; // `end`, or not behind `next` where no numbers may pass
    bool takesNumbers = false;
};

/// The bytes that lie ready. All operations are false, and nothing has happened, for what does not fit.
class InputWindow : public ChannelWindow<char const> {
public:
    /// For the place of the call: no more than FewBytes.
    bool TakeFew(char * destination, unsigned int count) {
        bool const fits = count <= FewBytes && Fits(count);
        if (fits)
            CopyFewBytes(destination, Pass(count), count);
        return fits;
    }
    bool Take(char * destination, unsigned int count) {
        bool const fits = Fits(count);
        if (fits)
            CopyBytes(destination, Pass(count), count);
        return fits;
    }
    bool Copy(char * destination, unsigned int count) const {
        bool const fits = Fits(count);
        if (fits)
            CopyBytes(destination, GetPlace(), count);
        return fits;
    }
    bool Look(unsigned int offset, char * c) const {
        bool const fits = Fits(offset + 1); // not for the last offset, whose sum is no count
        if (fits)
            *c = GetPlace()[offset];
        return fits;
    }
    bool Skip(unsigned long long count) {
        bool const fits = count <= 0xFFFFFFFFu && Fits(static_cast<unsigned int>(count));
        if (fits)
            Pass(count);
        return fits;
    }
    template <typename T>
    bool GetNumber(T & value) {
        using Wire = typename PlainForm<T>::Type;
        if (!FitsNumber<Wire>())
            return false;
        Wire wire;
        std::memcpy(&wire, Pass(sizeof wire), sizeof wire);
        if constexpr (IsReversed(ByteOrder::LowFirst))
            ReverseInPlace(wire);
        value = static_cast<T>(wire);
        return true;
    }
};

/// The room that is left. All operations are false, and nothing has happened, for what does not fit.
class OutputWindow : public ChannelWindow<char> {
public:
    /// For the place of the call: no more than FewBytes.
    bool PutFew(char const * source, unsigned int count) {
        bool const fits = count <= FewBytes && Fits(count);
        if (fits)
            CopyFewBytes(Pass(count), source, count);
        return fits;
    }
    bool Put(char const * source, unsigned int count) {
        bool const fits = Fits(count);
        if (fits)
            CopyBytes(Pass(count), source, count);
        return fits;
    }
    template <typename T>
    bool PutNumber(T value) {
        using Wire = typename PlainForm<T>::Type;
        if (!FitsNumber<Wire>())
            return false;
        Wire wire = static_cast<Wire>(value);
        if constexpr (IsReversed(ByteOrder::LowFirst))
            ReverseInPlace(wire);
        std::memcpy(Pass(sizeof wire), &wire, sizeof wire);
        return true;
    }
};

} // namespace Mu
