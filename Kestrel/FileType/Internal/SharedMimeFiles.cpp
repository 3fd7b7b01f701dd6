#include <Kestrel/FileType/Internal/SharedMimeFiles.h>

#include <Kestrel/FileType/FileType.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstring>

namespace FTM {

namespace {

/// Removes and returns the front of the text up to the separator, which is removed, too, and
/// becomes a zero byte; without one, the whole text.
std::string_view TakeUntil(std::string_view & text, char separator) {
    std::size_t const end = text.find(separator);
    std::string_view const front = text.substr(0, end);
    if (end != std::string_view::npos)
        const_cast<char &>(text[end]) = 0; // the text of SharedMimeLines
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return front;
}

/// As TakeUntil, for a number in decimal digits.
bool TakeNumberUntil(std::string_view & text, char separator, unsigned int * number) {
    char const * const end = text.data() + text.size();
    auto const result = std::from_chars(text.data(), end, *number);
    if (result.ec != std::errc() || result.ptr == end || *result.ptr != separator)
        return false;
    text.remove_prefix(static_cast<std::size_t>(result.ptr + 1 - text.data()));
    return true;
}

/// Whether all bytes are above the space and below 127. Eight at a time: a byte that is too small
/// borrows from its highest bit or has it set, and one that is too large carries into it.
bool IsVisibleAscii(std::string_view text) {
    static constexpr unsigned long long each = 0x0101010101010101;
    unsigned long long bad = 0;
    unsigned long long bytes;
    auto const look = [&] { bad |= (bytes - each * '!') | (bytes + each) | bytes; };
    char const * at = text.data();
    char const * const end = at + text.size();
    for (; end - at >= 8; at += 8) {
        std::memcpy(&bytes, at, sizeof bytes);
        look();
    }
    bytes = each * '!';
    if (text.size() >= sizeof bytes) // overlapping the bytes before
        std::memcpy(&bytes, end - sizeof bytes, sizeof bytes);
    else
        while (at != end)
            bytes = bytes << 8 | static_cast<unsigned char>(*at++);
    look();
    return (bad & each << 7) == 0;
}

} // namespace

bool IsMimeName(std::string_view text) {
    std::size_t const slash = text.find('/');
    return slash != std::string_view::npos && slash > 0 && slash + 1 < text.size() &&
           text.size() <= FileType::MaxPiece && IsVisibleAscii(text);
}

bool SharedMimeLines::Fail() {
    isGood = false;
    return false;
}

/// The next line with content; a program that copied the catalogue may have changed its line ends
/// to two bytes.
bool SharedMimeLines::TakeLine(std::string_view * line) {
    while (at != end) {
        std::string_view text(at, static_cast<std::size_t>(end - at));
        *line = TakeUntil(text, '\n');
        at = end - text.size();
        if (!line->empty() && line->back() == '\r') {
            line->remove_suffix(1);
            const_cast<char &>(line->data()[line->size()]) = 0;
        }
        if (!line->empty() && line->front() != '#')
            return true;
    }
    return false;
}

bool SharedMimeLines::ReadGlob(SharedMimeGlob * glob) {
    std::string_view line;
    if (!TakeLine(&line))
        return false;
    if (!TakeNumberUntil(line, ':', &glob->weight))
        return Fail();
    glob->mime = TakeUntil(line, ':');
    glob->pattern = TakeUntil(line, ':');
    glob->respectsCase = false;
    if (!line.empty())
        for (std::string_view flags = TakeUntil(line, ':'); !flags.empty();)
            glob->respectsCase |= TakeUntil(flags, ',') == "cs";
    return !glob->pattern.empty() || Fail();
}

bool SharedMimeLines::ReadPair(char separator, std::string_view * first,
                               std::string_view * second) {
    if (!TakeLine(second))
        return false;
    *first = TakeUntil(*second, separator);
    return (IsMimeName(*first) && !second->empty()) || Fail();
}

SharedMimeMagic::SharedMimeMagic(ContentRules & rules)
    : rules(rules), begin(rules.text.IsEmpty() ? nullptr : &rules.text[0]), at(begin),
      end(begin + rules.text.GetLength()) {
    static constexpr std::string_view head("MIME-Magic\0\n", 12);
    isGood = begin == end || std::string_view(rules.text).substr(0, head.size()) == head;
    if (isGood && begin != end)
        at += head.size();
}

bool SharedMimeMagic::ReadSection(std::string_view * mime, ContentRules::Test * test) {
    if (!isGood || at == end)
        return false;
    isGood = ReadHead(mime);
    *test = {rules.rules.GetSize(), 0};
    for (unsigned int deepest = 0; isGood && at != end && *at != '['; ++test->ruleCount) {
        ContentRules::Rule & rule = rules.rules.Emplace();
        isGood = ReadRule(&rule) && rule.level <= deepest;
        deepest = rule.level + 1;
    }
    return isGood;
}

/// "[priority:name]"; the priority decides between types, which a content test cannot.
bool SharedMimeMagic::ReadHead(std::string_view * mime) {
    unsigned int priority;
    if (!Take('[') || !TakeNumber(&priority) || !Take(':'))
        return false;
    *mime = std::string_view(at, static_cast<std::size_t>(end - at));
    std::size_t const length = mime->find('\n');
    if (length == std::string_view::npos || length == 0 || at[length - 1] != ']')
        return false;
    *mime = mime->substr(0, length - 1);
    at[length - 1] = 0;
    at += length + 1;
    return true;
}

/// "level>offset=value&mask~word+places", the value after its length of two bytes.
bool SharedMimeMagic::ReadRule(ContentRules::Rule * rule) {
    unsigned int wordSize = 1;
    if (*at != '>' && !TakeNumber(&rule->level))
        return false;
    if (!Take('>') || !TakeNumber(&rule->offset) || !Take('=') || end - at < 2)
        return false;
    rule->length = static_cast<unsigned short>(static_cast<unsigned char>(at[0]) << 8 |
                                               static_cast<unsigned char>(at[1]));
    at += 2;
    rule->at = static_cast<unsigned int>(at - begin);
    if (rule->length == 0 || !TakeBytes(rule->length))
        return false;
    rule->hasMask = Take('&');
    if (rule->hasMask && !TakeBytes(rule->length))
        return false;
    if (Take('~') && !TakeNumber(&wordSize))
        return false;
    if (Take('+') && !TakeNumber(&rule->places))
        return false;
    if (!Take('\n') || rule->places == 0 || wordSize == 0 || rule->length % wordSize != 0)
        return false;
    if (std::endian::native == std::endian::little && wordSize > 1)
        for (char * bytes : {begin + rule->at, begin + rule->at + rule->length + 1})
            for (std::size_t i = 0; i < rule->length; i += wordSize)
                if (bytes == begin + rule->at || rule->hasMask)
                    std::reverse(bytes + i, bytes + i + wordSize);
    return true;
}

bool SharedMimeMagic::Take(char c) {
    bool const isThere = at != end && *at == c;
    at += isThere ? 1 : 0;
    return isThere;
}

bool SharedMimeMagic::TakeNumber(unsigned int * number) {
    auto const result = std::from_chars(at, end, *number);
    at += result.ptr - at;
    return result.ec == std::errc();
}

bool SharedMimeMagic::TakeBytes(std::size_t count) {
    if (static_cast<std::size_t>(end - at) < count)
        return false;
    at += count;
    return true;
}

} // namespace FTM
