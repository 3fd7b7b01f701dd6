#pragma once

#include <Kestrel/Root/ErrorCodes.h>
#include <Kestrel/Root/Exceptions.h>

namespace IO {

/// Runs an operation that answers a status, and turns the exception of a shortage into one. What
/// else is thrown goes on: by the lock of the tree when it cannot be taken, or by a host's callback.
template <typename Operation>
MuErrCode WithoutException(Operation const & operation) {
    try {
        return operation();
    } catch (Mu::OutOfMemoryException const &) {
        return ErrMemoryFull;
    }
}

/// Asks a question of yes or no; what memory leaves unanswered is answered no.
template <typename Question>
bool IsSure(Question const & question) {
    try {
        return question();
    } catch (Mu::OutOfMemoryException const &) {
        return false;
    }
}

} // namespace IO
