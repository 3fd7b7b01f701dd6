#pragma once

#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Export.h>

namespace Mu {

/// Delivers an interruption that was caught to the thread's next blocking call.
KESTREL_API void RepeatInterruption() noexcept;

/// Runs the operation and ignores its exceptions. For destructors and noexcept functions. An
/// interruption of the thread is not lost: its next blocking call throws.
template <typename Operation>
void Quietly(Operation && operation) noexcept {
    try {
        operation();
    } catch (InterruptedIOException const &) {
        RepeatInterruption();
    } catch (...) { // ignored, like a status that nobody checks
    }
}

} // namespace Mu
