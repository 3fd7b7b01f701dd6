#pragma once

#include <cerrno>

// The system's error numbers as those of Windows, and back for their texts.

namespace IO {

/// 31, a general failure, for an errno that is not in the table.
unsigned int ToFileError(int error);
/// The same for the calling thread's errno.
unsigned int GetLastFileError();
/// The system's text for the number, cut to `size` bytes with its zero; 0 when it has none.
unsigned int GetErrorText(unsigned int error, char * text, unsigned int size);

/// Repeats a call that a signal interrupted. The call returns below 0 when it failed.
template <typename Call>
auto Retry(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

} // namespace IO
