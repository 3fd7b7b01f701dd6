#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

/// A signed 32-bit status. 0 is success; the values are in Kestrel/Root/Errors/ErrorCodes.h.
using MuErrCode = int;

namespace Mu {

// The 64-bit integers of all interfaces. `long` is 4 bytes on the wire, and std::int64_t is a
// `long` on Linux, so neither is used in overload sets and signatures.
using LongLong = long long;
using ULongLong = unsigned long long;

/// The result of an unsuccessful search, and an invalid index.
inline constexpr unsigned int NotFound = 0xFFFFFFFFu;

/// Whether a host made the reference by dereferencing a null pointer. The interfaces reject such an
/// argument with a status instead of crashing; the library is compiled with an option that keeps
/// the compiler from assuming that this cannot happen.
template <typename T>
inline bool IsNull(T const & reference) {
    return reinterpret_cast<std::uintptr_t>(std::addressof(reference)) == 0;
}

} // namespace Mu
