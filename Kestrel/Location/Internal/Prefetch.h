#pragma once

namespace IO {

/// Hints to the processor that the line of this address is needed soon, so that it is loaded while
/// other work is done. Any address is allowed, null too.
inline void Prefetch([[maybe_unused]] void const * address) {
#if defined(__GNUC__)
    __builtin_prefetch(address, 1);
#endif
}

} // namespace IO
