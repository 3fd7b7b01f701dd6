#pragma once

#include <Kestrel/FileSystem/Platform/FileCallTypes.h>
#include <Kestrel/FileSystem/TransferScope.h>

#include <algorithm>

namespace IO {

/// Bytes of a file that are written, from `begin` to before `end`.
struct SparseRange {
    unsigned long long begin;
    unsigned long long end;
};

inline constexpr unsigned int RequestAborted = 1235; ///< by a TransferScope

/// Copies the written ranges of a file into a new one, and leaves the holes between them as holes.
/// For systems that have no such copy themselves; both files are of a class with these operations,
/// which return an error number or 0:
///
///     GetSize(&size)
///     FindData(from, end, &range)    the first range at or behind `from`; {end, end} for none
///     MakeSparse()                   before anything is written
///     SetSize(size)                  holes up to there
///     ReadAt(place, bytes, count, &read)
///     WriteAt(place, bytes, count)   all of it
///
/// If the file is shortened meanwhile, the copy keeps the first length, with a hole at the end.
template <typename File>
unsigned int CopySparse(File & from, File & to) {
    char buffer[65536];
    unsigned long long size = 0;
    unsigned int error = from.GetSize(&size);
    if (error == FileError::None)
        error = to.MakeSparse();
    if (error == FileError::None)
        error = to.SetSize(size);
    for (unsigned long long place = 0; error == FileError::None && place < size;) {
        SparseRange range = {size, size};
        error = from.FindData(place, size, &range);
        if (range.begin >= range.end)
            break; // a hole up to the end
        range.end = std::min(range.end, size);
        place = std::max(place, range.begin);
        while (error == FileError::None && place < range.end) {
            unsigned int const piece = static_cast<unsigned int>(
                std::min<unsigned long long>(range.end - place, sizeof(buffer)));
            unsigned int read = 0;
            error = from.ReadAt(place, buffer, piece, &read);
            if (error == FileError::None && read != 0)
                error = to.WriteAt(place, buffer, read);
            if (error == FileError::None && !TransferScope::Add(read))
                error = RequestAborted;
            place += read != 0 ? read : piece;
        }
        place = std::max(place, range.end);
    }
    return error;
}

} // namespace IO
