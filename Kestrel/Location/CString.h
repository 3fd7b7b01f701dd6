#pragma once

#include <Kestrel/Location/CLib.h>
#include <Kestrel/Root/Memory/Memory.h>

namespace IO {

/// A narrow text that needs no heap while it is short, for passing paths to narrow interfaces.
///
/// For general text processing, use Mu::String.
///
/// Memory:  texts shorter than `size` bytes are stored inline, longer ones in a heap block.
/// Threads: one at a time.
/// Failure: if a block cannot be allocated, the text is empty and invalid until the next successful
///          assignment.
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

    /// Copies `length` bytes, which may be part of this text. False: no memory.
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
    char * heap = nullptr; // owned; null while the text is inline
    bool valid = true;
};

} // namespace IO
