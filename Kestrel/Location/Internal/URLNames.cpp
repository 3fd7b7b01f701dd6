#include <Kestrel/Location/Internal/URLNames.h>

#include <Kestrel/Location/Address.h>
#include <Kestrel/Location/Name.h>
#include <Kestrel/Root/Errors/Exceptions.h>

#include <algorithm>

namespace IO {

namespace {

bool IsEscape(Mu::UniString const & text, unsigned int at) {
    return text.GetLength() - at >= 3 && text[at] == '%' &&
           Mu::UniChar(text[at + 1]).IsHexaDigit() && Mu::UniChar(text[at + 2]).IsHexaDigit();
}

void AppendEscape(Mu::UniString & text, char16_t unit) {
    constexpr char digits[] = "0123456789ABCDEF";
    text.Append(Mu::UniChar('%'));
    text.Append(Mu::UniChar(digits[unit / 16 % 16]));
    text.Append(Mu::UniChar(digits[unit % 16]));
}

char16_t ToLower(char16_t unit) {
    return unit >= 'A' && unit <= 'Z' ? static_cast<char16_t>(unit - 'A' + 'a') : unit;
}

} // namespace

unsigned int GetValue(unsigned short unit) {
    if (!Mu::UniChar(unit).IsHexaDigit())
        return 0;
    if (unit <= '9')
        return unit - '0';
    return 10u + ToLower(unit) - 'a';
}

void EncodeURLName(Name * name, std::u16string_view escaped) {
    std::u16string_view const text = name->ToString();
    if (text.find_first_of(escaped) == text.npos)
        return;
    Mu::UniString encoded;
    for (char16_t unit : text)
        if (escaped.find(unit) == escaped.npos)
            encoded.Append(Mu::UniChar(unit));
        else
            AppendEscape(encoded, unit);
    *name = encoded;
}

void DecodeURLName(Name * name) {
    Mu::UniString const & text = name->ToString();
    unsigned int const first = text.FindFirst(Mu::UniChar('%'));
    if (first == Mu::NotFound)
        return;
    Mu::UniString decoded(text, 0, first);
    for (unsigned int i = first; i < text.GetLength(); ++i) {
        bool const escape = IsEscape(text, i);
        unsigned int const unit =
            escape ? 16 * GetValue(text[i + 1]) + GetValue(text[i + 2]) : text[i];
        decoded.Append(Mu::UniChar(static_cast<unsigned short>(unit)));
        i += escape ? 2 : 0;
    }
    *name = decoded;
}

void AppendNamesToURL(Mu::UniString & url, Address const & names, std::u16string_view escaped) {
    Name name;
    for (unsigned int i = 0, count = names.GetLength(); i < count; ++i) {
        if (names.GetName(i, &name) != NoError)
            Mu::ThrowOutOfMemory();
        EncodeURLName(&name, escaped);
        if (i != 0)
            url.Append(Mu::UniChar('/'));
        url.Append(name.ToString());
    }
}

void AppendNamesOfURL(Address & names, std::u16string_view path) {
    while (!path.empty()) {
        std::size_t const end = std::min(path.find(u'/'), path.size());
        AppendNameOfURL(names, path.substr(0, end));
        path.remove_prefix(std::min(end + 1, path.size()));
    }
}

void AppendNameOfURL(Address & names, std::u16string_view piece) {
    Name name(piece);
    DecodeURLName(&name);
    (void)names.Append(name); // a failure remains in the address, which the caller checks
}

bool IsURLWord(std::u16string_view text, std::u16string_view word) {
    return std::equal(text.begin(), text.end(), word.begin(), word.end(),
                      [](char16_t unit, char16_t lower) { return ToLower(unit) == lower; });
}

std::u16string_view SkipURLMark(std::u16string_view text) {
    return IsURLWord(text.substr(0, 4), u"url:") ? text.substr(4) : text;
}

} // namespace IO
