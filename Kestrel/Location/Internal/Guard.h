#pragma once

#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Errors/Exceptions.h>

namespace IO {

/// Runs an operation that returns a status, and turns the exception of a shortage into one. What
/// else is thrown goes on: by the lock of the tree when it cannot be taken, or by a host's
/// callback.
template <typename Operation>
MuErrCode WithoutException(Operation const & operation) {
    try {
        return operation();
    } catch (Mu::OutOfMemoryException const &) {
        return ErrMemoryFull;
    }
}

} // namespace IO
