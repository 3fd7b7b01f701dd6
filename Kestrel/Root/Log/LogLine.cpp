#include <Kestrel/Root/Log/LogLine.h>

#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Root/Text/UniString.h>

#include <algorithm>
#include <cstring>
#include <limits>

namespace Mu {

namespace {

constexpr unsigned int HeadSize = sizeof(unsigned int); // the length in front of each value
constexpr unsigned int Longest = std::numeric_limits<int>::max();
constexpr MuCharCode LogCode = static_cast<MuCharCode>(99);

} // namespace

LogComposer::~LogComposer() {
    Clear();
}

void LogComposer::Clear() noexcept {
    if (data != own)
        DeleteOperator(data);
    data = own;
    capacity = OwnSize;
    used = 0;
    count = 0;
}

// Reserves `more` bytes. False: too many, or out of memory.
bool LogComposer::Reserve(unsigned int more) {
    if (more <= GetRoom())
        return true;
    if (more > Longest - used)
        return false;
    unsigned int const wanted = std::max(used + more, capacity * 2);
    char * grown = static_cast<char *>(NewOperator(wanted));
    if (grown == nullptr)
        return false;
    std::memcpy(grown, data, used);
    if (data != own)
        DeleteOperator(data);
    data = grown;
    capacity = wanted;
    return true;
}

unsigned int LogComposer::GetRoom() const {
    return capacity - used;
}

LogComposer & LogComposer::Append(char const * text) noexcept {
    std::size_t const length = text != nullptr ? std::strlen(text) : 0;
    return Append(text, static_cast<unsigned int>(std::min<std::size_t>(length, Longest)));
}

LogComposer & LogComposer::Append(char const * text, unsigned int length) noexcept {
    if (text == nullptr)
        length = 0;
    length = std::min(length, Longest - HeadSize);
    if (!Reserve(HeadSize + length)) {
        if (GetRoom() < HeadSize)
            return *this;
        length = GetRoom() - HeadSize;
    }
    std::memcpy(data + used, &length, HeadSize);
    if (length > 0)
        std::memcpy(data + used + HeadSize, text, length);
    used += HeadSize + length;
    ++count;
    return *this;
}

LogComposer & LogComposer::Append(unsigned int value) noexcept {
    char digits[10];
    char * first = digits + sizeof digits;
    do {
        *--first = static_cast<char>('0' + value % 10);
        value /= 10;
    } while (value != 0);
    return Append(first, static_cast<unsigned int>(digits + sizeof digits - first));
}

LogComposer & LogComposer::Append(UniString const & text) noexcept {
    try {
        CStr const narrow = text.ToCStr(0, NotFound, LogCode);
        return Append(narrow.GetText(), narrow.GetLength());
    } catch (...) { // no memory for the conversion; the value must take its place nevertheless
        return Append("");
    }
}

bool LogComposer::GetNext(unsigned int * offset, char const ** text, unsigned int * length) const {
    if (*offset >= used)
        return false;
    std::memcpy(length, data + *offset, HeadSize);
    *text = data + *offset + HeadSize;
    *offset += HeadSize + *length;
    return true;
}

} // namespace Mu
