#pragma once

#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Errors/Exceptions.h>

namespace IO {

/// Runs an operation that returns a status, and turns an out-of-memory exception into one. Others
/// propagate: those of the tree's lock when it cannot be taken, and those of a host's callback.
template <typename Operation>
MuErrCode WithoutException(Operation const & operation) {
    try {
        return operation();
    } catch (Mu::OutOfMemoryException const &) {
        return ErrMemoryFull;
    }
}

} // namespace IO
