#pragma once

#include <Kestrel/Root/Types.h>

#include <cstddef>

namespace Mu::Platform {

/// The whole file of the user's settings, in a block from BMAllocatePtr. Null: there is no file, or
/// nothing in it, which is no failure. Error: it has more than `limit` bytes. InputFailure: it
/// cannot be read. ErrMemoryFull.
MuErrCode ReadPreferences(std::size_t limit, char ** text, std::size_t * size);

} // namespace Mu::Platform
