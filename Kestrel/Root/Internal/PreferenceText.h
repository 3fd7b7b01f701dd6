#pragma once

#include <string_view>

namespace Mu {

// Pure functions of texts; any text is allowed. They allocate nothing and cannot fail.

/// Looks up a value in the text of a settings file. True: it exists, and `*value` becomes it
/// without the blanks around it. False: `*value` is unchanged.
bool FindPreference(std::string_view text, std::string_view key, std::string_view name,
                    std::string_view * value);

/// Decimal, or hexadecimal after 0x; a comment may follow. False: no number, or too large.
bool ParsePreference(std::string_view value, unsigned int * number);

} // namespace Mu
