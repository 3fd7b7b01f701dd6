#include <Kestrel/IPC/LifeMark.h>

namespace IO::IPC {

// Out of line: otherwise the compiler sees that the address of a stack object remains in `life`,
// and not that the mark's destructor removes it.

Life::Mark::Mark(Life & life) : life(&life), outer(life.marks) {
    life.marks = this;
}

Life::Mark::~Mark() {
    if (life != nullptr)
        life->marks = outer;
}

Life::~Life() {
    for (Mark * mark = marks; mark != nullptr; mark = mark->outer)
        mark->life = nullptr;
}

} // namespace IO::IPC
