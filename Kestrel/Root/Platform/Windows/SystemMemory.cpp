#include <Kestrel/Root/Platform/SystemMemory.h>

#include <cstdlib>

namespace Mu::Platform {

void * AllocateMemory(std::size_t size) {
    return std::malloc(size);
}

void * ReallocateMemory(void * block, std::size_t size) {
    return std::realloc(block, size);
}

void FreeMemory(void * block) {
    std::free(block);
}

} // namespace Mu::Platform
