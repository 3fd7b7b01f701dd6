#pragma once

#include <Kestrel/Root/Text/UniString.h>

#include <string>
#include <string_view>

/// A text of the library from UTF-8, on either platform.
inline Mu::UniString U(std::string_view utf8) {
    return Mu::UniString(utf8.data(), static_cast<unsigned int>(utf8.size()),
                         static_cast<MuCharCode>(99));
}

using Mu::ToUtf8;
