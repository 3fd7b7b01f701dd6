#pragma once

#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Export.h>

#include <system_error>

namespace IO {

/// The statuses of the library as a category of <system_error>; its messages are the words of the
/// log. A status that the library does not know says so with its number. Where the standard has a name
/// for the same failure, the code compares equal to it: that of ErrFileNotFound to
/// std::errc::no_such_file_or_directory.
KESTREL_API std::error_category const & ErrorCategory() noexcept;

/// A status for code that collects std::error_code.
inline std::error_code MakeErrorCode(MuErrCode status) noexcept {
    return std::error_code(status, ErrorCategory());
}

} // namespace IO
