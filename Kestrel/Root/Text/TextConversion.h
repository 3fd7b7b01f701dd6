#pragma once

#include <Kestrel/Root/Text/CharCode.h>
#include <Kestrel/Root/Text/CodeUnits.h>
#include <Kestrel/Root/Text/Substring.h>

namespace Mu {

/// A text converted to a narrow code, zero-terminated, for use within one expression:
///
///     Call(name.ToCStr());
///
/// Do not keep the pointer of a temporary; to keep the text, name the object: `Mu::CStr const path
/// = name.ToCStr();`.
///
/// Memory:  none for short texts, otherwise one block.
/// Failure: Mu::OutOfMemoryException; Mu::ConversionErrorException if requested.
class KESTREL_API CStr {
public:
    CStr(ConstSubstring const & text, MuCharCode code, OnConversionError onError);
    ~CStr();
    CStr(CStr const &) = delete;
    CStr & operator=(CStr const &) = delete;

    operator char *() const { return text; }
    char * GetText() const { return text; }
    /// Bytes without the terminator.
    unsigned int GetLength() const { return length; }

private:
    static constexpr unsigned int InlineSize = 240;

    char * text; // `inlineText`, or a block of the root
    unsigned int length;
    char inlineText[InlineSize];
};

/// A text as zero-terminated UTF-16, for use within one expression. A text that extends to the end
/// of its string is not copied, so the string must not change meanwhile.
///
/// Memory:  none if nothing is copied, or the copy is short; otherwise one block.
/// Failure: Mu::OutOfMemoryException.
class KESTREL_API UStr {
public:
    /// Copies `text`.
    explicit UStr(ConstSubstring const & text);
    /// Uses `text` itself, which is followed by a zero unit.
    static UStr Borrow(ConstSubstring const & text) { return UStr(text, 0); }
    ~UStr();
    UStr(UStr const &) = delete;
    UStr & operator=(UStr const &) = delete;

    operator unsigned short const *() const { return units; }
    unsigned short const * GetUnits() const { return units; }
    char16_t const * GetChar16() const { return ToChar16(units); }
    unsigned int GetLength() const { return length; }

private:
    static constexpr unsigned int InlineSize = 120;

    UStr(ConstSubstring const & text, int) : units(text.GetUnits()), length(text.GetLength()) {}

    unsigned short const * units; // `inlineUnits`, the string's own, or `block`
    unsigned short * block = nullptr;
    unsigned int length;
    unsigned short inlineUnits[InlineSize];
};

} // namespace Mu
