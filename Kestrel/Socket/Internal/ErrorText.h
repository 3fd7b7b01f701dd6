#pragma once

#include <Kestrel/Root/UniString.h>

namespace IO::Socket {

/// The text of a failure, with the system's number and text behind it: "Socket read failed. (Error
/// code: 10054. Error message: ...)" Without a text of the system, or with the number 0, only the
/// number stands there.
Mu::UniString GetErrorText(Mu::UniString const & text, unsigned int error);

} // namespace IO::Socket
