#include <Kestrel/Location/Platform/NativeText.h>

#include <Kestrel/Root/Internal/UnitRuns.h>
#include <Kestrel/Root/Text/CaseMapping.h>
#include <Kestrel/Root/Text/CodeUnits.h>

#include <algorithm>
#include <cstring>

namespace IO {
namespace {

// The ranges of units that stand for something other than themselves.
constexpr char16_t StrayByte = 0xEF00; // plus the byte, which is 0x80 or more
constexpr char16_t Replaced = 0xF000;  // plus the character
constexpr char16_t WordMark = 0xF000;  // behind a reserved word; stands for nothing

bool IsStrayByte(unsigned int unit) {
    return unit >= StrayByte + 0x80 && unit <= StrayByte + 0xFF;
}

enum class Kind : unsigned char {
    Plain,
    Final,    // reserved as the last character of a name
    Reserved, // anywhere
    NoAscii
};

struct KindTable {
    constexpr KindTable() {
        for (unsigned int byte = 0; byte < 0x100; ++byte)
            kinds[byte] = byte < 0x20 ? Kind::Reserved : byte < 0x80 ? Kind::Plain : Kind::NoAscii;
        for (unsigned char const c : {'"', '*', ':', '<', '>', '?', '\\', '|'})
            kinds[c] = Kind::Reserved;
        for (unsigned char const c : {'.', ' '})
            kinds[c] = Kind::Final;
    }
    constexpr Kind operator[](char byte) const { return kinds[static_cast<unsigned char>(byte)]; }
    Kind kinds[0x100] = {};
};

constexpr KindTable kindOf;

bool StaysInside(char byte) {
    return kindOf[byte] <= Kind::Final;
}

// Turns one separator into the other.
constexpr unsigned char Exchange = '/' ^ '\\';

// Which bytes do not stand for themselves, as the table says.
constexpr auto areReplaced = [](auto bytes) {
    return (bytes < 0x20) | (bytes >= 0x80) | (bytes == '"') | (bytes == '*') | (bytes == ':') |
           (bytes == '<') | (bytes == '>') | (bytes == '?') | (bytes == '\\') | (bytes == '|');
};

static_assert([] {
    for (unsigned int byte = 0; byte < 0x100; ++byte)
        if ((areReplaced(static_cast<unsigned char>(byte)) != 0) !=
            (kindOf[static_cast<char>(byte)] > Kind::Final))
            return false;
    return true;
}());

// Includes WordMark.
bool IsReplacement(unsigned int unit) {
    return unit >= Replaced && unit < Replaced + 0x80u &&
           kindOf[static_cast<char>(unit - Replaced)] != Kind::Plain;
}

// Names that Windows reserves for devices, in any case, so that all spellings of one are treated
// alike.
bool IsReservedWord(std::string_view name) {
    if (name.size() != 3 && name.size() != 4)
        return false;
    char word[3];
    for (unsigned int i = 0; i < 3; ++i)
        word[i] = static_cast<char>(name[i] | 0x20);
    std::string_view const begin(word, 3);
    if (name.size() == 3)
        return begin == "aux" || begin == "con" || begin == "nul" || begin == "prn";
    return (begin == "com" || begin == "lpt") && name[3] >= '1' && name[3] <= '9';
}

bool IsDots(std::string_view name) {
    return name == "." || name == "..";
}

// What is converted: one name, in which units are replaced, or a text for people to read.
enum class Form : unsigned char { Name, Text };

unsigned char ByteAt(std::string_view text, std::size_t index) {
    return index < text.size() ? static_cast<unsigned char>(text[index]) : 0;
}

struct CodePoint {
    unsigned int value;
    unsigned int bytes; // 0: the first byte starts no valid sequence
};

// Accepts the shortest form only, and no surrogates.
CodePoint DecodeLong(std::string_view text, unsigned int bytes, unsigned int first,
                     unsigned int least) {
    unsigned int value = first;
    for (unsigned int i = 1; i < bytes; ++i) {
        unsigned char const next = ByteAt(text, i);
        if ((next & 0xC0) != 0x80)
            return {0, 0};
        value = value << 6 | (next & 0x3F);
    }
    if (value < least || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF))
        return {0, 0};
    return {value, bytes};
}

CodePoint Decode(std::string_view text) {
    unsigned char const lead = ByteAt(text, 0);
    if (lead < 0x80)
        return {lead, 1};
    if (lead >= 0xC0 && lead < 0xE0)
        return DecodeLong(text, 2, lead & 0x1F, 0x80);
    if (lead >= 0xE0 && lead < 0xF0)
        return DecodeLong(text, 3, lead & 0x0F, 0x800);
    if (lead >= 0xF0 && lead < 0xF8)
        return DecodeLong(text, 4, lead & 0x07, 0x10000);
    return {0, 0};
}

bool PutCodePoint(unsigned int value, TextBuffer * text) {
    if (value < 0x10000)
        return text->Put(static_cast<char16_t>(value));
    return text->Put(static_cast<char16_t>(0xD7C0 + (value >> 10))) &&
           text->Put(static_cast<char16_t>(0xDC00 + (value & 0x3FF)));
}

// Appends the first character and removes it from the input. One that would be read back as
// something else is converted byte by byte, like invalid UTF-8.
bool PutFirst(std::string_view * bytes, Form form, TextBuffer * text) {
    CodePoint const point = Decode(*bytes);
    bool const isName = form == Form::Name;
    bool const isItself =
        point.bytes != 0 && !IsStrayByte(point.value) && !(isName && IsReplacement(point.value));
    unsigned int const first = ByteAt(*bytes, 0);
    bool const isReplaced = isName && first < 0x80 && !StaysInside((*bytes)[0]);
    bytes->remove_prefix(isItself ? point.bytes : 1);
    if (!isItself)
        return text->Put(static_cast<char16_t>(StrayByte + first));
    return PutCodePoint(isReplaced ? Replaced + first : point.value, text);
}

bool IsHighSurrogate(char16_t unit) {
    return unit >= 0xD800 && unit < 0xDC00;
}
bool IsLowSurrogate(char16_t unit) {
    return unit >= 0xDC00 && unit < 0xE000;
}

// Writes the bytes of the first character of `text` and returns how many units it has; 0: no name
// of this system can contain it.
unsigned int EncodeFirst(PathText text, Form form, char (&bytes)[4], unsigned int * count) {
    char16_t const unit = text[0];
    unsigned int value = unit;
    unsigned int units = 1;
    bool const isReplaced = form == Form::Name && IsReplacement(unit);
    if (isReplaced || IsStrayByte(unit)) {
        bytes[0] = static_cast<char>(unit - (isReplaced ? Replaced : StrayByte));
        *count = isReplaced && unit == WordMark ? 0 : 1;
        return 1;
    }
    if (IsHighSurrogate(unit) && text.size() > 1 && IsLowSurrogate(text[1])) {
        value = 0x10000 + ((unit - 0xD800u) << 10) + (text[1] - 0xDC00u);
        units = 2;
    } else if (unit == 0 || IsHighSurrogate(unit) || IsLowSurrogate(unit)) {
        return 0;
    }
    unsigned int const length = value < 0x80 ? 1 : value < 0x800 ? 2 : value < 0x10000 ? 3 : 4;
    static constexpr unsigned char leads[5] = {0, 0, 0xC0, 0xE0, 0xF0};
    for (unsigned int i = length; --i > 0; value >>= 6)
        bytes[i] = static_cast<char>(0x80 | (value & 0x3F));
    bytes[0] = static_cast<char>(leads[length] | value);
    *count = length;
    return units;
}

// Copies unreplaced characters up to the first other one or the end of the buffer.
void PutPlain(std::string_view * bytes, TextBuffer * text) {
    unsigned int const left = text->size - text->length;
    std::size_t const most = std::min<std::size_t>(bytes->size(), left < 2 ? 0 : left - 1);
    char16_t * const to = text->units + text->length;
    unsigned int count = 0;
    for (; count < most && StaysInside((*bytes)[count]); ++count)
        to[count] = static_cast<char16_t>((*bytes)[count]);
    text->length += count;
    bytes->remove_prefix(count);
}

bool Finish(TextBuffer * text) {
    text->units[text->length] = 0;
    return true;
}

bool IsPlain(char16_t unit) {
    return unit != 0 && unit < 0x80;
}

unsigned int AppendEncoded(PathText text, Form form, BytePath * path) {
    for (;;) {
        char * const to = path->text + path->length;
        std::size_t const most =
            std::min<std::size_t>(text.size(), BytePath::Size - 1 - path->length);
        unsigned int plain = 0;
        for (; plain < most && IsPlain(text[plain]); ++plain)
            to[plain] = static_cast<char>(text[plain]);
        path->length += plain;
        text.remove_prefix(plain);
        if (text.empty())
            break;
        char bytes[4];
        unsigned int count = 0;
        unsigned int const units = EncodeFirst(text, form, bytes, &count);
        if (units == 0)
            return FileError::InvalidName;
        if (!path->Append(std::string_view(bytes, count)))
            return FileError::NameTooLong;
        text.remove_prefix(units);
    }
    path->Truncate(path->length);
    return FileError::None;
}

} // namespace

bool BytePath::Append(std::string_view more) {
    if (more.size() >= Size - length)
        return false;
    more.copy(text + length, more.size());
    Truncate(length + static_cast<unsigned int>(more.size()));
    return true;
}

bool BytePath::AppendName(std::string_view name) {
    if (name.size() + 1 >= Size - length)
        return false;
    if (length == 0 || text[length - 1] != '/')
        text[length++] = '/';
    return Append(name);
}

bool BytePath::Replace(unsigned int from, unsigned int count, std::string_view replacement) {
    if (replacement.size() >= Size - (length - count))
        return false;
    unsigned int const size = static_cast<unsigned int>(replacement.size());
    std::memmove(text + from + size, text + from + count, length - from - count);
    replacement.copy(text + from, size);
    Truncate(length - count + size);
    return true;
}

bool AppendPortableName(std::string_view name, TextBuffer * text) {
    // Nearly every name is plain ASCII.
    std::string_view rest = name;
    for (PutPlain(&rest, text); !rest.empty(); PutPlain(&rest, text))
        if (!PutFirst(&rest, Form::Name, text))
            return false;
    if (IsReservedWord(name) && !text->Put(WordMark))
        return false;
    if (!name.empty() && kindOf[name.back()] == Kind::Final && !IsDots(name))
        text->units[text->length - 1] += Replaced;
    return Finish(text);
}

bool AppendPlainPath(std::string_view path, TextBuffer * text) {
    if (path.empty() || text->size - text->length <= path.size())
        return false;
    using Mu::UnitRuns::Any;
    // That no byte is replaced, and no name is empty or ends like one whose last byte is.
    auto const areNoPlainNames = [](auto bytes, auto next) {
        return areReplaced(bytes) |
               ((next == '/') & ((bytes == '/') | (bytes == '.') | (bytes == ' ')));
    };
    std::size_t const size = path.size();
    if (path[0] != '/' || path[size - 1] == '/' || kindOf[path[size - 1]] != Kind::Plain ||
        Any(size - 1, areNoPlainNames, path.data(), path.data() + 1))
        return false;
    // Few names begin and end like a reserved word; the last one has no separator behind it.
    auto const mayBeWords = [](auto begin, auto first, auto second, auto afterThree,
                               auto afterFour) {
        auto const letter = first | 0x20;
        return (begin == '/') & (second != '/') & ((afterThree == '/') | (afterFour == '/')) &
               ((letter == 'a') | (letter == 'c') | (letter == 'l') | (letter == 'n') |
                (letter == 'p'));
    };
    char const * const at = path.data();
    bool const isShort = size <= 16;
    bool const mayHoldWord =
        isShort || Any(size - 5, mayBeWords, at, at + 1, at + 2, at + 4, at + 5);
    std::size_t end = mayHoldWord ? 0 : path.find('/', size - 5);
    while (end < size) {
        std::size_t const begin = end + 1;
        end = std::min(path.find('/', begin), size);
        if (IsReservedWord(path.substr(begin, end - begin)))
            return false;
    }
    Mu::UnitRuns::ConvertAll(path.data(), path.size(), text->units + text->length,
                             [](auto bytes) { return bytes ^ (Exchange & (bytes == '/')); });
    text->length += static_cast<unsigned int>(path.size());
    return Finish(text);
}

bool AppendPlainNames(PathText names, BytePath * path) {
    if (names.empty() || !IsSeparator(names[0]) || names.size() >= BytePath::Size - path->length)
        return false;
    using namespace Mu::UnitRuns;
    auto const areAbove = [](auto units) { return units >= 0x80; };
    auto const areSeparators = [](auto a, auto b) { return (a == '/') & (b == '/'); };
    bool const isClosed = path->length != 0 && path->text[path->length - 1] == '/';
    unsigned int const begin = path->length - (isClosed ? 1 : 0);
    char * const to = path->text + begin;
    std::size_t const size = names.size();
    ConvertAll(names.data(), size, to,
               [](auto units) { return units ^ (Exchange & (units == '\\')); });
    bool const isPlain = !Any(size, areAbove, names.data()) && !Any(size, areReplaced, to) &&
                         !Any(size - 1, areSeparators, to, to + 1) && to[size - 1] != '/';
    path->Truncate(isPlain ? begin + static_cast<unsigned int>(size) : path->length);
    return isPlain;
}

unsigned int AppendNativeName(PathText name, BytePath * path) {
    unsigned int const begin = path->length;
    if (unsigned int const error = AppendEncoded(name, Form::Name, path); error != FileError::None)
        return error;
    // Replacement units must not form a path to another folder.
    std::string_view const native = path->GetText().substr(begin);
    bool const leads = native.empty() ? !name.empty()
                                      : IsDots(native) && name.find_first_not_of(u'.') != name.npos;
    return leads ? FileError::InvalidName : FileError::None;
}

unsigned int MeasureNativeName(PathText name) {
    BytePath bytes;
    if (std::all_of(name.begin(), name.end(), IsPlain))
        return static_cast<unsigned int>(name.size());
    return AppendNativeName(name, &bytes) == FileError::None ? bytes.length : 0;
}

bool AppendPortableText(std::string_view bytes, TextBuffer * text) {
    while (!bytes.empty())
        if (!PutFirst(&bytes, Form::Text, text))
            return false;
    return Finish(text);
}

unsigned int AppendNativeText(PathText text, BytePath * path) {
    return AppendEncoded(text, Form::Text, path);
}

unsigned int HashNameUpperCased(std::string_view name) {
    char16_t units[MaxNameBytes + 1];
    TextBuffer text{units, MaxNameBytes + 1, 0};
    AppendPortableName(name, &text);
    return Mu::HashUnitsUpperCased(Mu::ToUnits(units), text.length);
}

bool IsSameSpelling(PathText a, PathText b) {
    return a.size() == b.size() &&
           Mu::EqualUnitsUpperCased(Mu::ToUnits(a.data()), Mu::ToUnits(b.data()),
                                    static_cast<unsigned int>(a.size()));
}

bool IsSpellingOf(std::string_view name, PathText other) {
    char16_t units[MaxNameBytes + 1];
    TextBuffer text{units, MaxNameBytes + 1, 0};
    return AppendPortableName(name, &text) && IsSameSpelling(text.GetText(), other);
}

} // namespace IO
