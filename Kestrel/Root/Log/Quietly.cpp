#include <Kestrel/Root/Log/Quietly.h>

#include <Kestrel/Root/Threads/Thread.h>

namespace Mu {

void RepeatInterruption() noexcept {
    try {
        Thread::GetCurrent().Interrupt();
    } catch (...) { // no memory for the thread's record: the interruption is lost
    }
}

} // namespace Mu
