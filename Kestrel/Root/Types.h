#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

/// A signed 32-bit status. 0 is success; the values are in Kestrel/Root/Errors/ErrorCodes.h.
using MuErrCode = int;

namespace Mu {

// The 64-bit integers of all interfaces: `long` is 4 bytes on the wire, and std::int64_t is a
// `long` on Linux, so that neither may stand in an overload set or a signature.
using LongLong = long long;
using ULongLong = unsigned long long;

/// The result of a search that found nothing, and an index that leads nowhere.
inline constexpr unsigned int NotFound = 0xFFFFFFFFu;

/// Whether a host made the reference by dereferencing a null pointer. The interfaces reject such
/// an argument with a status instead of falling over it; the library is built with an option that
/// keeps the compiler from assuming that it cannot happen.
template <typename T>
inline bool IsNull(T const & reference) {
    return reinterpret_cast<std::uintptr_t>(std::addressof(reference)) == 0;
}

} // namespace Mu
