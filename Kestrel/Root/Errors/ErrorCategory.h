#pragma once

#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Export.h>

#include <system_error>

namespace IO {

/// The statuses of the library as a category of <system_error>; its messages are the phrases of the
/// log. The message of an unknown status contains its number. If the standard has a condition for a
/// failure, the code compares equal to it: ErrFileNotFound to std::errc::no_such_file_or_directory.
KESTREL_API std::error_category const & ErrorCategory() noexcept;

/// A status as a std::error_code.
inline std::error_code MakeErrorCode(MuErrCode status) noexcept {
    return std::error_code(status, ErrorCategory());
}

} // namespace IO
