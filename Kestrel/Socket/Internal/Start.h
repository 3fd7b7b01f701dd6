#pragma once

namespace IO::Socket {

/// Makes what this floor has of statics and starts the system's sockets. A second call does nothing.
/// The library's start calls it, and the tests of floors without one. Without the system's sockets
/// each call of theirs fails later with a number that says so.
void StartSockets();
/// Takes that back.
void EndSockets();

} // namespace IO::Socket
