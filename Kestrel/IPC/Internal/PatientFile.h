#pragma once

#include <Kestrel/FileSystem/File.h>

#include <optional>

namespace IO::IPC {

/// A file that other processes open for moments, and may delete: opening it retries until it is
/// free.
///
/// Memory:  the file's. Mu::OutOfMemoryException when out of memory.
/// Threads: one.
/// Failure: statuses.
class PatientFile {
public:
    /// Retries with pauses of the library's clock, for 5 seconds at most: other processes hold such
    /// a file only for some small reads and writes. A status of File, or Error.
    MuErrCode Open(Location const & location, File::OnNotFound onNotFound, File::OpenMode mode);
    /// The open file.
    File & Get() { return *file; }
    void Close() { file.reset(); }

private:
    static constexpr unsigned long long Patience = 5'000'000; // microseconds
    static constexpr double FirstPause = 0.001;               // seconds, doubled each time
    static constexpr double LongestPause = 0.064;
    // Between creating and opening, another process may delete the file; more often in a row is no
    // coincidence.
    static constexpr int MostMishaps = 10;

    std::optional<File> file;
};

} // namespace IO::IPC
