#include <Kestrel/FileType/Internal/SharedMimeFiles.h>

#include <Kestrel/FileType/FileType.h>

#include <algorithm>
#include <bit>
#include <charconv>

namespace FTM {

namespace {

/// Takes the front of the text off, up to the separator, which goes too; all of it without one.
std::string_view TakeUntil(std::string_view & text, char separator) {
    std::size_t const end = text.find(separator);
    std::string_view const front = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return front;
}

/// The next line; a copy of a catalogue may have gone through a program that ends lines in two bytes.
std::string_view TakeLine(std::string_view & text) {
    std::string_view line = TakeUntil(text, '\n');
    if (!line.empty() && line.back() == '\r')
        line.remove_suffix(1);
    return line;
}

bool IsEmptyLine(std::string_view line) {
    return line.empty() || line.front() == '#';
}

bool ReadNumber(std::string_view text, unsigned int * number) {
    auto const result = std::from_chars(text.data(), text.data() + text.size(), *number);
    return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

/// The rules, from a text that the reader walks along.
class MagicReader {
public:
    MagicReader(char * text, std::size_t size) : at(text), end(text + size) {}

    bool ReadHead() {
        static constexpr std::string_view head("MIME-Magic\0\n", 12);
        if (Left().substr(0, head.size()) != head)
            return false;
        at += head.size();
        return true;
    }
    bool IsAtEnd() const { return at == end; }
    bool IsAtSection() const { return !IsAtEnd() && *at == '['; }

    /// "[priority:name]"; the priority decides between types, which a content test cannot.
    bool ReadSection(std::string_view * mime) {
        ++at;
        unsigned int priority;
        std::string_view line;
        if (!TakeLine(&line) || line.empty() || line.back() != ']')
            return false;
        line.remove_suffix(1);
        if (!ReadNumber(TakeUntil(line, ':'), &priority))
            return false;
        *mime = line;
        return IsMimeName(line);
    }

    /// "level>offset=value&mask~word+places", the value behind its length of two bytes.
    bool ReadRule(ContentRules::Rule * rule) {
        rule->level = 0;
        if (!IsAtEnd() && *at != '>' && !TakeNumber(&rule->level))
            return false;
        unsigned int wordSize = 1;
        if (!Take('>') || !TakeNumber(&rule->offset) || !Take('=') || end - at < 2)
            return false;
        std::size_t const length = static_cast<std::size_t>(static_cast<unsigned char>(at[0]))
                                       << 8 |
                                   static_cast<unsigned char>(at[1]);
        at += 2;
        char * const value = at;
        if (length == 0 || !TakeBytes(length, &rule->value))
            return false;
        char * mask = nullptr;
        if (Take('&')) {
            mask = at;
            if (!TakeBytes(length, &rule->mask))
                return false;
        }
        if (Take('~') && !TakeNumber(&wordSize))
            return false;
        if (Take('+') && !TakeNumber(&rule->places))
            return false;
        if (!Take('\n') || rule->places == 0 || wordSize == 0 || length % wordSize != 0)
            return false;
        if (std::endian::native == std::endian::little && wordSize > 1) {
            Reverse(value, length, wordSize);
            Reverse(mask, mask == nullptr ? 0 : length, wordSize);
        }
        return true;
    }

private:
    std::string_view Left() const { return {at, static_cast<std::size_t>(end - at)}; }

    bool Take(char c) {
        bool const isThere = !IsAtEnd() && *at == c;
        at += isThere ? 1 : 0;
        return isThere;
    }

    bool TakeNumber(unsigned int * number) {
        auto const result = std::from_chars(at, end, *number);
        at += result.ptr - at;
        return result.ec == std::errc();
    }

    bool TakeBytes(std::size_t length, std::string_view * bytes) {
        if (Left().size() < length)
            return false;
        *bytes = Left().substr(0, length);
        at += length;
        return true;
    }

    bool TakeLine(std::string_view * line) {
        std::size_t const length = Left().find('\n');
        return length != std::string_view::npos && TakeBytes(length, line) && Take('\n');
    }

    static void Reverse(char * bytes, std::size_t length, std::size_t wordSize) {
        for (std::size_t i = 0; i < length; i += wordSize)
            std::reverse(bytes + i, bytes + i + wordSize);
    }

    char * at;
    char * end;
};

} // namespace

bool IsMimeName(std::string_view text) {
    std::size_t const slash = text.find('/');
    return slash != std::string_view::npos && slash > 0 && slash + 1 < text.size() &&
           text.size() <= FileType::MaxPiece &&
           std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c < 127; });
}

bool ReadSharedMimePairs(std::string_view text, char separator, Mu::Array<SharedMimePair> & pairs) {
    while (!text.empty()) {
        std::string_view line = TakeLine(text);
        if (IsEmptyLine(line))
            continue;
        std::string_view const first = TakeUntil(line, separator);
        if (!IsMimeName(first) || line.empty())
            return false;
        pairs.Push({first, line});
    }
    return true;
}

bool ReadSharedMimeGlobs(std::string_view text, Mu::Array<SharedMimeGlob> & globs) {
    while (!text.empty()) {
        std::string_view line = TakeLine(text);
        if (IsEmptyLine(line))
            continue;
        SharedMimeGlob glob{};
        if (!ReadNumber(TakeUntil(line, ':'), &glob.weight))
            return false;
        glob.mime = TakeUntil(line, ':');
        glob.pattern = TakeUntil(line, ':');
        for (std::string_view flags = TakeUntil(line, ':'); !flags.empty();)
            glob.respectsCase |= TakeUntil(flags, ',') == "cs";
        bool const hasZero = glob.pattern.find('\0') != std::string_view::npos;
        if (!IsMimeName(glob.mime) || glob.pattern.empty() || hasZero)
            return false;
        globs.Push(glob);
    }
    return true;
}

bool ReadSharedMimeMagic(char * text, std::size_t size, Mu::Array<SharedMimeRule> & rules) {
    MagicReader reader(text, size);
    if (!reader.ReadHead())
        return false;
    std::string_view mime;
    unsigned int deepest = 0; // what the next rule may be at
    while (!reader.IsAtEnd()) {
        if (reader.IsAtSection()) {
            if (!reader.ReadSection(&mime))
                return false;
            deepest = 0;
            continue;
        }
        SharedMimeRule rule{mime, {}};
        if (mime.empty() || !reader.ReadRule(&rule.rule) || rule.rule.level > deepest)
            return false;
        deepest = rule.rule.level + 1;
        rules.Push(rule);
    }
    return true;
}

} // namespace FTM
