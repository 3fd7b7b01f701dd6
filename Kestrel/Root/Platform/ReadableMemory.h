#pragma once

#include <cstddef>

namespace Mu::Platform {

/// Whether the process may read, or write, every byte of the span right now. Always true for an
/// empty span.
bool MayAccess(void const * block, std::size_t size, bool write);

} // namespace Mu::Platform
