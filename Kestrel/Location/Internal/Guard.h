#pragma once

#include <Kestrel/Root/ErrorCodes.h>
#include <Kestrel/Root/Exceptions.h>

namespace IO {

/// Runs an operation that answers a status, and turns the exception of a shortage into one.
template <typename Operation>
MuErrCode WithoutException(Operation const & operation) noexcept {
    try {
        return operation();
    } catch (Mu::OutOfMemoryException const &) {
        return ErrMemoryFull;
    }
}

/// Asks a question of yes or no; what memory leaves unanswered is answered no.
template <typename Question>
bool IsSure(Question const & question) noexcept {
    try {
        return question();
    } catch (Mu::OutOfMemoryException const &) {
        return false;
    }
}

} // namespace IO
