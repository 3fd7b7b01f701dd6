#pragma once

#include <sys/stat.h>

namespace IO {

// Share modes, which the system lacks, as locks on two bytes far beyond the data of a file: the
// first is held by every opener of the file, the second by those that write, or that admit no
// writer.
//
//     access, sharing               first byte   second byte   open mode
//     read, with readers            shared       shared        0
//     write or both, with nobody    exclusive    exclusive     1, 2, 3
//     read, with all                shared       free          4
//     write, with readers           shared       exclusive     5, 6
//
// The locks belong to the open file description: they bind openers in this process and in others
// alike, and end with the last descriptor. Programs without the library are not bound by them. A
// file system without locks admits everyone.

/// The locks of one opening; ShareLock::Find returns null for a combination that has no row.
struct ShareLock {
    unsigned int access;
    unsigned int share;
    short first;
    short second;

    static ShareLock const * Find(unsigned int access, unsigned int share);

    /// Takes the locks: 0 or FileError::SharingViolation. They end with the descriptor.
    unsigned int Take(int descriptor) const;
};

/// Prevents a file from being opened while it is deleted or moved, as far as the user may open it
/// at all.
class InUseGuard {
public:
    /// `at` and `path` as for openat; a link is not followed.
    InUseGuard(int at, char const * path);
    ~InUseGuard();
    InUseGuard(InUseGuard const &) = delete;
    InUseGuard & operator=(InUseGuard const &) = delete;

    /// 0, FileError::SharingViolation when the file is open, FileNotFound when it has been deleted.
    unsigned int GetError() const { return error; }
    /// The file; null when it could not be opened for writing.
    struct stat const * GetInfo() const {
        return isKnown ? &info : nullptr;
    }

private:
    int descriptor;
    bool isKnown = false;
    struct stat info;
    unsigned int error = 0;
};

} // namespace IO
