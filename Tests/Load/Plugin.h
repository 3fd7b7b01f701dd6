#pragma once

// What the plugin of the load tests offers to the program that loads it: plain C, since the two know
// each other by name only.

#if defined(_WIN32)
#define PLUGIN_API extern "C" __declspec(dllexport)
#else
#define PLUGIN_API extern "C" __attribute__((visibility("default")))
#endif

/// Uses all of the library, with `pairs` nested pairs of Init and End, and logs two lines with the
/// number of the `cycle` into a log in the folder. The paths are portable ones, in UTF-8. Answers 0,
/// or the number of the source line that failed.
PLUGIN_API int UsePlugin(char const * folder, int pairs, unsigned int cycle);
