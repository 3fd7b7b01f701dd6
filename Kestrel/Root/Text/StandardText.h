#pragma once

#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Root/Text/CharCode.h>
#include <Kestrel/Root/Text/UniString.h>

#include <string>
#include <string_view>

// Conversions of texts of the standard library. Their bytes are UTF-8 on both platforms, whereas a
// plain `char const *` is in the machine's code (see MuMachineCharCode).
//
// Memory:  the texts'. Mu::OutOfMemoryException on shortage.
// Failure: bytes that are not UTF-8 become U+FFFD, as lone surrogates do in the other direction.

namespace Mu {

template <typename Traits>
struct TextOf<std::basic_string_view<char, Traits>> {
    static UniString Convert(std::basic_string_view<char, Traits> text) {
        if (text.size() > UniString::MaxLength)
            ThrowOutOfMemory();
        return UniString(text.data(), static_cast<unsigned int>(text.size()), MuLogCharCode);
    }
};

template <typename Traits>
struct TextOf<std::basic_string_view<char8_t, Traits>> {
    static UniString Convert(std::basic_string_view<char8_t, Traits> text) {
        return TextOf<std::string_view>::Convert(
            {reinterpret_cast<char const *>(text.data()), text.size()});
    }
};

template <typename Traits>
struct TextOf<std::basic_string_view<char16_t, Traits>> {
    static UniString Convert(std::u16string_view text) { return UniString(text); }
};

template <typename Unit, typename Traits, typename Allocator>
struct TextOf<std::basic_string<Unit, Traits, Allocator>>
    : TextOf<std::basic_string_view<Unit, Traits>> {};

/// Null counts as empty.
template <>
struct TextOf<char8_t const *> {
    static UniString Convert(char8_t const * text) {
        return TextOf<std::u8string_view>::Convert(text == nullptr ? std::u8string_view() : text);
    }
};
template <>
struct TextOf<char8_t *> : TextOf<char8_t const *> {};

/// The text in UTF-8.
inline std::string ToUtf8(UniString const & text) {
    CStr const bytes = text.ToCStr(0, UniString::All, MuLogCharCode);
    return std::string(bytes.GetText(), bytes.GetLength());
}

} // namespace Mu
