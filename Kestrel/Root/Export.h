#pragma once

// KESTREL_API marks what hosts may call; everything else stays hidden inside the library.
// KESTREL_BUILDING is set while the library itself is compiled, KESTREL_STATIC by a host that
// links the library into itself.
#if defined(_WIN32) && !defined(KESTREL_STATIC)
#if defined(KESTREL_BUILDING)
#define KESTREL_API __declspec(dllexport)
#else
#define KESTREL_API __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define KESTREL_API __attribute__((visibility("default")))
#else
#define KESTREL_API
#endif
