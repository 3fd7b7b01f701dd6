#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Text/CharCode.h>
#include <Kestrel/Root/Text/CodeUnits.h>
#include <Kestrel/Root/Text/UniChar.h>

#include <compare>
#include <string_view>

namespace Mu {

class UniString;

/// A view of UTF-16 units that it does not own, usually part of a UniString.
///
/// Valid until the underlying text is changed or destroyed; not zero-terminated.
/// Memory:  none.
class KESTREL_API ConstSubstring {
public:
    ConstSubstring() = default;
    ConstSubstring(unsigned short const * givenUnits, unsigned int givenLength)
        : units(givenUnits), length(givenLength) {}
    inline ConstSubstring(UniString const & text);
    ConstSubstring(std::u16string_view text)
        : units(ToUnits(text.data())), length(static_cast<unsigned int>(text.size())) {}

    unsigned int GetLength() const { return length; }
    bool IsEmpty() const { return length == 0; }
    unsigned short const * GetUnits() const { return units; }
    /// Unchecked.
    unsigned short operator[](unsigned int index) const { return units[index]; }
    unsigned short const * begin() const { return units; }
    unsigned short const * end() const { return units + length; }

    /// The part of `range` units from `from`, limited to the existing units.
    ConstSubstring GetSubstring(unsigned int from, unsigned int range = 0xFFFFFFFFu) const;

    operator std::u16string_view() const { return {ToChar16(units), length}; }

protected:
    unsigned short const * units = nullptr;
    unsigned int length = 0;
};

/// A writeable part of a UniString: an assignment replaces the part in the string, whose length
/// changes accordingly.
///
/// Valid until the string is changed in other ways.
class KESTREL_API Substring : public ConstSubstring {
public:
    Substring(UniString & text, unsigned int from, unsigned int range);
    Substring(Substring const &) = default;

    /// The replacement may be part of the same string. A shortage throws, and nothing is changed
    /// then.
    Substring & operator=(ConstSubstring const & replacement);
    Substring & operator=(Substring const & replacement);
    Substring & operator=(char const * replacement);
    Substring & operator=(char16_t const * replacement);
    Substring & operator=(UniChar replacement);

    void SetToLowerCase();
    void SetToUpperCase();

private:
    void Refresh(unsigned int lengthBefore);

    UniString * text;
    unsigned int from;
};

KESTREL_API bool operator==(ConstSubstring const & a, ConstSubstring const & b);
KESTREL_API bool operator==(ConstSubstring const & a, std::u16string_view b);
KESTREL_API bool operator==(ConstSubstring const & a, char16_t const * b);
/// Compares code unit by code unit; case-sensitive.
KESTREL_API std::strong_ordering operator<=>(ConstSubstring const & a, ConstSubstring const & b);
/// The narrow text is in the machine's code; a null one equals nothing.
KESTREL_API bool operator==(ConstSubstring const & a, char const * b);

} // namespace Mu
