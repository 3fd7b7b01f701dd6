#pragma once

#include <string_view>

namespace Mu {
class UniString;
}

namespace IO {

class Address;
class Name;

// What the URLs of relative and absolute locations have in common. Shortages are thrown, except by
// an address, which becomes invalid.

/// The units that a URL escapes in a name; a relative one keeps its blanks.
inline constexpr std::u16string_view EscapedInURL = u"%/ ";
inline constexpr std::u16string_view EscapedInRelativeURL = u"%/";

/// The value of a hexadecimal digit, 0 for any other unit.
unsigned int GetValue(unsigned short unit);
/// Puts "%" and two digits in the place of each unit of `escaped`, which are all ASCII.
void EncodeURLName(Name * name, std::u16string_view escaped);
/// Puts the unit in the place of each "%" with two digits behind it. Other "%" stay, and one that
/// comes out of an escape is not looked at again.
void DecodeURLName(Name * name);

/// Appends all names with "/" between them, encoded.
void AppendNamesToURL(Mu::UniString & url, Address const & names, std::u16string_view escaped);
/// Appends the names between the "/" of a path, decoded: an empty one too, but not behind the last
/// "/".
void AppendNamesOfURL(Address & names, std::u16string_view path);
/// Appends a piece of a URL, decoded, as one name.
void AppendNameOfURL(Address & names, std::u16string_view piece);

/// Whether the text is this word, which is lower case ASCII, in any case.
bool IsURLWord(std::u16string_view text, std::u16string_view word);
/// The text behind a leading "url:", in any case.
std::u16string_view SkipURLMark(std::u16string_view text);

} // namespace IO
