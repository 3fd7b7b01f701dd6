#include <Kestrel/Root/Text/TextFormat.h>

#include <Kestrel/Root/Internal/CharCodeConversion.h>
#include <Kestrel/Root/Text/String.h>
#include <Kestrel/Root/Text/UniString.h>

#include <algorithm>
#include <cstring>

namespace Mu {

FormatArgument::FormatArgument(CStr const & text) : FormatArgument(text.GetText()) {}

FormatArgument::FormatArgument(UStr const & text)
    : FormatArgument(ConstSubstring(text.GetUnits(), text.GetLength())) {}

FormatArgument::FormatArgument(String const & text) : FormatArgument(text.ToCStr()) {}

namespace {

struct Directive {
    bool left = false;      // '-'
    bool zero = false;      // '0'
    bool plus = false;      // '+'
    bool alternate = false; // '#'
    unsigned int width = 0;
    unsigned int precision = 0;
    bool hasPrecision = false;
    char conversion = 0; // 0: the format ended before it
    char const * end = nullptr;
};

bool TakeFlag(Directive & directive, char c) {
    switch (c) {
    case '-': return directive.left = true;
    case '0': return directive.zero = true;
    case '+': return directive.plus = true;
    case '#': return directive.alternate = true;
    default: return false;
    }
}

unsigned int TakeNumber(char const *& at) {
    unsigned int number = 0;
    for (; *at >= '0' && *at <= '9'; ++at)
        number = std::min(number * 10 + static_cast<unsigned int>(*at - '0'), 100000u);
    return number;
}

Directive ParseDirective(char const * percent) {
    Directive directive;
    char const * at = percent + 1;
    while (TakeFlag(directive, *at))
        ++at;
    directive.width = TakeNumber(at);
    directive.hasPrecision = *at == '.';
    if (directive.hasPrecision)
        directive.precision = TakeNumber(++at);
    while (*at != 0 && std::strchr("hlLqjzt", *at) != nullptr)
        ++at;
    directive.conversion = *at;
    directive.end = *at == 0 ? at : at + 1;
    return directive;
}

void AppendRepeated(UniString & text, UniChar unit, unsigned int count) {
    text.Pad(text.GetLength() + count, unit);
}

void AppendText(UniString & text, Directive const & directive, ConstSubstring part) {
    if (directive.hasPrecision)
        part = part.GetSubstring(0, directive.precision);
    unsigned int const blanks = directive.width - std::min(directive.width, part.GetLength());
    AppendRepeated(text, ' ', directive.left ? 0 : blanks);
    text.Append(part);
    AppendRepeated(text, ' ', directive.left ? blanks : 0);
}

// The digits of the number, which are at the end of the buffer.
ConstSubstring MakeDigits(unsigned long long number, unsigned int base, char const * digits,
                          unsigned short (&buffer)[24]) {
    unsigned int first = 24;
    do {
        buffer[--first] = static_cast<unsigned char>(digits[number % base]);
        number /= base;
    } while (number != 0);
    return ConstSubstring(buffer + first, 24 - first);
}

void AppendNumber(UniString & text, Directive const & directive, char const * prefix,
                  ConstSubstring const & digits) {
    unsigned int const prefixLength = static_cast<unsigned int>(std::strlen(prefix));
    bool const fill = directive.zero && !directive.left && !directive.hasPrecision;
    unsigned int const wanted =
        fill ? directive.width - std::min(directive.width, prefixLength) : directive.precision;
    unsigned int const zeros = wanted - std::min(wanted, digits.GetLength());
    unsigned int const length = prefixLength + zeros + digits.GetLength();
    unsigned int const blanks = directive.width - std::min(directive.width, length);
    AppendRepeated(text, ' ', directive.left ? 0 : blanks);
    text.Append(prefix);
    AppendRepeated(text, '0', zeros);
    text.Append(digits);
    AppendRepeated(text, ' ', directive.left ? blanks : 0);
}

void AppendSigned(UniString & text, Directive const & directive, FormatArgument const & argument) {
    long long const value =
        argument.wide ? static_cast<long long>(argument.bits) : static_cast<int>(argument.bits);
    unsigned long long const magnitude = value < 0 ? 0 - static_cast<unsigned long long>(value)
                                                   : static_cast<unsigned long long>(value);
    unsigned short buffer[24];
    AppendNumber(text, directive,
                 value < 0        ? "-"
                 : directive.plus ? "+"
                                  : "",
                 MakeDigits(magnitude, 10, "0123456789", buffer));
}

void AppendUnsigned(UniString & text, Directive const & directive,
                    FormatArgument const & argument) {
    unsigned long long const value =
        argument.wide ? argument.bits : static_cast<unsigned int>(argument.bits);
    bool const isUpper = directive.conversion == 'X';
    char const * const prefix = !directive.alternate || directive.conversion == 'u' || value == 0
                                    ? ""
                                : isUpper ? "0X"
                                          : "0x";
    unsigned short buffer[24];
    AppendNumber(text, directive, prefix,
                 MakeDigits(value, directive.conversion == 'u' ? 10 : 16,
                            isUpper ? "0123456789ABCDEF" : "0123456789abcdef", buffer));
}

void AppendPointer(UniString & text, Directive const & directive, FormatArgument const & argument) {
    Directive all = directive;
    all.precision = 16;
    all.hasPrecision = true;
    unsigned short buffer[24];
    AppendNumber(text, all, "", MakeDigits(argument.bits, 16, "0123456789ABCDEF", buffer));
}

void AppendNarrow(UniString & text, Directive const & directive, FormatArgument const & argument) {
    Internal::DecodedText const decoded(argument.narrow, Internal::GetNarrowLength(argument.narrow),
                                        MuMachineCharCode);
    AppendText(text, directive, decoded.Get());
}

void AppendUnits(UniString & text, Directive const & directive, FormatArgument const & argument) {
    AppendText(text, directive, argument.text);
}

void AppendUnit(UniString & text, Directive const & directive, FormatArgument const & argument) {
    unsigned short const unit = static_cast<unsigned short>(argument.bits);
    AppendText(text, directive, ConstSubstring(&unit, 1));
}

/// What a directive does with an argument of a kind. A pair without a row is a mismatch.
struct Row {
    char const * conversions;
    FormatArgument::Kind kind;
    void (*append)(UniString &, Directive const &, FormatArgument const &);
};

constexpr Row rows[] = {
    {"s", FormatArgument::Kind::Narrow, AppendNarrow},
    {"s", FormatArgument::Kind::Text, AppendUnits},
    {"c", FormatArgument::Kind::Unit, AppendUnit},
    {"c", FormatArgument::Kind::Number, AppendUnit},
    {"di", FormatArgument::Kind::Number, AppendSigned},
    {"di", FormatArgument::Kind::Unit, AppendSigned},
    {"uxX", FormatArgument::Kind::Number, AppendUnsigned},
    {"uxX", FormatArgument::Kind::Unit, AppendUnsigned},
    {"p", FormatArgument::Kind::Pointer, AppendPointer},
};

Row const * FindRow(char conversion, FormatArgument::Kind kind) {
    for (Row const & row : rows)
        if (row.kind == kind && std::strchr(row.conversions, conversion) != nullptr)
            return &row;
    return nullptr;
}

void AppendBytes(UniString & text, char const * first, char const * end) {
    text.Append(first, static_cast<unsigned int>(end - first), MuMachineCharCode);
}

} // namespace

void AppendFormatted(UniString & text, char const * format, FormatArgument const * arguments,
                     unsigned int count) {
    FormatArgument const * const last = arguments + count;
    while (format != nullptr && *format != 0) {
        char const * const percent = format + std::strcspn(format, "%");
        AppendBytes(text, format, percent);
        if (*percent == 0)
            return;
        Directive const directive = ParseDirective(percent);
        format = directive.end;
        if (directive.conversion == '%') {
            text.Append('%');
            continue;
        }
        Row const * const row = directive.conversion == 0 || arguments == last
                                    ? nullptr
                                    : FindRow(directive.conversion, arguments->kind);
        if (row == nullptr)
            AppendBytes(text, percent, format);
        else
            row->append(text, directive, *arguments);
        arguments += arguments == last ? 0 : 1;
    }
}

} // namespace Mu
