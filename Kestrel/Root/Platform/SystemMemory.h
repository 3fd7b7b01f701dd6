#pragma once

#include <cstddef>

namespace Mu::Platform {

// The system's own memory, as malloc, realloc and free: null when out of memory.

void * AllocateMemory(std::size_t size);
void * ReallocateMemory(void * block, std::size_t size);
void FreeMemory(void * block);

} // namespace Mu::Platform
