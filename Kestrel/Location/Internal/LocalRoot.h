#pragma once

namespace IO {

// IO::localRoot exists between these two calls. It holds the address tree, so the tree is freed
// only after its end. For the library's start and end.

void StartLocalRoot();
void EndLocalRoot();

} // namespace IO
