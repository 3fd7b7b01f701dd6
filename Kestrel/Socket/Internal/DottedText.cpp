#include <Kestrel/Socket/Internal/DottedText.h>

namespace IO::Socket {

namespace {

bool IsWhite(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// The value of the digit in the base; the base itself if it is not one.
unsigned int GetDigit(char c, unsigned int base) {
    unsigned int value = base;
    if (c >= '0' && c <= '9')
        value = static_cast<unsigned int>(c - '0');
    else if ((c | 0x20) >= 'a' && (c | 0x20) <= 'f')
        value = static_cast<unsigned int>((c | 0x20) - 'a') + 10;
    return value < base ? value : base;
}

// Reads one number of an address, and advances `*text` past it. False for none, or one above 32
// bits.
bool TakePart(char const ** text, unsigned int * part) {
    unsigned int base = 10;
    if (**text == '0' && ((*text)[1] | 0x20) == 'x') {
        base = 16;
        *text += 2;
    } else if (**text == '0') {
        base = 8; // the zero is also the first digit
    }
    unsigned long long value = 0;
    char const * const start = *text;
    for (unsigned int digit; (digit = GetDigit(**text, base)) != base; ++*text) {
        value = value * base + digit;
        if (value > 0xFFFFFFFFu)
            return false;
    }
    *part = static_cast<unsigned int>(value);
    return *text != start;
}

} // namespace

unsigned int InetAddr(char const * text) {
    unsigned int address = 0;
    for (unsigned int bytesLeft = 4;; --bytesLeft) {
        unsigned int part;
        if (!TakePart(&text, &part))
            return NoInetAddr;
        if (*text == '.' && bytesLeft > 1 && part <= 0xFF) {
            address |= part << (8 * (bytesLeft - 1));
            ++text;
            continue;
        }
        bool const fits = part <= 0xFFFFFFFFu >> (8 * (4 - bytesLeft));
        return fits && (*text == 0 || IsWhite(*text)) ? address | part : NoInetAddr;
    }
}

Mu::String InetNtoa(unsigned char const * address) {
    char text[16]; // "255.255.255.255"
    unsigned int length = 0;
    for (int i = 0; i < 4; ++i) {
        if (i > 0)
            text[length++] = '.';
        unsigned int const byte = address[i];
        if (byte >= 100)
            text[length++] = static_cast<char>('0' + byte / 100);
        if (byte >= 10)
            text[length++] = static_cast<char>('0' + byte / 10 % 10);
        text[length++] = static_cast<char>('0' + byte % 10);
    }
    return Mu::String(text, length);
}

} // namespace IO::Socket
