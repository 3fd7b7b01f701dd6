#include <Kestrel/Root/Internal/CharCodeConversion.h>
#include <Kestrel/Root/Text/TextFormat.h>
#include <Kestrel/Root/Text/UniString.h>

#include <algorithm>
#include <cstring>

namespace Mu {

namespace {

bool IsWhite(UniChar unit) {
    return unit == ' ' || (unit.GetUnit() >= '\t' && unit.GetUnit() <= '\r');
}

/// Units that are read from the front.
class Source {
public:
    explicit Source(ConstSubstring const & text) : text(text) {}

    bool IsAtEnd() const { return position == text.GetLength(); }
    unsigned int GetPosition() const { return position; }
    /// The next unit, 0 at the end.
    UniChar Look() const { return IsAtEnd() ? UniChar() : UniChar(text[position]); }
    UniChar Take() { return text[position++]; }
    bool TakeIf(UniChar unit) {
        bool const isNext = !IsAtEnd() && Look() == unit;
        position += isNext ? 1 : 0;
        return isNext;
    }
    void SkipWhite() {
        while (!IsAtEnd() && IsWhite(Look()))
            ++position;
    }
    ConstSubstring TakeNonWhite(unsigned int most) {
        unsigned int const from = position;
        while (!IsAtEnd() && position - from < most && !IsWhite(Look()))
            ++position;
        return text.GetSubstring(from, position - from);
    }
    /// Up to `most` units from here on, without reading them.
    ConstSubstring LookAhead(unsigned int most) const { return text.GetSubstring(position, most); }
    void Skip(unsigned int count) { position += count; }

private:
    ConstSubstring text;
    unsigned int position = 0;
};

struct ScanDirective {
    bool isPassedOver = false;
    unsigned int width = UniString::All;
    UniChar conversion;
};

unsigned int TakeWidth(Source & format) {
    unsigned int width = 0;
    while (format.Look().IsDigit())
        width = std::min(width * 10 + (format.Take().GetUnit() - '0'), 100000u);
    return width == 0 ? UniString::All : width;
}

ScanDirective ParseScanDirective(Source & format) {
    ScanDirective directive;
    directive.isPassedOver = format.TakeIf('*');
    directive.width = TakeWidth(format);
    while (format.TakeIf('l') || format.TakeIf('h') || format.TakeIf('L') || format.TakeIf('z')) {
    }
    if (!format.IsAtEnd())
        directive.conversion = format.Take();
    return directive;
}

unsigned int GetDigitValue(UniChar digit) {
    unsigned int const unit = digit.GetUnit();
    return digit.IsDigit() ? unit - '0' : (unit | 0x20) - 'a' + 10;
}

struct ScannedNumber {
    bool isFound = false;
    bool isNegative = false;
    unsigned long long magnitude = 0; // the maximum for all larger values
};

ScannedNumber TakeNumber(ConstSubstring const & field, unsigned int base, unsigned int * used) {
    Source source(field);
    ScannedNumber number;
    number.isNegative = source.TakeIf('-');
    if (!number.isNegative)
        source.TakeIf('+');
    if (base == 16 && field.GetSubstring(source.GetPosition(), 2) == "0x") {
        source.Take();
        source.Take();
    }
    constexpr unsigned long long largest = ~0ull;
    while (base == 16 ? source.Look().IsHexaDigit() : source.Look().IsDigit()) {
        unsigned int const digit = GetDigitValue(source.Take());
        bool const isTooLarge = number.magnitude > (largest - digit) / base;
        number.magnitude = isTooLarge ? largest : number.magnitude * base + digit;
        number.isFound = true;
    }
    *used = source.GetPosition();
    return number;
}

// The nearest value that `size` bytes can hold, as its bits.
unsigned long long Fit(ScannedNumber const & number, ScanTarget const & target) {
    unsigned long long const all = ~0ull >> (64 - 8 * target.size);
    if (target.kind == ScanTarget::Kind::Unsigned)
        return number.isNegative ? 0 : std::min(number.magnitude, all);
    unsigned long long const most = all / 2;
    return number.isNegative ? 0 - std::min(number.magnitude, most + 1)
                             : std::min(number.magnitude, most);
}

void StoreBits(unsigned long long bits, ScanTarget const & target) {
    switch (target.size) {
    case 1: *static_cast<unsigned char *>(target.target) = static_cast<unsigned char>(bits); break;
    case 2:
        *static_cast<unsigned short *>(target.target) = static_cast<unsigned short>(bits);
        break;
    case 4: *static_cast<unsigned int *>(target.target) = static_cast<unsigned int>(bits); break;
    default: std::memcpy(target.target, &bits, sizeof(bits));
    }
}

bool IsForNumbers(ScanTarget const & target) {
    return target.kind == ScanTarget::Kind::Signed || target.kind == ScanTarget::Kind::Unsigned;
}

// As many whole characters as fit.
void StoreNarrow(ConstSubstring const & field, ScanTarget const & target) {
    CStr const narrow(field, MuMachineCharCode, ReplaceOnConversionError);
    Internal::CharCodeCalls const & calls = Internal::GetCharCodeCalls(MuMachineCharCode);
    unsigned int length = 0;
    while (length < narrow.GetLength()) {
        unsigned int const size =
            calls.getCharacterSize(narrow.GetText() + length, narrow.GetLength() - length);
        if (length + size >= target.size)
            break;
        length += size;
    }
    char * const buffer = static_cast<char *>(target.target);
    std::copy_n(narrow.GetText(), length, buffer);
    buffer[length] = 0;
}

bool StoreText(ConstSubstring const & field, ScanTarget const & target) {
    if (field.IsEmpty() || IsForNumbers(target))
        return false;
    if (target.kind == ScanTarget::Kind::Text)
        *static_cast<UniString *>(target.target) = field;
    else
        StoreNarrow(field, target);
    return true;
}

bool ScanNumber(Source & source, ScanDirective const & directive, ScanTarget const * target) {
    if (target != nullptr && !IsForNumbers(*target))
        return false;
    unsigned int used = 0;
    ScannedNumber const number =
        TakeNumber(source.LookAhead(directive.width), directive.conversion == 'x' ? 16 : 10, &used);
    if (!number.isFound)
        return false;
    source.Skip(used);
    if (target != nullptr)
        StoreBits(Fit(number, *target), *target);
    return true;
}

bool ScanText(Source & source, ScanDirective const & directive, ScanTarget const * target) {
    ConstSubstring const field = source.TakeNonWhite(directive.width);
    return target == nullptr ? !field.IsEmpty() : StoreText(field, *target);
}

bool ScanField(Source & source, ScanDirective const & directive, ScanTarget const * target) {
    source.SkipWhite();
    switch (directive.conversion.GetUnit()) {
    case 'd':
    case 'i':
    case 'u':
    case 'x': return ScanNumber(source, directive, target);
    case 's': return ScanText(source, directive, target);
    default: return false;
    }
}

// Units outside fields: white space matches any white space, also none; other units match
// themselves.
bool MatchUnit(Source & source, UniChar unit) {
    if (!IsWhite(unit))
        return source.TakeIf(unit);
    source.SkipWhite();
    return true;
}

bool StorePosition(Source const & source, ScanTarget const & target) {
    ScannedNumber const position = {true, false, source.GetPosition()};
    if (IsForNumbers(target))
        StoreBits(Fit(position, target), target);
    return IsForNumbers(target);
}

} // namespace

int ScanFormatted(ConstSubstring const & text, char const * format, ScanTarget const * targets,
                  unsigned int count) {
    Internal::DecodedText const decoded(format, Internal::GetNarrowLength(format),
                                        MuMachineCharCode);
    Source pattern(decoded.Get());
    Source source(text);
    ScanTarget const * const last = targets + count;
    int fields = 0;
    bool goesOn = true;
    while (goesOn && !pattern.IsAtEnd()) {
        UniChar const unit = pattern.Take();
        ScanDirective const directive = unit == '%' ? ParseScanDirective(pattern) : ScanDirective();
        if (unit != '%' || directive.conversion == '%') {
            goesOn = MatchUnit(source, unit);
        } else if (directive.isPassedOver) {
            goesOn = ScanField(source, directive, nullptr);
        } else if (targets == last) {
            goesOn = false;
        } else if (directive.conversion == 'n') {
            goesOn = StorePosition(source, *targets++);
        } else {
            goesOn = ScanField(source, directive, targets++);
            fields += goesOn ? 1 : 0;
        }
    }
    return fields;
}

} // namespace Mu
