#pragma once

namespace IO {

/// Makes what this floor has of statics, in this order: the views of the address tree, the mounts, the
/// file types and the root. They are registered from then on. A second call does nothing. The library's start
/// calls it, and the tests of floors without one.
void StartReflection();

/// Takes all that back in reverse.
void EndReflection();

} // namespace IO
