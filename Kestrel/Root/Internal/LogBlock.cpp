#include <Kestrel/Root/Internal/LogBlock.h>

#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Root/Platform/SystemCalls.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace Mu {

namespace {

constexpr std::size_t FirstCapacity = 68 * 1024; // the logger's block, and a line beyond it

constexpr std::uint64_t EachByte(unsigned char value) {
    return ~std::uint64_t{0} / 255 * value;
}

// Whether one of eight bytes is below 32, is 127, or has its top bit set.
bool NeedsCare(char const * text) {
    std::uint64_t word;
    std::memcpy(&word, text, sizeof word);
    std::uint64_t const low = word - EachByte(32);
    std::uint64_t const deleted = (word ^ EachByte(127)) - EachByte(1);
    return ((word | low | deleted) & EachByte(128)) != 0;
}

bool IsPlain(unsigned char c) {
    return c >= 32 && c < 127;
}

std::size_t CountPlain(char const * text, std::size_t length) {
    std::size_t count = 0;
    while (length - count >= 8 && !NeedsCare(text + count))
        count += 8;
    while (count < length && IsPlain(static_cast<unsigned char>(text[count])))
        ++count;
    return count;
}

bool IsTrail(unsigned char c) {
    return (c & 0xC0) == 0x80;
}

// The number of bytes that a lead byte announces; 0 if it is not a lead byte.
unsigned int GetAnnounced(unsigned char lead) {
    return lead >= 0xC2 && lead < 0xE0   ? 2
           : (lead & 0xF0) == 0xE0       ? 3
           : lead >= 0xF0 && lead < 0xF5 ? 4
                                         : 0;
}

// The valid range of the second byte after this lead byte, which excludes overlong forms,
// surrogates and code points above U+10FFFF.
bool IsSecond(unsigned char lead, unsigned char second) {
    unsigned char const least = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    unsigned char const most = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    return second >= least && second <= most;
}

unsigned int Decode(unsigned char const * text, unsigned int length) {
    unsigned int point = text[0] & (0xFFu >> (length + 1));
    for (unsigned int i = 1; i < length; ++i)
        point = point << 6 | (text[i] & 0x3Fu);
    return point;
}

// Whether the character can manipulate a display or is invisible: control characters beyond ASCII,
// other kinds of line breaks, marks that change the direction of writing, and invisible characters.
// Joiners are allowed, since words and emoji are written with them.
bool Steers(unsigned int point) {
    static constexpr struct {
        unsigned int first;
        unsigned int last;
    } ranges[] = {{0x80, 0x9F},     {0x61C, 0x61C},    {0x180E, 0x180E}, {0x200B, 0x200B},
                  {0x200E, 0x200F}, {0x2028, 0x202E},  {0x2060, 0x206F}, {0xFEFF, 0xFEFF},
                  {0xFFF9, 0xFFFB}, {0xE0000, 0xE0FFF}};
    for (auto const & range : ranges)
        if (point <= range.last)
            return point >= range.first;
    return false;
}

// The size of the character beyond ASCII that begins here; 0 if it is invalid or not allowed in a
// log.
std::size_t CountCharacter(char const * text, std::size_t length) {
    auto const * const bytes = reinterpret_cast<unsigned char const *>(text);
    unsigned int const announced = GetAnnounced(bytes[0]);
    if (announced == 0 || announced > length || !IsSecond(bytes[0], bytes[1]))
        return 0;
    for (unsigned int i = 2; i < announced; ++i)
        if (!IsTrail(bytes[i]))
            return 0;
    return Steers(Decode(bytes, announced)) ? 0 : announced;
}

void PutDigits(char * to, unsigned int value, unsigned int digits) {
    for (; digits > 0; value /= 10)
        to[--digits] = static_cast<char>('0' + value % 10);
}

} // namespace

void LogBlock::Release() {
    if (bytes != fixed)
        DeleteOperator(bytes);
    bytes = fixed = nullptr;
    used = capacity = 0;
}

void LogBlock::Swap(LogBlock & other) {
    std::swap(bytes, other.bytes);
    std::swap(used, other.used);
    std::swap(capacity, other.capacity);
    std::swap(fixed, other.fixed);
}

bool LogBlock::Grow(std::size_t minimum) {
    std::size_t const wanted = std::max({minimum, capacity + capacity / 2, FirstCapacity});
    char * grown = static_cast<char *>(NewOperator(wanted));
    if (grown == nullptr)
        return false;
    if (used > 0)
        std::memcpy(grown, bytes, used);
    if (bytes != fixed)
        DeleteOperator(bytes);
    bytes = grown;
    capacity = wanted;
    return true;
}

bool LogBlock::Add(char const * text, std::size_t length) {
    if (length > capacity - used && !Grow(used + length))
        return false;
    if (length > 0)
        std::memcpy(bytes + used, text, length);
    used += length;
    return true;
}

bool LogBlock::AddEscaped(char const * text, std::size_t length) {
    while (length > 0) {
        std::size_t count = CountPlain(text, length);
        if (count == 0)
            count = CountCharacter(text, length);
        unsigned char const c = static_cast<unsigned char>(*text);
        char const escape[] = {'\\', 'x', "0123456789ABCDEF"[c >> 4], "0123456789ABCDEF"[c & 15]};
        bool const added = count > 0   ? Add(text, count)
                           : c == '\n' ? Add("\\n", 2)
                                       : Add(escape, sizeof escape);
        if (!added)
            return false;
        count = std::max<std::size_t>(count, 1);
        text += count;
        length -= count;
    }
    return true;
}

bool LogBlock::AddNumber(unsigned int value) {
    char digits[10];
    PutDigits(digits, value, sizeof digits);
    unsigned int first = 0;
    while (first < sizeof digits - 1 && digits[first] == '0')
        ++first;
    return Add(digits + first, sizeof digits - first);
}

bool LogBlock::AddPiece(char const * text, std::size_t length, bool escaped) {
    return escaped ? AddEscaped(text, length) : Add(text, length);
}

bool LogBlock::AddText(EventLogLine const & line, LogComposer const * composer, bool escaped) {
    char const * text = line.GetFormat() != nullptr ? line.GetFormat() : "";
    unsigned int offset = 0;
    while (*text != 0) {
        std::size_t plain = std::strcspn(text, "%");
        if (plain > 0 && !AddPiece(text, plain, escaped))
            return false;
        text += plain;
        if (*text == 0)
            break;
        char const * value = "%";
        unsigned int length = 1;
        if (text[1] != '%' && composer != nullptr)
            composer->GetNext(&offset, &value, &length);
        if (!AddPiece(value, length, escaped))
            return false;
        text += text[1] == '%' ? 2 : 1;
    }
    return true;
}

char const * LogStamp::Get(unsigned long long wallMilliseconds) {
    if (wallMilliseconds / 1000 != second)
        Format(wallMilliseconds / 1000);
    PutDigits(text + 20, static_cast<unsigned int>(wallMilliseconds % 1000), 3);
    return text;
}

void LogStamp::Format(unsigned long long newSecond) {
    second = newSecond;
    Platform::LocalTime const local = Platform::GetLocalTime(newSecond);
    unsigned int const offset = static_cast<unsigned int>(std::abs(local.offset));
    std::memcpy(text, "YYYY-MM-DDThh:mm:ss.xxx+hh:mm", Length);
    PutDigits(text, local.year, 4);
    PutDigits(text + 5, local.month, 2);
    PutDigits(text + 8, local.day, 2);
    PutDigits(text + 11, local.hour, 2);
    PutDigits(text + 14, local.minute, 2);
    PutDigits(text + 17, local.second, 2);
    text[23] = local.offset < 0 ? '-' : '+';
    PutDigits(text + 24, offset / 60, 2);
    PutDigits(text + 27, offset % 60, 2);
}

} // namespace Mu
