#include <Kestrel/Root/Internal/CharCodeConversion.h>
#include <Kestrel/Root/Text/UniString.h>

#include <algorithm>

namespace Mu {

using Internal::DecodedText;
using Internal::GetNarrowLength;

namespace {

// The index in `whole` of a position in one of its parts; the end of the part means nothing was
// found.
unsigned int ToIndex(UniString const & whole, ConstSubstring const & part,
                     unsigned short const * place) {
    return place == part.end() ? NotFound : static_cast<unsigned int>(place - whole.GetUnits());
}

unsigned int FindText(UniString const & whole, ConstSubstring const & part,
                      ConstSubstring const & text) {
    if (text.IsEmpty())
        return static_cast<unsigned int>(part.begin() - whole.GetUnits());
    return ToIndex(whole, part, std::search(part.begin(), part.end(), text.begin(), text.end()));
}

} // namespace

unsigned int UniString::FindFirst(UniChar unit, unsigned int from, unsigned int range) const {
    ConstSubstring const part = GetSubstring(from, range);
    return ToIndex(*this, part, std::find(part.begin(), part.end(), unit.GetUnit()));
}

unsigned int UniString::FindFirst(UniString const & text, unsigned int from,
                                  unsigned int range) const {
    return FindText(*this, GetSubstring(from, range), text);
}

unsigned int UniString::FindFirst(char const * text, unsigned int from, unsigned int range) const {
    DecodedText const decoded(text, GetNarrowLength(text), MuMachineCharCode);
    return FindText(*this, GetSubstring(from, range), decoded.Get());
}

unsigned int UniString::FindFirstIn(char const * set, unsigned int from, unsigned int range,
                                    MuCharCode code) const {
    ConstSubstring const part = GetSubstring(from, range);
    DecodedText const decoded(set, GetNarrowLength(set), code);
    ConstSubstring const wanted = decoded.Get();
    return ToIndex(*this, part,
                   std::find_first_of(part.begin(), part.end(), wanted.begin(), wanted.end()));
}

unsigned int UniString::FindLast(UniChar unit) const {
    for (unsigned int index = length; index-- > 0;)
        if (units[index] == unit.GetUnit())
            return index;
    return NotFound;
}

bool UniString::Contains(UniChar unit, unsigned int from, unsigned int range) const {
    return FindFirst(unit, from, range) != NotFound;
}

bool UniString::BeginsWith(UniString const & text) const {
    return GetPrefix(text.length) == ConstSubstring(text);
}

ConstSubstring UniString::GetPrefix(unsigned int prefixLength) const {
    return GetSubstring(0, prefixLength);
}

ConstSubstring UniString::operator()(unsigned int from, unsigned int range) const {
    return GetSubstring(from, range);
}

Substring UniString::operator()(unsigned int from, unsigned int range) {
    return GetSubstring(from, range);
}

ConstSubstring UniString::GetSubstring(unsigned int from, unsigned int range) const {
    return ConstSubstring(*this).GetSubstring(from, range);
}

Substring UniString::GetSubstring(unsigned int from, unsigned int range) {
    return Substring(*this, from, range);
}

ConstSubstring UniString::GetSubstring(UniChar left, UniChar right, unsigned int from,
                                       unsigned int range) const {
    ConstSubstring const part = GetSubstring(from, range);
    unsigned short const * const leftPlace = std::find(part.begin(), part.end(), left.GetUnit());
    if (leftPlace == part.end())
        return ConstSubstring();
    unsigned short const * const first = leftPlace + 1;
    unsigned short const * const rightPlace = std::find(first, part.end(), right.GetUnit());
    if (rightPlace == part.end())
        return ConstSubstring();
    return ConstSubstring(first, static_cast<unsigned int>(rightPlace - first));
}

bool UniString::IsEqual(UniString const & other, CaseComparison comparison) const {
    if (comparison == IgnoreCase)
        return length == other.length && EqualUnitsUpperCased(units, other.units, length);
    return *this == other;
}

bool operator==(UniString const & a, UniString const & b) {
    return ConstSubstring(a) == ConstSubstring(b);
}

bool operator==(UniString const & a, ConstSubstring const & b) {
    return ConstSubstring(a) == b;
}

bool operator==(UniString const & a, std::u16string_view b) {
    return ConstSubstring(a) == ConstSubstring(b);
}

bool operator==(UniString const & a, char16_t const * b) {
    return ConstSubstring(a) == b;
}

bool operator==(UniString const & a, char const * b) {
    return ConstSubstring(a) == b;
}

bool operator<(UniString const & a, UniString const & b) {
    return ConstSubstring(a) < ConstSubstring(b);
}

} // namespace Mu
