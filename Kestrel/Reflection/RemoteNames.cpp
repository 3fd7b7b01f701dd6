// How the names and values of another process are written in entries.

#include <Kestrel/Reflection/Internal/RemoteTree.h>
#include <Kestrel/Root/Internal/Utf8.h>

#include <algorithm>
#include <string_view>

namespace IO {

namespace {

using Text = std::u16string_view;

constexpr char16_t Digits[] = u"0123456789ABCDEF";

int ToDigit(char16_t unit) {
    std::size_t const digit =
        Text(Digits, 16)
            .find(unit >= u'a' && unit <= u'f' ? static_cast<char16_t>(unit - 32) : unit);
    return digit == Text::npos ? -1 : static_cast<int>(digit);
}

struct Character {
    unsigned int codePoint; // of a lone surrogate, its unit
    unsigned int size;      // units
};

Character GetCharacter(Text text) {
    using namespace Mu::Internal;
    bool const isPair = text.size() > 1 && IsHighSurrogate(text[0]) && IsLowSurrogate(text[1]);
    if (!isPair)
        return {text[0], 1};
    return {0x10000 + ((text[0] & 0x3FFu) << 10) + (text[1] & 0x3FFu), 2};
}

void AppendCharacter(Mu::UniString & text, unsigned int codePoint) {
    if (codePoint >= 0x10000) {
        text.Append(Mu::UniChar(static_cast<char16_t>(0xD800 + ((codePoint - 0x10000) >> 10))));
        codePoint = 0xDC00 + (codePoint & 0x3FF);
    }
    text.Append(Mu::UniChar(static_cast<char16_t>(codePoint)));
}

bool IsControl(unsigned int codePoint) {
    return codePoint < 0x20 || (codePoint >= 0x7F && codePoint < 0xA0);
}

bool IsHalf(unsigned int codePoint) {
    return codePoint >= 0xD800 && codePoint < 0xE000;
}

// Characters that a disk or a terminal rejects, and the private range, to which some disks map
// them.
bool IsRefused(unsigned int codePoint) {
    constexpr Text refused = u"%\\/:*?\"<>|";
    return IsControl(codePoint) || (codePoint >= 0xD800 && codePoint < 0xF900) ||
           (codePoint < 0x80 && refused.find(static_cast<char16_t>(codePoint)) != Text::npos);
}

// Windows takes these names for devices, with anything after a dot.
bool IsDevice(Text name) {
    constexpr Text devices[] = {u"con",  u"prn",  u"aux",    u"nul",
                                u"com#", u"lpt#", u"conin$", u"conout$"};
    Text stem = name.substr(0, name.find(u'.'));
    stem = stem.substr(0, stem.find_last_not_of(u' ') + 1);
    auto const isUnit = [](char16_t wanted, char16_t unit) {
        bool const isNumber = (unit >= u'0' && unit <= u'9') || unit == 0xB9 || unit == 0xB2 ||
                              unit == 0xB3; // superscripts count, too
        return wanted == u'#' ? isNumber
                              : wanted == (unit >= u'A' && unit <= u'Z' ? unit + 32 : unit);
    };
    return std::any_of(std::begin(devices), std::end(devices), [&](Text device) {
        return std::equal(device.begin(), device.end(), stem.begin(), stem.end(), isUnit);
    });
}

// Lone surrogates become three bytes, like any unit.
void AppendEscaped(Mu::UniString & text, unsigned int codePoint) {
    char bytes[4];
    unsigned int const size = Mu::Internal::EncodeUtf8Character(codePoint, bytes);
    for (unsigned int i = 0; i < size; ++i) {
        unsigned char const byte = static_cast<unsigned char>(bytes[i]);
        text.Append(Mu::UniChar(u'%'));
        text.Append(Mu::UniChar(Digits[byte >> 4]));
        text.Append(Mu::UniChar(Digits[byte & 15]));
    }
}

// The value of "%" and two digits, or -1.
int GetEscapedByte(Text text) {
    if (text.size() < 3 || text[0] != u'%' || ToDigit(text[1]) < 0 || ToDigit(text[2]) < 0)
        return -1;
    return ToDigit(text[1]) << 4 | ToDigit(text[2]);
}

// The character denoted by the escapes at the start of the text; its size is 0 if there is none.
Character GetEscaped(Text text) {
    int const lead = GetEscapedByte(text);
    if (lead < 0)
        return {0, 0};
    unsigned int const byte = static_cast<unsigned int>(lead);
    if (byte < 0x80)
        return {byte, 3};
    unsigned int const following = byte >= 0xF0 ? 3 : byte >= 0xE0 ? 2 : 1;
    unsigned int codePoint = byte & (0x3Fu >> following);
    for (unsigned int i = 1; i <= following; ++i) {
        int const next = GetEscapedByte(text.substr(std::min<std::size_t>(3 * i, text.size())));
        if (next < 0x80 || next > 0xBF)
            return {0, 0};
        codePoint = codePoint << 6 | (static_cast<unsigned int>(next) & 0x3F);
    }
    constexpr unsigned int least[] = {0, 0x80, 0x800, 0x10000};
    bool const isOne =
        byte >= 0xC2 && byte <= 0xF4 && codePoint >= least[following] && codePoint < 0x110000;
    return {codePoint, isOne ? 3 * (following + 1) : 0};
}

} // namespace

Name EscapeRemoteName(Name const & name, unsigned int count) {
    Text const text = name.ToString();
    bool const isDevice = IsDevice(text);
    Mu::UniString escaped;
    escaped.SetCapacity(name.GetLength());
    for (std::size_t i = 0; i < text.size();) {
        Character const character = GetCharacter(text.substr(i));
        bool const isLast = i + 1 == text.size();
        if (i < count || IsRefused(character.codePoint) || (i == 0 && isDevice) ||
            (isLast && (text[i] == u'.' || text[i] == u' ')))
            AppendEscaped(escaped, character.codePoint);
        else
            AppendCharacter(escaped, character.codePoint);
        i += character.size;
    }
    return Name(std::move(escaped));
}

bool ShortenRemoteName(Name * shown, Name const & whole) {
    constexpr unsigned int MostBytes = 120; // whole paths of Windows have less than 260 characters
    constexpr unsigned int BytesOfMark = 18;
    constexpr unsigned int BytesOfUnit = 3; // at most, in UTF-8
    if (shown->GetLength() <= MostBytes / BytesOfUnit)
        return false;
    Text const text = shown->ToString();
    unsigned int bytes = 0;
    unsigned int kept = 0;
    for (unsigned int at = 0; at < text.size() && bytes <= MostBytes;) {
        Character const character = GetCharacter(text.substr(at));
        char encoded[4];
        bytes += Mu::Internal::EncodeUtf8Character(character.codePoint, encoded);
        at += character.size;
        if (bytes <= MostBytes - BytesOfMark)
            kept = at;
    }
    if (bytes <= MostBytes)
        return false;
    unsigned long long hash = 0xCBF29CE484222325ull; // FNV-1a
    for (char16_t const unit : Text(whole.ToString()))
        hash = (hash ^ unit) * 0x100000001B3ull;
    Mu::UniString cut(shown->ToString(), 0, kept);
    cut.Append(u"%~");
    for (unsigned int shift = 64; shift > 0;)
        cut.Append(Mu::UniChar(Digits[hash >> (shift -= 4) & 15]));
    *shown = Name(std::move(cut));
    return true;
}

Name RemoteReflectionVFS::EscapeName(Name const & name) {
    return EscapeRemoteName(name, 0);
}

Name RemoteReflectionVFS::UnescapeName(Name const & name) {
    Text text = name.ToString();
    if (text.find(u'%') == Text::npos)
        return name;
    text = text.substr(0, text.find_last_not_of(u'%') + 1); // of an alternative spelling
    Mu::UniString plain;
    for (std::size_t i = 0; i < text.size();) {
        Character character = GetEscaped(text.substr(i));
        if (character.size == 0)
            character = {text[i], 1};
        AppendCharacter(plain, character.codePoint);
        i += character.size;
    }
    return Name(std::move(plain));
}

namespace {

constexpr struct {
    char16_t unit;
    char16_t letter;
} CellEscapes[] = {{u'\t', u't'}, {u'\n', u'n'}, {u'\r', u'r'}, {u'\\', u'\\'}};

} // namespace

Mu::UniString RemoteReflectionVFS::EscapeCell(Mu::UniString const & cell) {
    Text const text = cell;
    Mu::UniString escaped;
    escaped.SetCapacity(cell.GetLength());
    for (std::size_t i = 0; i < text.size();) {
        Character const character = GetCharacter(text.substr(i));
        i += character.size;
        auto const known =
            std::find_if(std::begin(CellEscapes), std::end(CellEscapes),
                         [&](auto const & escape) { return escape.unit == character.codePoint; });
        if (known != std::end(CellEscapes)) {
            escaped.Append(Mu::UniChar(u'\\'));
            escaped.Append(Mu::UniChar(known->letter));
        } else if (IsControl(character.codePoint) || IsHalf(character.codePoint)) {
            escaped.Append(u"\\u");
            for (unsigned int shift = 16; shift > 0;)
                escaped.Append(Mu::UniChar(Digits[character.codePoint >> (shift -= 4) & 15]));
        } else
            AppendCharacter(escaped, character.codePoint);
    }
    return escaped;
}

Mu::UniString RemoteReflectionVFS::UnescapeCell(Mu::UniString const & cell) {
    Text text = cell;
    Mu::UniString plain;
    while (!text.empty()) {
        std::size_t size = 1;
        unsigned int unit = text[0];
        if (unit == u'\\' && text.size() > 1) {
            auto const known =
                std::find_if(std::begin(CellEscapes), std::end(CellEscapes),
                             [&](auto const & escape) { return escape.letter == text[1]; });
            bool isNumber = text[1] == u'u' && text.size() >= 6;
            unsigned int number = 0;
            for (unsigned int i = 2; isNumber && i < 6; ++i) {
                int const digit = ToDigit(text[i]);
                isNumber = digit >= 0;
                number = number << 4 | static_cast<unsigned int>(digit & 15);
            }
            if (isNumber || known != std::end(CellEscapes)) {
                size = isNumber ? 6 : 2;
                unit = isNumber ? number : known->unit;
            }
        }
        plain.Append(Mu::UniChar(static_cast<char16_t>(unit)));
        text.remove_prefix(size);
    }
    return plain;
}

} // namespace IO
