#pragma once

#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Text/UniString.h>

namespace IO::Socket {

/// The text of a failure, followed by the system's number and text: "Socket read failed. (Error
/// code: 10054. Error message: ...)" Without a text of the system, or with the number 0, only the
/// number follows.
Mu::UniString GetErrorText(Mu::UniString const & text, unsigned int error);

/// Throws with that text; without the system's part when out of memory.
template <typename Exception>
[[noreturn]] void Throw(char const * text, unsigned int error, char const * file = __builtin_FILE(),
                        unsigned int line = __builtin_LINE()) {
    Mu::UniString whole;
    try {
        whole = GetErrorText(text, error);
    } catch (Mu::OutOfMemoryException const &) {
        throw Exception(text, file, line);
    }
    throw Exception(whole, file, line);
}

} // namespace IO::Socket
