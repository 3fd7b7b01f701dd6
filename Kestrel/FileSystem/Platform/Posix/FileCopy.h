#pragma once

namespace IO {

/// The ways to copy bytes from one file into another, the best first. Each may be unavailable on a
/// file system, or between two, and the next one takes over where the last one stopped.
struct CopyWays {
    bool clone = true;      // both files share the bytes until one of them changes
    bool kernelCopy = true; // copy_file_range, in pieces
};

/// The most bytes that one call copies, so that a signal or a full device is noticed.
inline constexpr unsigned int CopyPiece = 64 * 1024 * 1024;

/// Copies all of one open file to another, an empty one; returns an error number. Holes remain
/// holes.
unsigned int CopyContent(int from, int to, CopyWays ways = {});

} // namespace IO
