#include <Kestrel/IPC/LifeMark.h>

namespace IO::IPC {

// Out of line: in line, the compiler sees the address of an object on the stack stay behind, and not
// that the mark's end takes it back.

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
