#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Text/Substring.h>

#include <concepts>
#include <type_traits>

// What stands behind UniString::Printf and UniString::Scanf: the arguments travel with their types,
// so that a directive cannot read what was not given, nor more of it or less.

namespace Mu {

class CStr;
class String;
class UStr;
class UniString;

/// One argument of Printf.
///
/// A number keeps its value, whatever the width that the directive names. A directive without a
/// sign takes a negative one modulo the width of its type; a `long` counts as 32 bits where its
/// value fits, so that both platforms print alike.
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
    bool wide = false;           // the number is of 64 bits, else of 32
    char const * narrow = nullptr;
    ConstSubstring text;

private:
    template <typename T>
    static constexpr bool FitsIn32(T value) {
        return value == static_cast<T>(static_cast<int>(value));
    }
};

/// Where one field of Scanf goes. Numbers that are too large for it are cut to the nearest value
/// that it can hold, so that a range check behind the scan refuses them.
class KESTREL_API ScanTarget {
public:
    enum class Kind { Signed, Unsigned, Narrow, Text };

    template <std::integral T>
    requires(!std::is_same_v<T, bool>) ScanTarget(T * number)
        : kind(std::is_signed_v<T> ? Kind::Signed : Kind::Unsigned), target(number),
          size(sizeof(T)) {}
    /// Room for `n` bytes with the terminator; a longer field ends there.
    template <unsigned int n>
    ScanTarget(char (*buffer)[n]) : kind(Kind::Narrow), target(buffer), size(n) {}
    ScanTarget(UniString * text) : kind(Kind::Text), target(text), size(0) {}
    /// A buffer without a size could be written past its end: pass the address of the array.
    ScanTarget(char * buffer) = delete;

    Kind kind;
    void * target;
    unsigned int size;
};

/// Appends `format` with its directives filled in.
KESTREL_API void AppendFormatted(UniString & text, char const * format,
                                 FormatArgument const * arguments, unsigned int count);

/// Reads fields out of `text` and returns how many were stored.
KESTREL_API int ScanFormatted(ConstSubstring const & text, char const * format,
                              ScanTarget const * targets, unsigned int count);

} // namespace Mu
