#pragma once

namespace IO::Socket {

/// Makes what this floor has of statics, in this order: the addresses Any and Loopback, the factories
/// of sockets, the start of the system's sockets. A second call does nothing. The library's start
/// calls it, and the tests of floors without one. Without the system's sockets each call of theirs
/// fails later with a number that says so.
void StartSockets();
/// Takes that back in reverse, after which nothing of this floor must be used.
void EndSockets();

// InternetAddress::Any and Loopback between these two.
void StartInternetAddresses();
void EndInternetAddresses();

} // namespace IO::Socket
