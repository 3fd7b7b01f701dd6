#pragma once

#include <Kestrel/Root/Objects/Object.h>
#include <Kestrel/Root/Text/CaseMapping.h>
#include <Kestrel/Root/Text/CharCode.h>
#include <Kestrel/Root/Text/CodeUnits.h>
#include <Kestrel/Root/Text/Substring.h>
#include <Kestrel/Root/Text/TextConversion.h>
#include <Kestrel/Root/Text/TextFormat.h>
#include <Kestrel/Root/Text/UniChar.h>
#include <Kestrel/Root/Types.h>

#include <concepts>
#include <functional>
#include <iosfwd>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace Mu {

class Concatenation;
class UniString;

inline std::string ToUtf8(UniString const & text);

template <typename T>
concept CharacterLiteral = std::same_as<T, char> || std::same_as<T, char16_t>;

/// Converts a text of another library to a UniString: a specialisation has `static UniString
/// Convert(T const & text)`. Those for the standard library are in StandardText.h.
template <typename T>
struct TextOf;

/// A foreign text type from which a UniString, an IO::Name and an IO::Location can be constructed.
template <typename T>
concept ForeignText = requires(T const & text) {
    TextOf<std::decay_t<T>>::Convert(text);
};

/// A growable text of UTF-16 code units.
///
/// Indices and lengths count units. Malformed text is accepted: a lone surrogate is a unit like any
/// other, and becomes U+FFFD only in a conversion to a narrow code. A range is given by `from` and
/// `range`, and is limited to the text; the default is the whole text. An argument may be part of
/// the text that is changed. A null pointer counts as an empty text, but equals nothing.
///
/// Memory:  one block of the root, which grows by half, so that appending is linear; an empty text
///          has none, and copying it allocates nothing. The units are always followed by a zero
///          unit.
/// Threads: any number of readers, or one writer.
/// Failure: Mu::OutOfMemoryException on shortage, also past MaxLength; the text is unchanged then.
///          Read and Write return statuses.
class KESTREL_API UniString : public Object {
public:
    static constexpr unsigned int MaxLength = 0x3FFFFFFF;
    static constexpr unsigned int All = 0xFFFFFFFFu;

    UniString() noexcept : units(NoUnits()) {}
    UniString(char const * text, MuCharCode code = MuMachineCharCode);
    UniString(char const * text, unsigned int length, MuCharCode code = MuMachineCharCode);
    UniString(unsigned short const * text);
    UniString(char16_t const * text) : UniString(ToUnits(text)) {}
    UniString(UniString const & other) : Object(other), units(NoUnits()) {
        if (other.length != 0)
            *this = ConstSubstring(other);
    }
    UniString(UniString const & other, unsigned int from, unsigned int range = All);
    UniString(UniString && other) noexcept : units(NoUnits()) { Swap(other); }
    UniString(ConstSubstring const & text);
    UniString(Concatenation const & text);
    UniString(Concatenation && text) noexcept;
    explicit UniString(std::u16string_view text) : UniString(ConstSubstring(text)) {}
    /// From a text of the standard library: a std::string, a view, a `u8` literal. Bytes are UTF-8
    /// here, on both platforms.
    template <ForeignText Text>
    explicit UniString(Text const & text) : UniString(TextOf<std::decay_t<Text>>::Convert(text)) {}

    ClassInfo const & GetClassInfo() const override;
    UniString * Clone() const override;
    ~UniString() override;
    /// A truncated text returns the status of a broken object, and leaves an empty text.
    MuErrCode Read(IChannel & channel) override;
    /// Writes the number of units, then the units, low byte first.
    MuErrCode Write(OChannel & channel) const override;
    /// In UTF-8, without length or terminator.
    void Print(OChannel & channel) const override;
    MuErrCode CheckState() const override;

    static ClassInfo const & GetClassInfoStatic();

    UniString & operator=(UniString const & other);
    UniString & operator=(UniString && other) noexcept;
    UniString & operator=(char const * text);
    UniString & operator=(unsigned short const * text);
    UniString & operator=(char16_t const * text) { return *this = ToUnits(text); }
    UniString & operator=(ConstSubstring const & text);
    UniString & operator=(Substring const & text) {
        return *this = static_cast<ConstSubstring const &>(text);
    }
    /// Replaces the content, and reuses the memory if it suffices.
    void Assign(char const * text, unsigned int length, MuCharCode code = MuMachineCharCode);
    void Assign(UniString const & text, unsigned int from, unsigned int range = All);
    void Swap(UniString & other) noexcept;

    // Resizing.
    void Append(UniChar unit);
    void Append(unsigned short const * text);
    void Append(char16_t const * text) { Append(ToUnits(text)); }
    void Append(char const * text, MuCharCode code = MuMachineCharCode);
    void Append(char const * text, unsigned int length, MuCharCode code);
    void Append(UniString const & text, unsigned int from = 0, unsigned int range = All);
    void Append(ConstSubstring const & text);
    /// Appends fill units up to `length`; a longer text is unchanged.
    void Pad(unsigned int length, UniChar unit);
    /// Truncates, or appends zero units for the caller to overwrite.
    void SetLength(unsigned int length);
    /// Truncates to at most `length` units.
    void Truncate(unsigned int length);
    /// Empties the text and frees the memory.
    void Clear() noexcept;
    /// Empties the text and keeps the memory.
    void ClearContent() noexcept;
    /// Sets the capacity to `capacity` units, or to the length if that is larger; excess memory is
    /// freed.
    void SetCapacity(unsigned int capacity);
    unsigned int GetCapacity() const { return capacity; }

    // Editing.
    /// Replaces the range by one unit.
    void SetSubstring(unsigned int from, unsigned int range, UniChar replacement);
    /// Replaces the range by a range of `text`.
    void SetSubstring(unsigned int from, unsigned int range, UniString const & text,
                      unsigned int textFrom = 0, unsigned int textRange = All);
    void SetSubstring(unsigned int from, unsigned int range, ConstSubstring const & text);
    /// Replaces every `unit` in the range.
    void ReplaceAll(UniChar unit, UniChar replacement, unsigned int from = 0,
                    unsigned int range = All);
    // Unit by unit, so that the length is unchanged; see CaseMapping.h.
    void SetToLowerCase(unsigned int from = 0, unsigned int range = All);
    void SetToUpperCase(unsigned int from = 0, unsigned int range = All);

    // Searching. The results are indices into the whole text, or NotFound. A text is found only if
    // all of it is in the range; the empty text is found at the start of the range.
    unsigned int FindFirst(UniChar unit, unsigned int from = 0, unsigned int range = All) const;
    unsigned int FindFirst(UniString const & text, unsigned int from = 0,
                           unsigned int range = All) const;
    unsigned int FindFirst(char const * text, unsigned int from = 0,
                           unsigned int range = All) const;
    /// The first unit that is in `set`.
    unsigned int FindFirstIn(char const * set, unsigned int from = 0, unsigned int range = All,
                             MuCharCode code = MuMachineCharCode) const;
    unsigned int FindLast(UniChar unit) const;
    bool Contains(UniChar unit, unsigned int from = 0, unsigned int range = All) const;
    // Case-sensitive.
    bool BeginsWith(UniString const & text) const;
    bool EndsWith(UniChar unit) const { return length != 0 && units[length - 1] == unit; }

    // Views, valid until the text is changed. An assignment to a Substring replaces that part of
    // the text.
    ConstSubstring GetPrefix(unsigned int length) const;
    ConstSubstring operator()(unsigned int from = 0, unsigned int range = All) const;
    Substring operator()(unsigned int from = 0, unsigned int range = All);
    ConstSubstring GetSubstring(unsigned int from = 0, unsigned int range = All) const;
    Substring GetSubstring(unsigned int from = 0, unsigned int range = All);
    /// The text between the first `left` and the next `right` after it, without the two; empty if
    /// one of them is missing.
    ConstSubstring GetSubstring(UniChar left, UniChar right, unsigned int from = 0,
                                unsigned int range = All) const;
    // Otherwise a character literal would convert to an index.
    template <CharacterLiteral Unit>
    ConstSubstring GetSubstring(Unit left, Unit right, unsigned int from = 0,
                                unsigned int range = All) const {
        return GetSubstring(UniChar(left), UniChar(right), from, range);
    }
    template <CharacterLiteral Unit>
    ConstSubstring GetSubstring(Unit left, Unit right, unsigned int from = 0,
                                unsigned int range = All) {
        return GetSubstring(UniChar(left), UniChar(right), from, range);
    }

    bool IsEmpty() const { return length == 0; }
    unsigned int GetLength() const { return length; }
    /// Unchecked; the index of the length returns the zero unit behind the text.
    unsigned short operator[](unsigned int index) const { return units[index]; }
    unsigned short & operator[](unsigned int index) { return units[index]; }
    unsigned short const * GetUnits() const { return units; }
    unsigned short const * begin() const { return units; }
    unsigned short const * end() const { return units + length; }
    unsigned short * begin() { return units; }
    unsigned short * end() { return units + length; }

    bool IsEqual(UniString const & other, CaseComparison comparison) const;

    // Conversions. The results are for use within one expression; see CStr and UStr.
    CStr ToCStr(unsigned int from = 0, unsigned int range = All,
                MuCharCode code = MuMachineCharCode,
                OnConversionError onError = ReplaceOnConversionError) const;
    UStr ToUStr(unsigned int from = 0, unsigned int range = All) const;
    operator std::u16string_view() const { return {ToChar16(units), length}; }
    /// In UTF-8, like ToUtf8.
    template <std::same_as<std::string> Utf8>
    explicit operator Utf8() const {
        return ToUtf8(*this);
    }

    /// Supports %s, %c, %d, %i, %u, %x, %X, %p (all 16 digits, in upper case) and %%, with '-',
    /// '0', '+', '#', a width and a precision. Length modifiers, as in %ls and %lu, are accepted
    /// and ignored: an argument is printed by its type. A directive without a matching argument is
    /// printed literally.
    template <typename... Arguments>
    static UniString Printf(char const * format, Arguments const &... arguments) {
        FormatArgument const list[] = {FormatArgument(arguments)..., FormatArgument(0)};
        UniString text;
        AppendFormatted(text, format, list, sizeof...(arguments));
        return text;
    }

    /// Supports %d, %i, %u, %x, %s, %n (the number of units read so far, not counted as a field)
    /// and %%, with a width, '*' to skip a field, and any length modifiers. Stops at the first
    /// directive that does not match the text or its target, and returns the number of stored
    /// fields.
    template <typename... Targets>
    int Scanf(char const * format, Targets... targets) const {
        int none;
        ScanTarget const list[] = {ScanTarget(targets)..., ScanTarget(&none)};
        return ScanFormatted(*this, format, list, sizeof...(targets));
    }

    /// Equal for equal texts, on every platform and in every release.
    unsigned int GenerateHashValue() const { return HashUnits(units, length); }

private:
    static unsigned short * NoUnits() noexcept { return const_cast<unsigned short *>(noUnits); }
    std::span<unsigned short> GetRange(unsigned int from, unsigned int range);
    bool Owns(ConstSubstring const & text) const;
    void Terminate(unsigned int newLength) noexcept;
    void Reallocate(unsigned int newCapacity);
    void Grow(unsigned int needed);
    unsigned short * MakeRoom(unsigned int from, unsigned int range, unsigned int newRange);
    void Replace(unsigned int from, unsigned int range, ConstSubstring const & text);
    MuErrCode ReadUnits(IChannel & channel, unsigned int count);

    /// Fills the smallest block of common allocators.
    static constexpr unsigned int FirstCapacity = 11;
    static unsigned short const noUnits[1]; // not in line: it would keep a host's modules loaded

    unsigned short * units;    // `noUnits`, which is never written, while the capacity is 0
    unsigned int length = 0;   // <= capacity; units[length] is 0
    unsigned int capacity = 0; // units of the block, without the one for the terminator
};

inline ConstSubstring::ConstSubstring(UniString const & text)
    : units(text.GetUnits()), length(text.GetLength()) {}

KESTREL_API bool operator==(UniString const & a, UniString const & b);
KESTREL_API bool operator==(UniString const & a, ConstSubstring const & b);
KESTREL_API bool operator==(UniString const & a, std::u16string_view b);
KESTREL_API bool operator==(UniString const & a, char16_t const * b);
/// The narrow text is in the machine's code; a null one equals nothing.
KESTREL_API bool operator==(UniString const & a, char const * b);
/// Compares code unit by code unit; case-sensitive.
KESTREL_API bool operator<(UniString const & a, UniString const & b);

/// In UTF-8.
KESTREL_API std::ostream & operator<<(std::ostream & stream, UniString const & text);

} // namespace Mu

template <>
struct std::hash<Mu::UniString> {
    std::size_t operator()(Mu::UniString const & text) const { return text.GenerateHashValue(); }
};

#include <Kestrel/Root/Text/Concatenation.h>
#include <Kestrel/Root/Text/StandardText.h>
