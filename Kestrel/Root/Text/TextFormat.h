#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Text/Substring.h>

#include <concepts>
#include <type_traits>

// The implementation of UniString::Printf and UniString::Scanf: the arguments are passed with their
// types, so that a directive cannot access a missing argument or one of another type.

namespace Mu {

class CStr;
class String;
class UStr;
class UniString;

/// One argument of Printf.
///
/// A number keeps its value, whatever width the directive specifies. An unsigned directive takes a
/// negative number modulo the width of its type; a `long` counts as 32 bits if its value fits, so
/// that both platforms print the same.
class KESTREL_API FormatArgument {
public:
    enum class Kind { Number, Narrow, Text, Unit, Pointer };

    template <std::integral T>
    FormatArgument(T value)
        : kind(Kind::Number), bits(static_cast<unsigned long long>(value)),
          wide(sizeof(T) > 4 && !(std::is_same_v<T, long> && FitsIn32(value)) &&
               !(std::is_same_v<T, unsigned long> && value <= T(0xFFFFFFFFu))) {}
    template <typename T>
    requires std::is_enum_v<T> FormatArgument(T value)
        : FormatArgument(static_cast<std::underlying_type_t<T>>(value)) {}
    FormatArgument(char c) : FormatArgument(UniChar(c)) {}
    FormatArgument(char16_t c) : FormatArgument(UniChar(c)) {}
    FormatArgument(UniChar c) : kind(Kind::Unit), bits(c.GetUnit()) {}
    FormatArgument(char const * givenText) : kind(Kind::Narrow), narrow(givenText) {}
    FormatArgument(unsigned short const * givenText)
        : FormatArgument(ConstSubstring(givenText, CountUnits(givenText))) {}
    FormatArgument(char16_t const * givenText) : FormatArgument(ToUnits(givenText)) {}
    FormatArgument(ConstSubstring const & givenText) : kind(Kind::Text), text(givenText) {}
    FormatArgument(UniString const & givenText) : FormatArgument(ConstSubstring(givenText)) {}
    FormatArgument(std::u16string_view givenText) : FormatArgument(ConstSubstring(givenText)) {}
    FormatArgument(CStr const & text);
    FormatArgument(UStr const & text);
    FormatArgument(String const & text);
    FormatArgument(void const * pointer)
        : kind(Kind::Pointer), bits(reinterpret_cast<std::uintptr_t>(pointer)), wide(true) {}

    Kind kind;
    unsigned long long bits = 0; // the number, sign-extended; the unit; the pointer
    bool wide = false;           // the number has 64 bits, otherwise 32
    char const * narrow = nullptr;
    ConstSubstring text;

private:
    template <typename T>
    static constexpr bool FitsIn32(T value) {
        return value == static_cast<T>(static_cast<int>(value));
    }
};

/// The target of one field of Scanf. Numbers that are too large for it are set to its nearest
/// value, so that a range check after the scan fails.
class KESTREL_API ScanTarget {
public:
    enum class Kind { Signed, Unsigned, Narrow, Text };

    template <std::integral T>
    requires(!std::is_same_v<T, bool>) ScanTarget(T * number)
        : kind(std::is_signed_v<T> ? Kind::Signed : Kind::Unsigned), target(number),
          size(sizeof(T)) {}
    /// Space for `n` bytes with the terminator; a longer field is truncated.
    template <unsigned int n>
    ScanTarget(char (*buffer)[n]) : kind(Kind::Narrow), target(buffer), size(n) {}
    ScanTarget(UniString * text) : kind(Kind::Text), target(text), size(0) {}
    /// A buffer of unknown size could overflow: pass the address of the array.
    ScanTarget(char * buffer) = delete;

    Kind kind;
    void * target;
    unsigned int size;
};

/// Appends `format` with its directives replaced.
KESTREL_API void AppendFormatted(UniString & text, char const * format,
                                 FormatArgument const * arguments, unsigned int count);

/// Reads fields from `text` and returns how many were stored.
KESTREL_API int ScanFormatted(ConstSubstring const & text, char const * format,
                              ScanTarget const * targets, unsigned int count);

} // namespace Mu
