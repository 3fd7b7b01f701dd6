#pragma once

#include <Kestrel/Location/Internal/NameTable.h>
#include <Kestrel/Root/Text/Substring.h>

namespace IO {

// A stored name may begin with an attachment: "::<", the attachment, ">", and then the name.

/// The name itself. A text that only seems to have an attachment is all name.
Mu::ConstSubstring WithoutAttachment(Mu::ConstSubstring const & text);

/// The attachment, or an empty text.
Mu::ConstSubstring AttachmentOf(Mu::ConstSubstring const & text);

/// Reads a stored name unit by unit, without its attachment and without memory.
///
/// Valid until the name table changes.
class NameReader {
public:
    NameReader(NameTable const & names, unsigned int name);

    /// 0 at the end, and from there on.
    unsigned short Next();

private:
    void PassAttachment();

    NameTable const * names;
    unsigned int chunk; // NoIndex behind the last unit
    unsigned int at = 0;
};

bool HaveSameUnits(NameReader a, NameReader b, Mu::CaseComparison comparison);
/// By code units.
bool IsNameLess(NameReader a, NameReader b);

/// A stored name in one piece, attachment included, unaffected by changes of the tree.
///
/// Memory:  none for short names, else one block. Out of memory: IsValid is false.
class StoredText {
public:
    StoredText(NameTable const & names, unsigned int name);
    ~StoredText();
    StoredText(StoredText const &) = delete;
    StoredText & operator=(StoredText const &) = delete;

    bool IsValid() const { return units != nullptr; }
    Mu::ConstSubstring Get() const { return {units, length}; }

private:
    static constexpr unsigned int InlineSize = 128;

    unsigned short * units; // `inlineUnits`, or in `block`
    unsigned int length;
    char * block = nullptr;
    unsigned short inlineUnits[InlineSize];
};

} // namespace IO
