#pragma once

#include <Kestrel/FileSystem/Platform/FileCalls.h>
#include <Kestrel/Location/Internal/ValidatorTable.h>

#include <algorithm>

namespace IO {

/// A buffer for one path that a call returns.
struct PathBuffer {
    static constexpr unsigned int Size = std::max(1024u, LongestPathText + 1);

    PathBuffer() : text{units, Size, 0} {}
    PathBuffer(PathBuffer const &) = delete;
    PathBuffer & operator=(PathBuffer const &) = delete;

    TextBuffer text;
    char16_t units[Size];
};

enum class DrivesStatus : unsigned char {
    Done = 0,
    Stopped = 1, ///< by the callback
    Failed = 2
};

/// Calls back with the root of each drive, as `C:\`, until the callback returns false.
DrivesStatus EnumerateDrives(bool (*callback)(PathText root, void * data), void * data);

} // namespace IO
