#include <Kestrel/Root/Text/TextConversion.h>

#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Internal/CharCodeConversion.h>
#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Root/Text/UniString.h>

#include <algorithm>

namespace Mu {

namespace {

// No code needs more than three bytes for one unit.
constexpr unsigned int MostBytesOfAUnit = 3;

} // namespace

CStr::CStr(ConstSubstring const & source, MuCharCode code, OnConversionError onError)
    : text(inlineText) {
    if (source.GetLength() > UniString::MaxLength)
        ThrowOutOfMemory();
    Internal::CharCodeCalls const & calls = Internal::GetCharCodeCalls(code);
    unsigned long long size = source.GetLength() * 1ull * MostBytesOfAUnit;
    if (size >= InlineSize || onError == ThrowOnConversionError) {
        bool replaced = false;
        size = calls.encode(source, nullptr, &replaced);
        if (replaced && onError == ThrowOnConversionError)
            throw ConversionErrorException("A text cannot be expressed in a narrow code.", __FILE__,
                                           __LINE__, NoCauseException);
    }
    if (size >= InlineSize)
        text = static_cast<char *>(NewOrThrow(size + 1));
    length = static_cast<unsigned int>(calls.encode(source, text, nullptr));
    text[length] = 0;
}

CStr::~CStr() {
    if (text != inlineText)
        DeleteOperator(text);
}

UStr::UStr(ConstSubstring const & text) : units(inlineUnits), length(text.GetLength()) {
    unsigned short * target = inlineUnits;
    if (length >= InlineSize) {
        block = static_cast<unsigned short *>(
            NewOrThrow((std::size_t(length) + 1) * sizeof(unsigned short)));
        units = target = block;
    }
    std::copy(text.begin(), text.end(), target);
    target[length] = 0;
}

UStr::~UStr() {
    DeleteOperator(block);
}

CStr UniString::ToCStr(unsigned int from, unsigned int range, MuCharCode code,
                       OnConversionError onError) const {
    return CStr(GetSubstring(from, range), code, onError);
}

// A zero unit follows the text, so that a part up to its end needs no copy.
UStr UniString::ToUStr(unsigned int from, unsigned int range) const {
    ConstSubstring const part = GetSubstring(from, range);
    return part.end() == units + length ? UStr::Borrow(part) : UStr(part);
}

} // namespace Mu
