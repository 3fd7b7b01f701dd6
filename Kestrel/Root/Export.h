#pragma once

#if (defined(_MSVC_LANG) ? _MSVC_LANG : __cplusplus) < 202002L
#error "Kestrel needs C++20: compile with -std=c++20, or with /std:c++20."
#endif

// KESTREL_API marks what hosts may call; everything else is hidden inside the library.
// KESTREL_BUILDING is set while the library itself is compiled, KESTREL_STATIC by a host that links
// the library statically.
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

// For an inline virtual operation of a class marked KESTREL_API that callers test for: all modules
// then share its address, so that the compiler can compare a slot with it and continue in line.
// Classes that are exported as a whole do not need it.
#if !defined(_WIN32) && defined(__GNUC__)
#define KESTREL_INLINE_API KESTREL_API
#else
#define KESTREL_INLINE_API
#endif
