#pragma once

#include <Kestrel/FileSystem/File.h>

#include <optional>

namespace IO::IPC {

/// A file that other processes have open for moments, and that they may delete: opening it waits for
/// its turn.
///
/// Memory:  the file's. Mu::OutOfMemoryException on shortage.
/// Threads: one.
/// Failure: statuses.
class PatientFile {
public:
    /// In pauses of the library's clock, for 5 seconds at most: who holds such a file does so for the
    /// time of some small reads and writes. A status of File, or Error.
    MuErrCode Open(Location const & location, File::OnNotFound onNotFound, File::OpenMode mode);
    /// The open file.
    File & Get() { return *file; }
    void Close() { file.reset(); }

private:
    static constexpr unsigned long long Patience = 5'000'000; // microseconds
    static constexpr double FirstPause = 0.001;               // seconds, and then twice as long
    static constexpr double LongestPause = 0.064;
    // Between making and opening, another one may delete the file; so often in a row it is no chance.
    static constexpr int MostMishaps = 10;

    std::optional<File> file;
};

} // namespace IO::IPC
