#include <Kestrel/Root/Text/Substring.h>

#include <Kestrel/Root/Internal/CharCodeConversion.h>
#include <Kestrel/Root/Text/UniString.h>

#include <algorithm>

namespace Mu {

using Internal::DecodedText;
using Internal::GetNarrowLength;

ConstSubstring ConstSubstring::GetSubstring(unsigned int from, unsigned int range) const {
    from = std::min(from, length);
    return ConstSubstring(units + from, std::min(range, length - from));
}

Substring::Substring(UniString & text, unsigned int from, unsigned int range)
    : ConstSubstring(std::as_const(text).GetSubstring(from, range)), text(&text),
      from(std::min(from, text.GetLength())) {}

// Reads the string again, since its block may have moved and its length determines that of the
// part.
void Substring::Refresh(unsigned int lengthBefore) {
    length += text->GetLength() - lengthBefore;
    units = text->GetUnits() + from;
}

Substring & Substring::operator=(ConstSubstring const & replacement) {
    unsigned int const lengthBefore = text->GetLength();
    text->SetSubstring(from, length, replacement);
    Refresh(lengthBefore);
    return *this;
}

Substring & Substring::operator=(Substring const & replacement) {
    return *this = static_cast<ConstSubstring const &>(replacement);
}

Substring & Substring::operator=(char const * replacement) {
    DecodedText const decoded(replacement, GetNarrowLength(replacement), MuMachineCharCode);
    return *this = decoded.Get();
}

Substring & Substring::operator=(char16_t const * replacement) {
    unsigned short const * const units = ToUnits(replacement);
    return *this = ConstSubstring(units, CountUnits(units));
}

Substring & Substring::operator=(UniChar replacement) {
    unsigned short const unit = replacement.GetUnit();
    return *this = ConstSubstring(&unit, 1);
}

void Substring::SetToLowerCase() {
    text->SetToLowerCase(from, length);
}

void Substring::SetToUpperCase() {
    text->SetToUpperCase(from, length);
}

bool operator==(ConstSubstring const & a, ConstSubstring const & b) {
    return a.GetLength() == b.GetLength() && std::equal(a.begin(), a.end(), b.begin());
}

bool operator==(ConstSubstring const & a, std::u16string_view b) {
    return a == ConstSubstring(b);
}

bool operator==(ConstSubstring const & a, char16_t const * b) {
    return b != nullptr && a == ConstSubstring(std::u16string_view(b));
}

std::strong_ordering operator<=>(ConstSubstring const & a, ConstSubstring const & b) {
    return std::lexicographical_compare_three_way(a.begin(), a.end(), b.begin(), b.end());
}

// ASCII is the same in all machine codes, so that most texts are compared in place.
bool operator==(ConstSubstring const & a, char const * b) {
    if (b == nullptr)
        return false;
    unsigned int i = 0;
    while (i < a.GetLength() && b[i] != 0 && a[i] < 0x80 && a[i] == b[i])
        ++i;
    if (static_cast<unsigned char>(b[i]) < 0x80)
        return i == a.GetLength() && b[i] == 0;
    DecodedText const rest(b + i, GetNarrowLength(b + i), MuMachineCharCode);
    return a.GetSubstring(i) == rest.Get();
}

} // namespace Mu
