#pragma once

namespace IO {

// IO::localRoot between these two. It holds the address tree, so nothing of the tree is left only
// after its end. For the library's start and end.

void StartLocalRoot();
void EndLocalRoot();

} // namespace IO
