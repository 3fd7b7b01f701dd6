#pragma once

#include <Kestrel/Root/Exceptions.h>
#include <Kestrel/Root/UniString.h>

#include <source_location>

namespace IO::Socket {

/// The text of a failure, with the system's number and text behind it: "Socket read failed. (Error
/// code: 10054. Error message: ...)" Without a text of the system, or with the number 0, only the
/// number stands there.
Mu::UniString GetErrorText(Mu::UniString const & text, unsigned int error);

/// Throws with that text; without the system's part of it where memory is short.
template <typename Exception>
[[noreturn]] void Throw(char const * text, unsigned int error,
                        std::source_location where = std::source_location::current()) {
    Mu::UniString whole;
    try {
        whole = GetErrorText(text, error);
    } catch (Mu::OutOfMemoryException const &) {
        throw Exception(text, where.file_name(), where.line());
    }
    throw Exception(whole, where.file_name(), where.line());
}

} // namespace IO::Socket
