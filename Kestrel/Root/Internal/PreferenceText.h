#pragma once

#include <cstddef>
#include <string_view>

namespace Mu {

/// Where a value stands in the text of a settings file, or where it would be put.
struct PreferencePlace {
    bool found = false;        ///< the value is there
    bool section = false;      ///< its section is there
    std::size_t lineBegin = 0; ///< of the value's line, up to and with its end
    std::size_t lineEnd = 0;
    std::string_view value;    ///< without the blanks round it
    std::size_t insertion = 0; ///< behind the last line of the section that says something
};

// Pure functions of texts; any text is allowed. They take no memory and cannot fail.

PreferencePlace FindPreference(std::string_view text, std::string_view key, std::string_view name);

/// Whether they can stand in a file so that FindPreference finds them again.
bool IsPreferenceKey(std::string_view key);
bool IsPreferenceName(std::string_view name);
bool IsPreferenceValue(std::string_view value);

/// Decimal, or hexadecimal behind 0x; a comment may follow. False: no number, or too large.
bool ParsePreference(std::string_view value, unsigned int * number);

} // namespace Mu
