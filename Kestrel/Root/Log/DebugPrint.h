#pragma once

#include <Kestrel/Root/Export.h>

/// Writes a text to where a developer looks: the debugger on Windows, standard error elsewhere.
/// Formats as printf does, up to 4095 bytes. Takes no memory and reports nothing.
#if defined(__GNUC__)
__attribute__((format(printf, 1, 2)))
#endif
KESTREL_API void
DBPrintf(char const * format, ...);
