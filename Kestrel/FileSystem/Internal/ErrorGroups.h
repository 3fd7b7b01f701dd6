#pragma once

#include <Kestrel/FileSystem/Platform/FileCalls.h>

#include <cstddef>

namespace IO {

/// The errors that mean for every operation that permissions, or another opener, are in the way.
constexpr bool IsDenied(unsigned int error) {
    return error == FileError::AccessDenied || error == FileError::SharingViolation ||
           error == FileError::LockViolation;
}

/// The meaning of a call's error for one kind of operation. Tables of these rows are with the
/// operations; an error without a row is the operation's "other".
template <typename Status>
struct ErrorRow {
    unsigned int error;
    Status status;
};

/// 0 is Done.
template <typename Status, std::size_t count>
constexpr Status Translate(ErrorRow<Status> const (&table)[count], unsigned int error,
                           Status other) {
    if (error == FileError::None)
        return Status::Done;
    for (ErrorRow<Status> const & row : table)
        if (row.error == error)
            return row.status;
    return other;
}

/// For operations that only distinguish a denial.
template <typename Status>
constexpr Status TranslateDenial(unsigned int error) {
    if (error == FileError::None)
        return Status::Done;
    return IsDenied(error) ? Status::AccessDenied : Status::Other;
}

} // namespace IO
