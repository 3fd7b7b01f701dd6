#include <Kestrel/Root/Internal/PreferenceText.h>

#include <algorithm>
#include <charconv>

namespace Mu {

namespace {

bool IsBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r';
}
bool IsControl(char c) {
    return static_cast<unsigned char>(c) < 32 || c == 127;
}
char ToLower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}

std::string_view Trim(std::string_view text) {
    while (!text.empty() && IsBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && IsBlank(text.back()))
        text.remove_suffix(1);
    return text;
}

bool IsSame(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return ToLower(x) == ToLower(y); });
}

bool IsComment(std::string_view line) {
    return line.front() == '#' || line.front() == ';';
}

bool IsSection(std::string_view line) {
    return line.front() == '[' && line.back() == ']';
}

bool IsClean(std::string_view text) {
    return !std::any_of(text.begin(), text.end(), IsControl) && Trim(text) == text;
}

} // namespace

PreferencePlace FindPreference(std::string_view text, std::string_view key, std::string_view name) {
    constexpr std::string_view ByteOrderMark = "\xEF\xBB\xBF";
    PreferencePlace place;
    bool inside = false;
    std::size_t end;
    for (std::size_t begin = text.starts_with(ByteOrderMark) ? 3 : 0; begin < text.size();
         begin = end) {
        end = std::min(text.find('\n', begin), text.size() - 1) + 1;
        std::string_view whole = text.substr(begin, end - begin);
        if (whole.back() == '\n')
            whole.remove_suffix(1);
        std::string_view const line = Trim(whole);
        if (line.empty())
            continue;
        if (IsSection(line)) {
            inside = IsSame(Trim(line.substr(1, line.size() - 2)), key);
            place.section = place.section || inside;
        }
        if (!inside)
            continue;
        place.insertion = end;
        std::size_t const equals = line.find('=');
        if (IsComment(line) || IsSection(line) || equals == line.npos ||
            !IsSame(Trim(line.substr(0, equals)), name))
            continue;
        place.found = true;
        place.lineBegin = begin;
        place.lineEnd = end;
        place.value = Trim(line.substr(equals + 1));
        return place;
    }
    return place;
}

bool IsPreferenceKey(std::string_view key) {
    return !key.empty() && IsClean(key) && key.find_first_of("[]") == key.npos;
}

bool IsPreferenceName(std::string_view name) {
    return !name.empty() && IsClean(name) && name.find('=') == name.npos && name.front() != '[' &&
           !IsComment(name);
}

bool IsPreferenceValue(std::string_view value) {
    return IsClean(value);
}

bool ParsePreference(std::string_view value, unsigned int * number) {
    value = Trim(value.substr(0, value.find_first_of("#;")));
    int base = 10;
    if (value.starts_with("0x") || value.starts_with("0X")) {
        base = 16;
        value.remove_prefix(2);
    }
    char const * const end = value.data() + value.size();
    unsigned int parsed = 0;
    auto const result = std::from_chars(value.data(), end, parsed, base);
    if (result.ec != std::errc() || result.ptr != end)
        return false;
    *number = parsed;
    return true;
}

} // namespace Mu
