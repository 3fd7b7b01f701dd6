#pragma once

#include <Kestrel/Root/Text/CharCode.h>
#include <Kestrel/Root/Text/Substring.h>

namespace Mu::Internal {

/// The operations of a narrow code. The machine's code is one of these, and so is UTF-8.
struct CharCodeCalls {
    /// Returns the number of units that the bytes are converted to, and stores them where `units`
    /// is not null. Invalid bytes become U+FFFD. More than UniString::MaxLength: the text is too
    /// long to be converted.
    unsigned int (*decode)(char const * text, unsigned int length, unsigned short * units);
    /// Returns the number of bytes that the units are converted to, and stores them where `bytes`
    /// is not null. Characters that the code lacks are replaced, and `*replaced`, which may be
    /// null, is set then.
    unsigned long long (*encode)(ConstSubstring const & text, char * bytes, bool * replaced);
    /// The size in bytes of the character at `text`, of which `length` bytes are left; at least 1.
    unsigned int (*getCharacterSize)(char const * text, unsigned int length);
};

extern CharCodeCalls const utf8Calls;

CharCodeCalls const & GetCharCodeCalls(MuCharCode code);

/// The length of a narrow text in bytes: `length`, or up to the zero byte for -1; 0 for a null one.
/// Throws OutOfMemoryException if it exceeds the range of a count.
unsigned int GetNarrowLength(char const * text, int length = -1);

/// A narrow text as units during a comparison. Short ones need no allocation.
class DecodedText {
public:
    DecodedText(char const * text, unsigned int length, MuCharCode code);
    ~DecodedText();
    DecodedText(DecodedText const &) = delete;
    DecodedText & operator=(DecodedText const &) = delete;

    ConstSubstring Get() const { return {units, length}; }

private:
    static constexpr unsigned int InlineSize = 128;

    unsigned short * units; // `inlineUnits`, or a block of the root
    unsigned int length;
    unsigned short inlineUnits[InlineSize];
};

} // namespace Mu::Internal
