#include <Kestrel/Root/Log/Quietly.h>

#include <Kestrel/Root/Threads/Thread.h>

namespace Mu {

void RepeatInterruption() noexcept {
    try {
        Thread::GetCurrent().Interrupt();
    } catch (...) { // no memory to know the thread by, which was interrupted all the same
    }
}

} // namespace Mu
