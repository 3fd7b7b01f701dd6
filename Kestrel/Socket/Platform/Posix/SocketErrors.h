#pragma once

#include <cerrno>

// Converts the system's error numbers to those of Winsock, and back for their texts.

namespace IO::Socket {

/// A number without a name of ours is returned unchanged, far below those of Winsock.
unsigned int ToSocketError(int error);
/// The same for the calling thread's errno.
unsigned int GetLastSocketError();
/// For the results of the resolver's calls, which may refer to errno.
unsigned int ToResolverError(int error);
/// For h_errno as reported by gethostbyname and the like.
unsigned int ToHostError(int error);
/// The system's text for a number from the functions above; null if there is none.
char const * GetSocketErrorText(unsigned int error);

/// Repeats a call that a signal interrupted. The call returns a negative value on failure.
template <typename Call>
auto Retry(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

} // namespace IO::Socket
