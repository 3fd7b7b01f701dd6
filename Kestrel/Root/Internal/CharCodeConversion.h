#pragma once

#include <Kestrel/Root/Text/CharCode.h>
#include <Kestrel/Root/Text/Substring.h>

namespace Mu::Internal {

/// What a narrow code can do. The code of the machine is one of these, and UTF-8 is.
struct CharCodeCalls {
    /// Returns how many units the bytes become, and stores them where `units` is not null. Invalid
    /// bytes become U+FFFD. More than UniString::MaxLength: the text is too long to be converted.
    unsigned int (*decode)(char const * text, unsigned int length, unsigned short * units);
    /// Returns how many bytes the units become, and stores them where `bytes` is not null. What the
    /// code cannot express is replaced, and `*replaced`, which may be null, set then.
    unsigned long long (*encode)(ConstSubstring const & text, char * bytes, bool * replaced);
    /// Bytes of the character at `text`, of which `length` bytes are left; at least 1.
    unsigned int (*getCharacterSize)(char const * text, unsigned int length);
};

extern CharCodeCalls const utf8Calls;

CharCodeCalls const & GetCharCodeCalls(MuCharCode code);

/// Bytes of a narrow text: `length`, or up to the zero byte for -1; 0 for a null one. Throws
/// OutOfMemoryException for a text whose length no count can hold.
unsigned int GetNarrowLength(char const * text, int length = -1);

/// A narrow text as units, for the time of a comparison. Short ones take no memory.
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
