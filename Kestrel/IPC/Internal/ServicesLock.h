#pragma once

#include <Kestrel/IPC/Internal/PatientFile.h>
#include <Kestrel/Location/Location.h>

namespace IO::IPC {

/// A lock among all processes of the machine on the services file of one process: a file that is
/// opened exclusively, and deleted at the end.
///
/// A process that ends without destroying this leaves a file that the next process opens and
/// deletes.
///
/// Memory:  the file's. Mu::OutOfMemoryException when out of memory.
/// Threads: one.
/// Failure: GetStatus.
class ServicesLock {
public:
    /// Waits for the lock.
    explicit ServicesLock(Location const & location);
    ~ServicesLock();
    ServicesLock(ServicesLock const &) = delete;
    ServicesLock & operator=(ServicesLock const &) = delete;

    /// Error: the file cannot be opened, or the lock was not free in time.
    MuErrCode GetStatus() const { return status; }

private:
    Location location;
    PatientFile file;
    MuErrCode status = Error;
};

} // namespace IO::IPC
