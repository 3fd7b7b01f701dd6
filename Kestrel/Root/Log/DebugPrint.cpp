#include <Kestrel/Root/Log/DebugPrint.h>

#include <Kestrel/Root/Platform/DebugOutput.h>

#include <cstdarg>
#include <cstdio>

void DBPrintf(char const * format, ...) {
    if (format == nullptr)
        return;
    char text[4096];
    va_list arguments;
    va_start(arguments, format);
    int const length = std::vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    if (length > 0)
        Mu::Platform::WriteDebugText(text);
}
