#pragma once

#include <cerrno>

// The system's error numbers as those of Winsock, and back for their texts.

namespace IO::Socket {

/// A number without a name of ours stays as it is, far below those of Winsock.
unsigned int ToSocketError(int error);
/// The same for the calling thread's errno.
unsigned int GetLastSocketError();
/// For what the resolver's calls return, which may point to errno.
unsigned int ToResolverError(int error);
/// For h_errno as gethostbyname and its like report it.
unsigned int ToHostError(int error);
/// The system's text for a number from the functions above; null when it has none.
char const * GetSocketErrorText(unsigned int error);

/// Takes a call up again that a signal interrupted. The call returns below 0 when it failed.
template <typename Call>
auto Retry(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

} // namespace IO::Socket
