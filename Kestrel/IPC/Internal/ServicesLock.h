#pragma once

#include <Kestrel/FileSystem/File.h>
#include <Kestrel/Location/Location.h>

#include <optional>

namespace IO::IPC {

/// The right to read or write the services file of one process, among all processes of the machine:
/// a file that is open for this one alone, and deleted at the end.
///
/// Who ends without an end of this leaves a file that the next one opens and deletes.
///
/// Memory:  the file's. Mu::OutOfMemoryException on shortage.
/// Threads: one.
/// Failure: GetStatus.
class ServicesLock {
public:
    /// Waits for its turn, in pauses of the library's clock, for `Patience` microseconds at most: who
    /// holds it does so for the time of one small file.
    explicit ServicesLock(Location const & location);
    ~ServicesLock();
    ServicesLock(ServicesLock const &) = delete;
    ServicesLock & operator=(ServicesLock const &) = delete;

    /// Error: the file cannot be opened, or it was never this one's turn.
    MuErrCode GetStatus() const { return status; }

private:
    static constexpr unsigned long long Patience = 5'000'000;
    static constexpr double Pause = 0.001; // seconds
    // Between making and opening, another one may delete the file; so often in a row it is no chance.
    static constexpr int MostMishaps = 10;

    MuErrCode Take();

    Location location;
    std::optional<File> file;
    MuErrCode status;
};

} // namespace IO::IPC
