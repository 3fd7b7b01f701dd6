#include <Kestrel/Root/Quietly.h>

#include <Kestrel/Root/Thread.h>

namespace Mu {

void RepeatInterruption() noexcept {
    try {
        Thread::GetCurrent().Interrupt();
    } catch (...) { // no memory to know the thread by, which was interrupted all the same
    }
}

} // namespace Mu
