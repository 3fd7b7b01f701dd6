#include <Kestrel/Root/Internal/CharCodeConversion.h>

#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Internal/Utf8.h>
#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Root/Platform/MachineCharCode.h>
#include <Kestrel/Root/Text/UniString.h>

#include <algorithm>
#include <cstring>

namespace Mu::Internal {

namespace {

unsigned int CountAscii(char const * text, unsigned int length) {
    unsigned int count = 0;
    for (unsigned long long eight; length - count >= 8; count += 8) {
        std::memcpy(&eight, text + count, 8);
        if ((eight & 0x8080808080808080ull) != 0)
            break;
    }
    while (count < length && static_cast<unsigned char>(text[count]) < 0x80)
        ++count;
    return count;
}

unsigned int StoreUnits(unsigned int codePoint, unsigned short * units) {
    if (codePoint < 0x10000) {
        if (units != nullptr)
            units[0] = static_cast<unsigned short>(codePoint);
        return 1;
    }
    if (units != nullptr) {
        units[0] = static_cast<unsigned short>(0xD7C0 + (codePoint >> 10));
        units[1] = static_cast<unsigned short>(0xDC00 | (codePoint & 0x3FF));
    }
    return 2;
}

unsigned int DecodeUtf8(char const * text, unsigned int length, unsigned short * units) {
    char const * const end = text + length;
    unsigned int count = 0;
    while (text != end) {
        unsigned int const ascii = CountAscii(text, static_cast<unsigned int>(end - text));
        if (units != nullptr)
            std::copy_n(text, ascii, units + count);
        text += ascii;
        count += ascii;
        if (text == end)
            break;
        Utf8Character const next = DecodeUtf8Character(text, end);
        count += StoreUnits(next.codePoint, units == nullptr ? nullptr : units + count);
        text += next.size;
    }
    return count;
}

// Returns the character at `at` and advances `at` past it. A lone surrogate is no character.
unsigned int TakeCodePoint(unsigned short const *& at, unsigned short const * end,
                           bool * replaced) {
    unsigned int const unit = *at++;
    if (IsHighSurrogate(unit) && at != end && IsLowSurrogate(*at))
        return 0x10000 + ((unit & 0x3FF) << 10 | (*at++ & 0x3FFu));
    if (!IsHighSurrogate(unit) && !IsLowSurrogate(unit))
        return unit;
    if (replaced != nullptr)
        *replaced = true;
    return ReplacementCharacter;
}

unsigned long long EncodeUtf8(ConstSubstring const & text, char * bytes, bool * replaced) {
    unsigned long long count = 0;
    for (unsigned short const *at = text.begin(), *end = text.end(); at != end;) {
        if (*at < 0x80) {
            if (bytes != nullptr)
                bytes[count] = static_cast<char>(*at);
            ++at;
            ++count;
            continue;
        }
        char character[4];
        unsigned int const size = EncodeUtf8Character(TakeCodePoint(at, end, replaced), character);
        if (bytes != nullptr)
            std::memcpy(bytes + count, character, size);
        count += size;
    }
    return count;
}

unsigned int GetUtf8Size(char const * text, unsigned int length) {
    return DecodeUtf8Character(text, text + length).size;
}

} // namespace

CharCodeCalls const utf8Calls = {DecodeUtf8, EncodeUtf8, GetUtf8Size};

CharCodeCalls const & GetCharCodeCalls(MuCharCode code) {
    return code == MuLogCharCode ? utf8Calls : Platform::GetMachineCharCodeCalls();
}

unsigned int GetNarrowLength(char const * text, int length) {
    if (text == nullptr)
        return 0;
    if (length >= 0)
        return static_cast<unsigned int>(length);
    std::size_t const counted = std::strlen(text);
    if (counted > 0xFFFFFFFFu)
        ThrowOutOfMemory();
    return static_cast<unsigned int>(counted);
}

DecodedText::DecodedText(char const * text, unsigned int size, MuCharCode code)
    : units(inlineUnits), length(0) {
    CharCodeCalls const & calls = GetCharCodeCalls(code);
    // No code yields more units than it has bytes, so that a short text needs no counting.
    if (size > InlineSize) {
        unsigned int const count = calls.decode(text, size, nullptr);
        if (count > UniString::MaxLength)
            ThrowOutOfMemory();
        units = static_cast<unsigned short *>(NewOrThrow(count * sizeof(unsigned short)));
    }
    length = calls.decode(text, size, units);
}

DecodedText::~DecodedText() {
    if (units != inlineUnits)
        DeleteOperator(units);
}

} // namespace Mu::Internal
