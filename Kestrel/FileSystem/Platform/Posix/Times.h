#pragma once

#include <ctime>

struct statx;

// Times of files: units of 100 ns since the start of 1601 in FileCalls, the system's own here.

namespace IO {

/// False for a time with the top bit set, which no file has.
bool ToSystemTime(unsigned long long time, timespec * system);
/// 0 for a time before 1601.
unsigned long long FromSystemTime(long long seconds, unsigned int nanoseconds);

/// Stores a creation time with the file, in the attribute `user.kestrel.creation-time`, since the
/// system has no call that sets one; returns an error number.
unsigned int SetCreationTime(int descriptor, unsigned long long time);
/// That attribute; else the birth time, where the file system has one; else the change time. `at`
/// and `path` as for openat.
unsigned long long GetCreationTime(int at, char const * path, struct statx const & info);

} // namespace IO
