#pragma once

#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Export.h>

namespace Mu {

/// Makes an interruption that was caught reach the thread's next blocking call.
KESTREL_API void RepeatInterruption() noexcept;

/// Runs the operation and drops what it throws. For destructors, and for what promises that no
/// exception leaves it. An interruption of the thread is not lost: its next blocking call throws.
template <typename Operation>
void Quietly(Operation && operation) noexcept {
    try {
        operation();
    } catch (InterruptedIOException const &) {
        RepeatInterruption();
    } catch (...) { // lost like a status that nobody checks
    }
}

} // namespace Mu
