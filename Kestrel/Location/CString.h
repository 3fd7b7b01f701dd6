#pragma once

#include <Kestrel/Location/CLib.h>
#include <Kestrel/Root/Memory/Memory.h>

namespace IO {

/// A narrow text that needs no heap while it is short: for paths on their way to a narrow interface.
///
/// Where a text of any kind is worked on, use Mu::String.
///
/// Memory:  texts below `size` bytes lie inside the object, longer ones in a block of their own.
/// Threads: one at a time.
/// Failure: a block that cannot be had leaves the text empty and invalid until the next assignment
///          that succeeds.
template <unsigned int size>
class CString {
public:
    CString() = default;
    explicit CString(char const * text) { Assign(text, CLib::StrLen(text)); }
    ~CString() { BMKillPtr(&heap); }

    CString(CString const &) = delete;
    CString & operator=(CString const &) = delete;

    CString & operator=(char const * text) {
        Assign(text, CLib::StrLen(text));
        return *this;
    }

    /// Takes `length` bytes, which may lie in this text itself. False: no memory.
    bool Assign(char const * text, unsigned int length) {
        if (heap != nullptr && length <= CLib::StrLen(heap))
            return Store(heap, text, length);
        char * old = heap;
        heap = length < size ? nullptr : BMAllocatePtr(std::size_t{length} + 1, 0, 0);
        bool const stored = length < size || heap != nullptr;
        if (stored)
            Store(heap != nullptr ? heap : inside, text, length);
        else
            inside[0] = 0;
        valid = stored;
        BMKillPtr(&old);
        return stored;
    }

    bool IsValid() const { return valid; }
    char const * ToCStr() const { return heap != nullptr ? heap : inside; }
    unsigned int GetLength() const { return CLib::StrLen(ToCStr()); }

private:
    bool Store(char * to, char const * text, unsigned int length) {
        BNMoveMemory(text, to, length);
        to[length] = 0;
        return valid = true;
    }

    char inside[size] = {};
    char * heap = nullptr; // owned; null while the text lies inside
    bool valid = true;
};

} // namespace IO
