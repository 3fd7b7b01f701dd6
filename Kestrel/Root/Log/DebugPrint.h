#pragma once

#include <Kestrel/Root/Export.h>

/// Writes a text for developers: to the debugger on Windows, to standard error elsewhere. Formats
/// like printf, up to 4095 bytes. Allocates nothing and reports no failure.
#if defined(__GNUC__)
__attribute__((format(printf, 1, 2)))
#endif
KESTREL_API void
DBPrintf(char const * format, ...);
