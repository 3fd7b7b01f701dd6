#include <Kestrel/Root/Text/UniString.h>

#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Internal/CharCodeConversion.h>
#include <Kestrel/Root/Memory/Memory.h>

#include <algorithm>
#include <cstring>

namespace Mu {

// Hosts built without optimisation take the addresses.
constexpr unsigned int UniString::MaxLength;
constexpr unsigned int UniString::All;

using Internal::CharCodeCalls;
using Internal::GetCharCodeCalls;
using Internal::GetNarrowLength;

unsigned short const UniString::noUnits[1] = {0};

// Construction and assignment.

UniString::UniString(char const * text, MuCharCode code) : UniString() {
    Append(text, code);
}

UniString::UniString(char const * text, unsigned int length, MuCharCode code) : UniString() {
    Append(text, length, code);
}

UniString::UniString(unsigned short const * text)
    : UniString(ConstSubstring(text, CountUnits(text))) {}

UniString::UniString(UniString const & other, unsigned int from, unsigned int range)
    : UniString(other(from, range)) {}

UniString::UniString(ConstSubstring const & text) : units(NoUnits()) {
    *this = text;
}

UniString::UniString(Concatenation const & text) : UniString(text.text) {}

UniString::UniString(Concatenation && text) noexcept : UniString(std::move(text.text)) {}

UniString::~UniString() {
    if (capacity != 0)
        DeleteOperator(units);
}

UniString & UniString::operator=(UniString const & other) {
    return *this = ConstSubstring(other);
}

UniString & UniString::operator=(UniString && other) noexcept {
    Swap(other);
    return *this;
}

UniString & UniString::operator=(char const * text) {
    Assign(text, GetNarrowLength(text));
    return *this;
}

UniString & UniString::operator=(unsigned short const * text) {
    return *this = ConstSubstring(text, CountUnits(text));
}

// A part of the text itself is only moved to the front. Other text gets a block of its exact size
// if the present one is too small: most texts are never appended to.
UniString & UniString::operator=(ConstSubstring const & text) {
    if (text.GetLength() > capacity) {
        if (text.GetLength() > MaxLength)
            ThrowOutOfMemory();
        std::size_t const size = (std::size_t(text.GetLength()) + 1) * sizeof(unsigned short);
        unsigned short * const block = static_cast<unsigned short *>(NewOrThrow(size));
        std::copy(text.begin(), text.end(), block);
        if (capacity != 0)
            DeleteOperator(units);
        units = block;
        capacity = text.GetLength();
        Terminate(capacity);
    } else if (capacity != 0) {
        std::copy(text.begin(), text.end(), units); // to the front, so an overlap does no harm
        Terminate(text.GetLength());
    }
    return *this;
}

void UniString::Assign(char const * text, unsigned int size, MuCharCode code) {
    CharCodeCalls const & calls = GetCharCodeCalls(code);
    if (text == nullptr)
        size = 0;
    // No code yields more units than it has bytes, so that a text that fits needs no counting.
    if (size > capacity) {
        unsigned int const count = calls.decode(text, size, nullptr);
        if (count > capacity) {
            UniString fresh;
            fresh.Reallocate(count);
            Swap(fresh);
        }
    }
    Terminate(size == 0 ? 0 : calls.decode(text, size, units));
}

void UniString::Assign(UniString const & text, unsigned int from, unsigned int range) {
    *this = text(from, range);
}

void UniString::Swap(UniString & other) noexcept {
    std::swap(units, other.units);
    std::swap(length, other.length);
    std::swap(capacity, other.capacity);
}

// The block.

bool UniString::Owns(ConstSubstring const & text) const {
    std::less_equal<unsigned short const *> const isUpTo;
    return capacity != 0 && isUpTo(units, text.begin()) && isUpTo(text.begin(), units + length);
}

void UniString::Terminate(unsigned int newLength) noexcept {
    length = newLength;
    if (capacity != 0)
        units[length] = 0;
}

void UniString::Reallocate(unsigned int newCapacity) {
    if (newCapacity > MaxLength)
        ThrowOutOfMemory();
    std::size_t const size = (std::size_t(newCapacity) + 1) * sizeof(unsigned short);
    void * const block = ReallocateOperator(capacity == 0 ? nullptr : units, size);
    if (block == nullptr)
        ThrowOutOfMemory();
    units = static_cast<unsigned short *>(block);
    capacity = newCapacity;
    units[length] = 0;
}

// A first block is exact, since most texts are never appended to; later ones grow by half.
void UniString::Grow(unsigned int needed) {
    if (needed > capacity)
        Reallocate(std::max(needed, std::min(capacity + capacity / 2, MaxLength)));
}

// Replaces a range of the text by a gap of `newRange` units.
unsigned short * UniString::MakeRoom(unsigned int from, unsigned int range, unsigned int newRange) {
    unsigned long long const newLength = 0ull + length - range + newRange;
    if (newLength > MaxLength)
        ThrowOutOfMemory();
    unsigned int const needed = static_cast<unsigned int>(newLength);
    Grow(needed);
    unsigned int const tail = length - from - range;
    if (range != newRange)
        std::memmove(units + from + newRange, units + from + range, tail * sizeof(unsigned short));
    Terminate(needed);
    return units + from;
}

void UniString::Replace(unsigned int from, unsigned int range, ConstSubstring const & text) {
    if (Owns(text)) {
        UniString const copy(text);
        std::copy(copy.begin(), copy.end(), MakeRoom(from, range, copy.length));
    } else {
        unsigned short * const gap = MakeRoom(from, range, text.GetLength());
        std::copy(text.begin(), text.end(), gap);
    }
}

// Growing and shortening.

void UniString::Append(UniChar unit) {
    if (length == capacity)
        Grow(std::max(length + 1, FirstCapacity));
    units[length] = unit.GetUnit();
    units[++length] = 0;
}

void UniString::Append(unsigned short const * text) {
    Append(ConstSubstring(text, CountUnits(text)));
}

void UniString::Append(char const * text, MuCharCode code) {
    Append(text, GetNarrowLength(text), code);
}

void UniString::Append(char const * text, unsigned int size, MuCharCode code) {
    if (text == nullptr || size == 0)
        return;
    CharCodeCalls const & calls = GetCharCodeCalls(code);
    unsigned int const count = calls.decode(text, size, nullptr);
    calls.decode(text, size, MakeRoom(length, 0, count));
}

void UniString::Append(UniString const & text, unsigned int from, unsigned int range) {
    Append(text(from, range));
}

void UniString::Append(ConstSubstring const & text) {
    Replace(length, 0, text);
}

void UniString::Pad(unsigned int newLength, UniChar unit) {
    if (newLength > length) {
        unsigned int const missing = newLength - length;
        std::fill_n(MakeRoom(length, 0, missing), missing, unit.GetUnit());
    }
}

void UniString::SetLength(unsigned int newLength) {
    Truncate(newLength);
    Pad(newLength, u'\0');
}

void UniString::Truncate(unsigned int newLength) {
    Terminate(std::min(length, newLength));
}

void UniString::Clear() noexcept {
    UniString empty;
    Swap(empty);
}

void UniString::ClearContent() noexcept {
    Terminate(0);
}

void UniString::SetCapacity(unsigned int newCapacity) {
    newCapacity = std::max(newCapacity, length);
    if (newCapacity == 0)
        Clear();
    else if (newCapacity != capacity)
        Reallocate(newCapacity);
}

// Editing.

void UniString::SetSubstring(unsigned int from, unsigned int range, UniChar replacement) {
    unsigned short const unit = replacement.GetUnit();
    SetSubstring(from, range, ConstSubstring(&unit, 1));
}

void UniString::SetSubstring(unsigned int from, unsigned int range, UniString const & text,
                             unsigned int textFrom, unsigned int textRange) {
    SetSubstring(from, range, text(textFrom, textRange));
}

void UniString::SetSubstring(unsigned int from, unsigned int range, ConstSubstring const & text) {
    from = std::min(from, length);
    Replace(from, std::min(range, length - from), text);
}

std::span<unsigned short> UniString::GetRange(unsigned int from, unsigned int range) {
    from = std::min(from, length);
    return {units + from, std::min(range, length - from)};
}

void UniString::ReplaceAll(UniChar unit, UniChar replacement, unsigned int from,
                           unsigned int range) {
    for (unsigned short & each : GetRange(from, range))
        if (each == unit.GetUnit())
            each = replacement.GetUnit();
}

void UniString::SetToLowerCase(unsigned int from, unsigned int range) {
    for (unsigned short & each : GetRange(from, range))
        each = ToLowerUnit(each);
}

void UniString::SetToUpperCase(unsigned int from, unsigned int range) {
    for (unsigned short & each : GetRange(from, range))
        each = ToUpperUnit(each);
}

} // namespace Mu
