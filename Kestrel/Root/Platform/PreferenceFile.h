#pragma once

#include <Kestrel/Root/Types.h>

#include <cstddef>

namespace Mu::Platform {

/// The whole file of the user's settings, in a block from BMAllocatePtr. Null: there is no file, or
/// nothing in it, which is no failure. Error: it has more than `limit` bytes. InputFailure: it
/// cannot be read. ErrMemoryFull.
MuErrCode ReadPreferences(std::size_t limit, char ** text, std::size_t * size);

/// Puts a new file in the place of the old one, in one step, once all of it is on the disk; makes
/// the folder if it is missing. OutputClosed: that cannot be done, and the old one stays. For any
/// number of threads and processes at once.
MuErrCode WritePreferences(char const * text, std::size_t size);

} // namespace Mu::Platform
