#pragma once

namespace IO {

/// The ways to move bytes from one file into another, from the best on. Each of them may be missing
/// on a file system, or between two of them, and the next takes over where the last one stopped.
struct CopyWays {
    bool clone = true;      // both files share the bytes until one of them changes
    bool kernelCopy = true; // copy_file_range, in pieces
};

/// The bytes that one call moves at most, so that a signal or a full device is noticed.
inline constexpr unsigned int CopyPiece = 64 * 1024 * 1024;

/// Appends all of one open file to another, an empty one: an error number. What is a hole in the one
/// is a hole in the other.
unsigned int CopyContent(int from, int to, CopyWays ways = {});

} // namespace IO
