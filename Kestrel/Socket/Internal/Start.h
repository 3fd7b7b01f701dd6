#pragma once

namespace IO::Socket {

/// Creates the statics of this floor, in this order: the addresses Any and Loopback, the factories
/// of sockets, the start of the system's sockets. A second call does nothing. Called by the
/// library's start, and by the tests of floors without one. Where the system's sockets cannot be
/// started, each call of theirs fails later with a number for that.
void StartSockets();
/// Destroys them in reverse order; nothing of this floor must be used from then on.
void EndSockets();

// InternetAddress::Any and Loopback between these two.
void StartInternetAddresses();
void EndInternetAddresses();

} // namespace IO::Socket
