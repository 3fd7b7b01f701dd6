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

/// How a text of another library becomes a UniString: a specialisation has
/// `static UniString Convert(T const & text)`. Those for the standard library are in StandardText.h.
template <typename T>
struct TextOf;

/// A type of text from outside that a UniString, an IO::Name and an IO::Location can be made of.
template <typename T>
concept ForeignText = requires(T const & text) {
    TextOf<std::decay_t<T>>::Convert(text);
};

/// A growable text of UTF-16 code units.
///
/// Indices and lengths count units. Nothing is refused as malformed: a lone surrogate is a unit
/// like any other, and becomes U+FFFD only on its way to a narrow code. A range is given by `from`
/// and `range` and means as much of it as the text has; the default is all of the text. An argument
/// may be a part of the text that is changed. A null pointer is the empty text, but equals nothing.
///
/// Memory:  one block of the root, which grows by half, so that appending is linear; an empty text
///          has none, and copying it takes none. The units are always followed by a zero unit.
/// Threads: any number may read, one may change.
/// Failure: Mu::OutOfMemoryException on shortage, also past MaxLength; the text is then as it was.
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
    /// A truncated text yields the status of a broken object, and an empty text.
    MuErrCode Read(IChannel & channel) override;
    /// The number of units, then the units, low byte first.
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
    /// Replaces the content, and keeps the memory if there is enough of it.
    void Assign(char const * text, unsigned int length, MuCharCode code = MuMachineCharCode);
    void Assign(UniString const & text, unsigned int from, unsigned int range = All);
    void Swap(UniString & other) noexcept;

    // Grow and cut.
    void Append(UniChar unit);
    void Append(unsigned short const * text);
    void Append(char16_t const * text) { Append(ToUnits(text)); }
    void Append(char const * text, MuCharCode code = MuMachineCharCode);
    void Append(char const * text, unsigned int length, MuCharCode code);
    void Append(UniString const & text, unsigned int from = 0, unsigned int range = All);
    void Append(ConstSubstring const & text);
    /// Fills at the end up to `length`; a longer text stays as it is.
    void Pad(unsigned int length, UniChar unit);
    /// Cuts, or fills at the end with zero units for the caller to write over.
    void SetLength(unsigned int length);
    /// Cuts to at most `length` units.
    void Truncate(unsigned int length);
    /// Empty, and the memory is freed.
    void Clear() noexcept;
    /// Empty, but the memory is kept.
    void ClearContent() noexcept;
    /// Room for `capacity` units, or for the text when it is longer; memory beyond that is freed.
    void SetCapacity(unsigned int capacity);
    unsigned int GetCapacity() const { return capacity; }

    // Edit.
    /// Puts the one unit in the place of the range.
    void SetSubstring(unsigned int from, unsigned int range, UniChar replacement);
    /// Puts a range of `text` in the place of the range.
    void SetSubstring(unsigned int from, unsigned int range, UniString const & text,
                      unsigned int textFrom = 0, unsigned int textRange = All);
    void SetSubstring(unsigned int from, unsigned int range, ConstSubstring const & text);
    /// Every `unit` of the range becomes the replacement.
    void ReplaceAll(UniChar unit, UniChar replacement, unsigned int from = 0,
                    unsigned int range = All);
    // Unit by unit, so that the length stays; see CaseMapping.h.
    void SetToLowerCase(unsigned int from = 0, unsigned int range = All);
    void SetToUpperCase(unsigned int from = 0, unsigned int range = All);

    // Search. The results are indices into the whole text, NotFound where there is none. A text is
    // found only when all of it lies in the range; the empty one is found where the range begins.
    unsigned int FindFirst(UniChar unit, unsigned int from = 0, unsigned int range = All) const;
    unsigned int FindFirst(UniString const & text, unsigned int from = 0,
                           unsigned int range = All) const;
    unsigned int FindFirst(char const * text, unsigned int from = 0,
                           unsigned int range = All) const;
    /// The first unit that is one of those in `set`.
    unsigned int FindFirstIn(char const * set, unsigned int from = 0, unsigned int range = All,
                             MuCharCode code = MuMachineCharCode) const;
    unsigned int FindLast(UniChar unit) const;
    bool Contains(UniChar unit, unsigned int from = 0, unsigned int range = All) const;
    // With regard to case.
    bool BeginsWith(UniString const & text) const;
    bool EndsWith(UniChar unit) const { return length != 0 && units[length - 1] == unit; }

    // Views, valid as long as the text is not changed. What is assigned to a Substring takes the
    // place of the part in the text.
    ConstSubstring GetPrefix(unsigned int length) const;
    ConstSubstring operator()(unsigned int from = 0, unsigned int range = All) const;
    Substring operator()(unsigned int from = 0, unsigned int range = All);
    ConstSubstring GetSubstring(unsigned int from = 0, unsigned int range = All) const;
    Substring GetSubstring(unsigned int from = 0, unsigned int range = All);
    /// The text between the first `left` and the next `right` behind it, without the two; empty
    /// when one of them is missing.
    ConstSubstring GetSubstring(UniChar left, UniChar right, unsigned int from = 0,
                                unsigned int range = All) const;
    // Else a character literal would be taken for an index.
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

    // Convert. The results are for the length of one expression; see CStr and UStr.
    CStr ToCStr(unsigned int from = 0, unsigned int range = All,
                MuCharCode code = MuMachineCharCode,
                OnConversionError onError = ReplaceOnConversionError) const;
    UStr ToUStr(unsigned int from = 0, unsigned int range = All) const;
    operator std::u16string_view() const { return {ToChar16(units), length}; }
    /// In UTF-8, as ToUtf8.
    template <std::same_as<std::string> Utf8>
    explicit operator Utf8() const {
        return ToUtf8(*this);
    }

    /// Knows %s, %c, %d, %i, %u, %x, %X, %p (all 16 digits, in upper case) and %%, with '-', '0',
    /// '+', '#', a width, a precision and any length letters, which change nothing, as in %ls and
    /// %lu: an argument prints as what it is. A directive without a fitting argument prints as it
    /// stands.
    template <typename... Arguments>
    static UniString Printf(char const * format, Arguments const &... arguments) {
        FormatArgument const list[] = {FormatArgument(arguments)..., FormatArgument(0)};
        UniString text;
        AppendFormatted(text, format, list, sizeof...(arguments));
        return text;
    }

    /// Knows %d, %i, %u, %x, %s, %n (units taken so far, not counted as a field) and %%, with a
    /// width, '*' for a field to pass over, and any length letters. Stops at the first directive
    /// that the text or its target does not fit, and returns the number of fields stored.
    template <typename... Targets>
    int Scanf(char const * format, Targets... targets) const {
        int none;
        ScanTarget const list[] = {ScanTarget(targets)..., ScanTarget(&none)};
        return ScanFormatted(*this, format, list, sizeof...(targets));
    }

    /// Equal texts have equal ones, on every platform and in every release.
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

    /// Fills a usual allocator's smallest block.
    static constexpr unsigned int FirstCapacity = 11;
    static unsigned short const noUnits[1]; // not in line, where it would pin a host's modules

    unsigned short * units;    // `noUnits`, never written, while the capacity is 0
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
/// Code unit by code unit; case matters.
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
