#include <Kestrel/Root/Platform/MachineCharCode.h>

#include <Kestrel/Root/Platform/Windows/WideText.h>

#include <windows.h>

#include <climits>

namespace Mu::Platform {

namespace {

// The system's counts are signed; a longer text is reported as one that does not fit.
unsigned int Decode(char const * text, unsigned int length, unsigned short * units) {
    if (length == 0)
        return 0;
    if (length > INT_MAX)
        return 0xFFFFFFFFu;
    int const count = static_cast<int>(length);
    return static_cast<unsigned int>(MultiByteToWideChar(CP_ACP, 0, text, count,
                                                         units == nullptr ? nullptr : ToWide(units),
                                                         units == nullptr ? 0 : count));
}

// Without best fits: a name with a character similar to a separator must not become one with a
// separator.
unsigned long long Encode(ConstSubstring const & text, char * bytes, bool * replaced) {
    if (text.IsEmpty())
        return 0;
    BOOL isReplaced = FALSE;
    int const size = WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, ToWide(text.GetUnits()),
                                         static_cast<int>(text.GetLength()), bytes,
                                         bytes == nullptr ? 0 : INT_MAX, nullptr, &isReplaced);
    if (replaced != nullptr && isReplaced != FALSE)
        *replaced = true;
    return static_cast<unsigned int>(size);
}

unsigned int GetCharacterSize(char const * text, unsigned int length) {
    return length > 1 && IsDBCSLeadByteEx(CP_ACP, static_cast<BYTE>(*text)) != FALSE ? 2 : 1;
}

constexpr Internal::CharCodeCalls ansiCalls = {Decode, Encode, GetCharacterSize};

} // namespace

// A process may have chosen UTF-8 as its ANSI code page; the system's calls then refuse to report
// what they replaced.
Internal::CharCodeCalls const & GetMachineCharCodeCalls() {
    static bool const isUtf8 = GetACP() == CP_UTF8;
    return isUtf8 ? Internal::utf8Calls : ansiCalls;
}

} // namespace Mu::Platform
