#pragma once

#include <Kestrel/Root/Streams/CopyBytes.h>
#include <Kestrel/Root/Streams/PlainForm.h>

#include <cstddef>
#include <cstring>

namespace Mu {

/// The part of a channel's buffer that is accessed in line, without a call: a byte costs a
/// comparison and a store.
///
/// A buffered channel opens it at the end of each of its operations, over the available bytes or
/// the free space, and at the start of the next one determines how far it was used. It is closed
/// while anything except the bytes matters, such as a sticky status; what does not fit is passed to
/// the channel. The channel's own operations on bytes always use it. Numbers bypass the protocol
/// and ReadBin or WriteBin, so they are used only in the plain form, and if the channel has
/// confirmed that no derived class overrides those.
///
/// Memory:  none; the bytes are the channel's.
/// Threads: as for the channel.
///
/// Memory:  none; the bytes are the channel's.
/// Threads: the channel's.
template <typename Byte>
class ChannelWindow {
public:
    /// From `begin` to `limit`; null pointers close it.
    void Open(Byte * begin, Byte * limit, bool numbersToo, bool isPlain) {
        next = begin;
        end = limit;
        takesNumbers = numbersToo;
        SetPlain(isPlain);
    }
    void Close() { next = end = numbersEnd = nullptr; }
    /// The position of the next byte may have become unknown, for example where a ring wraps
    /// around.
    void CloseIfUsedUp() {
        if (next == end)
            Close();
    }
    /// Whether numbers are in the plain form from now on.
    void SetPlain(bool isPlain) { numbersEnd = takesNumbers && isPlain ? end : next; }

    bool IsOpen() const { return next != nullptr; }
    /// The position of the next byte; null while closed.
    Byte * GetPlace() const { return next; }

protected:
    /// Zero bytes never fit, as the channel must return its status.
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
    Byte * numbersEnd = nullptr; // `end`, or not behind `next` if numbers must not be used
    bool takesNumbers = false;
};

/// The available bytes. All operations return false and have no effect if something does not fit.
class InputWindow : public ChannelWindow<char const> {
public:
    /// Expanded at the call; at most FewBytes.
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
        bool const fits = Fits(offset + 1); // not the last offset, as the sum would overflow
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

/// The free space. All operations return false and have no effect if something does not fit.
class OutputWindow : public ChannelWindow<char> {
public:
    /// Expanded at the call; at most FewBytes.
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
