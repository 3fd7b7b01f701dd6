#include <Kestrel/Root/Threads/ThreadCheck.h>

#include <Kestrel/Root/Platform/SystemCalls.h>

namespace Mu {

namespace {

char * AppendText(char * end, char const * text) {
    while (*text != 0)
        *end++ = *text++;
    return end;
}

char * AppendHexadecimal(char * end, std::uintptr_t value) {
    for (int shift = sizeof value * 8 - 4; shift >= 0; shift -= 4)
        *end++ = "0123456789abcdef"[(value >> shift) & 15];
    return end;
}

} // namespace

bool ThreadCheck::Bind(std::atomic<std::uintptr_t> & owner) {
    std::uintptr_t const me = Platform::GetThreadToken();
    std::uintptr_t present = 0;
    if (owner.compare_exchange_strong(present, me, std::memory_order_relaxed))
        return true;
    if (present == me)
        return false;
    char text[128];
    char * end = AppendText(text, "Kestrel: an object for one thread is used by two: ");
    end = AppendHexadecimal(end, present);
    end = AppendText(end, " and ");
    end = AppendHexadecimal(end, me);
    *AppendText(end, "\n") = 0;
    Platform::StopProcess(text);
}

} // namespace Mu
