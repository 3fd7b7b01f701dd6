#include <Kestrel/Location/Platform/NativeText.h>

#include <Kestrel/Root/Text/CaseMapping.h>
#include <Kestrel/Root/Text/CodeUnits.h>

#include <cstring>

namespace IO {
namespace {

constexpr char16_t StrayByte = 0xDC00;       // plus the byte, which is 0x80 or more
constexpr char16_t HiddenSeparator = 0xF05C; // stands for a `\` within a name

unsigned char ByteAt(std::string_view text, std::size_t index) {
    return index < text.size() ? static_cast<unsigned char>(text[index]) : 0;
}

struct CodePoint {
    unsigned int value;
    unsigned int bytes; // 0: the first byte begins no valid sequence
};

// The shortest form only, and no surrogates.
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
        return text->Put(static_cast<char16_t>(value == '\\' ? HiddenSeparator : value));
    return text->Put(static_cast<char16_t>(0xD7C0 + (value >> 10))) &&
           text->Put(static_cast<char16_t>(0xDC00 + (value & 0x3FF)));
}

bool IsHighSurrogate(char16_t unit) {
    return unit >= 0xD800 && unit < 0xDC00;
}
bool IsLowSurrogate(char16_t unit) {
    return unit >= 0xDC00 && unit < 0xE000;
}

// Writes the bytes of the first character of `name` and returns how many units it has; 0: no name
// of this system holds it.
unsigned int EncodeFirst(PathText name, char (&bytes)[4], unsigned int * count) {
    char16_t const unit = name[0];
    unsigned int value = unit == HiddenSeparator ? '\\' : unit;
    unsigned int units = 1;
    if (unit >= StrayByte + 0x80 && unit <= StrayByte + 0xFF) {
        bytes[0] = static_cast<char>(unit - StrayByte);
        *count = 1;
        return 1;
    }
    if (IsHighSurrogate(unit) && name.size() > 1 && IsLowSurrogate(name[1])) {
        value = 0x10000 + ((unit - 0xD800u) << 10) + (name[1] - 0xDC00u);
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
    while (!name.empty()) {
        // Nearly every name is plain ASCII.
        if (ByteAt(name, 0) < 0x80 && name[0] != '\\') {
            if (!text->Put(static_cast<char16_t>(name[0])))
                return false;
            name.remove_prefix(1);
            continue;
        }
        CodePoint point = Decode(name);
        if (point.value == HiddenSeparator)
            point.bytes = 0; // a real one must not be taken for a hidden `\`
        if (point.bytes == 0) {
            if (!text->Put(static_cast<char16_t>(StrayByte + ByteAt(name, 0))))
                return false;
            point.bytes = 1;
        } else if (!PutCodePoint(point.value, text)) {
            return false;
        }
        name.remove_prefix(point.bytes);
    }
    text->units[text->length] = 0;
    return true;
}

unsigned int AppendNativeName(PathText name, BytePath * path) {
    while (!name.empty()) {
        if (name[0] != 0 && name[0] < 0x80 && path->length + 1 < BytePath::Size) {
            path->text[path->length++] = static_cast<char>(name[0]);
            name.remove_prefix(1);
            continue;
        }
        char bytes[4];
        unsigned int count = 0;
        unsigned int const units = EncodeFirst(name, bytes, &count);
        if (units == 0)
            return FileError::InvalidName;
        if (!path->Append(std::string_view(bytes, count)))
            return FileError::NameTooLong;
        name.remove_prefix(units);
    }
    path->Truncate(path->length);
    return FileError::None;
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
