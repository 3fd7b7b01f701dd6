#include <Kestrel/Root/Internal/PreferenceText.h>

#include <algorithm>
#include <charconv>

namespace Mu {

namespace {

bool IsBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r';
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

} // namespace

bool FindPreference(std::string_view text, std::string_view key, std::string_view name,
                    std::string_view * value) {
    constexpr std::string_view ByteOrderMark = "\xEF\xBB\xBF";
    bool inside = false;
    if (text.starts_with(ByteOrderMark))
        text.remove_prefix(ByteOrderMark.size());
    while (!text.empty()) {
        std::string_view const line = Trim(text.substr(0, text.find('\n')));
        text.remove_prefix(std::min(text.find('\n'), text.size() - 1) + 1);
        if (line.empty() || IsComment(line))
            continue;
        std::size_t const equals = line.find('=');
        if (IsSection(line)) {
            inside = IsSame(Trim(line.substr(1, line.size() - 2)), key);
        } else if (inside && equals != line.npos && IsSame(Trim(line.substr(0, equals)), name)) {
            *value = Trim(line.substr(equals + 1));
            return true;
        }
    }
    return false;
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
