// How a Reflectable converts values to names and back, and matches locations.

#include <Kestrel/Reflection/Reflectable.h>

#include <Kestrel/Location/RelativeLocation.h>

#include <algorithm>
#include <charconv>
#include <limits>
#include <string_view>

namespace IO {

namespace {

using Narrow = std::string_view;

void SkipBlanks(Narrow & text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
}

// Skips the blanks and the sign at the start of a number; true for a minus.
bool TakeSign(Narrow & text) {
    SkipBlanks(text);
    bool const isNegative = text.starts_with('-');
    if (isNegative || text.starts_with('+'))
        text.remove_prefix(1);
    return isNegative;
}

bool BeginsHex(Narrow text) {
    return text.starts_with("0x") || text.starts_with("0X");
}

int GuessBase(Narrow text) {
    if (BeginsHex(text))
        return 16;
    return text.starts_with('0') ? 8 : 10;
}

// The number at the start of the text: 0 if there is none, the maximum if it is too large.
unsigned long long ScanMagnitude(Narrow text, int base) {
    if (base == 16 && BeginsHex(text))
        text.remove_prefix(2);
    unsigned long long magnitude = 0;
    std::from_chars_result const result =
        std::from_chars(text.data(), text.data() + text.size(), magnitude, base);
    return result.ec == std::errc::result_out_of_range ? ~0ull : magnitude;
}

Narrow ToNarrow(Mu::CStr const & text) {
    return Narrow(text.GetText(), text.GetLength());
}

// Whether a piece between the bars equals the text exactly.
bool IsOneOf(Mu::ConstSubstring const & pieces, Mu::UniString const & text) {
    unsigned short const * from = pieces.begin();
    for (;;) {
        unsigned short const * const bar = std::find(from, pieces.end(), u'|');
        if (text == Mu::ConstSubstring(from, static_cast<unsigned int>(bar - from)))
            return true;
        if (bar == pieces.end())
            return false;
        from = bar + 1;
    }
}

bool MatchesName(Name const & name, Name const & pattern) {
    Mu::UniString const & text = pattern.ToString();
    if (text == "?")
        return true;
    if (text.Contains('|'))
        return IsOneOf(text, name.ToString());
    return !(name != pattern);
}

} // namespace

Name Reflectable::GetName(RelativeLocation const & location, unsigned int index) {
    Name name;
    if (!Mu::IsNull(location) && index < location.GetLength())
        static_cast<void>(location.GetName(index, &name)); // empty if it cannot be read
    return name;
}

Name Reflectable::GetLastName(RelativeLocation const & location) {
    Name name;
    if (!Mu::IsNull(location))
        static_cast<void>(location.GetLastName(&name));
    return name;
}

bool Reflectable::Matches(RelativeLocation const & location, RelativeLocation const & pattern) {
    if (Mu::IsNull(location) || Mu::IsNull(pattern) || location.GetLength() != pattern.GetLength())
        return false;
    for (unsigned int i = 0; i < location.GetLength(); ++i)
        if (!MatchesName(GetName(location, i), GetName(pattern, i)))
            return false;
    return true;
}

bool Reflectable::Matches(RelativeLocation const & location, char const * pattern) {
    return pattern != nullptr && Matches(location, RelativeLocation(pattern));
}

Name Reflectable::ToName(unsigned int value) {
    return Mu::UniString::Printf("%u", value);
}

Name Reflectable::ToName(int value) {
    return Mu::UniString::Printf("%d", value);
}

Name Reflectable::ToName(double value) {
    char text[std::numeric_limits<double>::max_exponent10 + 16];
    char const * const end =
        std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, 6).ptr;
    return Mu::UniString(text, static_cast<unsigned int>(end - text));
}

Name Reflectable::ToName(void const * pointer) {
    return Mu::UniString::Printf("0x%p", pointer);
}

// A negative number counts down from 2 to the power of 32.
unsigned int Reflectable::ToULong(Name const & name) {
    Mu::CStr const narrow = name.ToString().ToCStr();
    Narrow text = ToNarrow(narrow);
    bool const isNegative = TakeSign(text);
    unsigned int const magnitude = static_cast<unsigned int>(
        std::min<unsigned long long>(ScanMagnitude(text, 10), 0xFFFFFFFFu));
    return isNegative ? 0 - magnitude : magnitude;
}

int Reflectable::ToSLong(Name const & name) {
    Mu::CStr const narrow = name.ToString().ToCStr();
    Narrow text = ToNarrow(narrow);
    bool const isNegative = TakeSign(text);
    long long const magnitude = static_cast<long long>(
        std::min<unsigned long long>(ScanMagnitude(text, GuessBase(text)), 0x80000000u));
    return static_cast<int>(isNegative ? -magnitude : std::min<long long>(magnitude, 0x7FFFFFFF));
}

double Reflectable::ToDouble(Name const & name) {
    Mu::CStr const narrow = name.ToString().ToCStr();
    Narrow text = ToNarrow(narrow);
    bool const isNegative = TakeSign(text);
    bool const isHex = BeginsHex(text);
    text.remove_prefix(isHex ? 2 : 0);
    // What else std::from_chars reads: a second sign, and infinity and the like after the prefix.
    std::size_t const other = text.find_first_of(isHex ? "-iInN" : "-");
    double magnitude = 0;
    if (other != 0)
        std::from_chars(text.data(), text.data() + text.size(), magnitude,
                        isHex ? std::chars_format::hex : std::chars_format::general);
    return isNegative ? -magnitude : magnitude;
}

void const * Reflectable::ToPointer(Name const & name) {
    Mu::CStr const narrow = name.ToString().ToCStr();
    Narrow text = ToNarrow(narrow);
    constexpr std::size_t LongestNumber = 16; // with its sign and prefix, but not the blanks
    if (!text.starts_with("0x"))
        return nullptr;
    text.remove_prefix(2);
    SkipBlanks(text);
    text = text.substr(0, LongestNumber);
    bool const isNegative = TakeSign(text);
    unsigned long long const magnitude = ScanMagnitude(text, 16);
    return reinterpret_cast<void const *>(
        static_cast<std::uintptr_t>(isNegative ? 0 - magnitude : magnitude));
}

} // namespace IO
