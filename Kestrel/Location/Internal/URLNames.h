#pragma once

#include <string_view>

namespace Mu {
class UniString;
}

namespace IO {

class Address;
class Name;

// Common to the URLs of relative and absolute locations. Mu::OutOfMemoryException is thrown, except
// by an address, which becomes invalid.

/// The units that a URL escapes in a name; a relative one keeps its blanks.
inline constexpr std::u16string_view EscapedInURL = u"%/ ";
inline constexpr std::u16string_view EscapedInRelativeURL = u"%/";

/// The value of a hexadecimal digit, 0 for any other unit.
unsigned int GetValue(unsigned short unit);
/// Replaces each unit of `escaped`, which are all ASCII, by "%" and two digits.
void EncodeURLName(Name * name, std::u16string_view escaped);
/// Replaces each "%" with two digits behind it by the unit. Other "%" are unchanged, and one that
/// results from an escape is not decoded again.
void DecodeURLName(Name * name);

/// Appends all names with "/" between them, encoded.
void AppendNamesToURL(Mu::UniString & url, Address const & names, std::u16string_view escaped);
/// Appends the names between the "/" of a path, decoded: also empty ones, except behind the last
/// "/".
void AppendNamesOfURL(Address & names, std::u16string_view path);
/// Appends a piece of a URL, decoded, as one name.
void AppendNameOfURL(Address & names, std::u16string_view piece);

/// Whether the text is this word, which is lower case ASCII, in any case.
bool IsURLWord(std::u16string_view text, std::u16string_view word);
/// The text behind a leading "url:", in any case.
std::u16string_view SkipURLMark(std::u16string_view text);

} // namespace IO
