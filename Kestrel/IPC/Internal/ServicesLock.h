#pragma once

#include <Kestrel/IPC/Internal/PatientFile.h>
#include <Kestrel/Location/Location.h>

namespace IO::IPC {

/// The right to read or write the services file of one process, among all processes of the machine:
/// a file that is open for this one alone, and deleted at the end.
///
/// A process that ends without destroying this leaves a file that the next one opens and deletes.
///
/// Memory:  the file's. Mu::OutOfMemoryException on shortage.
/// Threads: one.
/// Failure: GetStatus.
class ServicesLock {
public:
    /// Waits for its turn.
    explicit ServicesLock(Location const & location);
    ~ServicesLock();
    ServicesLock(ServicesLock const &) = delete;
    ServicesLock & operator=(ServicesLock const &) = delete;

    /// Error: the file cannot be opened, or it was never this one's turn.
    MuErrCode GetStatus() const { return status; }

private:
    Location location;
    PatientFile file;
    MuErrCode status = Error;
};

} // namespace IO::IPC
