#include <Kestrel/Location/Platform/Posix/ErrorMapping.h>

#include <Kestrel/Location/Platform/NativeTypes.h>

#include <algorithm>
#include <cstring>

namespace IO {
namespace {

struct ErrorPair {
    int error;
    unsigned int number;
};

constexpr unsigned int RequestAborted = 1235; // a copy, by its observer

// An errno maps to the number in its first row, and a number to the errno in its first row.
constexpr ErrorPair errorPairs[] = {
    {ENOENT, FileError::FileNotFound},
    {ENOENT, FileError::PathNotFound}, // a folder on the way
    {ENOTDIR, FileError::PathNotFound},
    {EACCES, FileError::AccessDenied},
    {EPERM, FileError::AccessDenied},
    {EISDIR, FileError::AccessDenied},
    {EEXIST, FileError::FileExists},
    {EEXIST, FileError::AlreadyExists},
    {EBUSY, FileError::SharingViolation},
    {ETXTBSY, FileError::SharingViolation},
    {EAGAIN, FileError::SharingViolation}, // a lease that its holder must give up first
    {EDEADLK, FileError::LockViolation},
    {ENOSPC, FileError::DiskFull},
    {ENOSPC, FileError::HandleDiskFull},
    {EDQUOT, FileError::HandleDiskFull},
    {EMFILE, FileError::TooManyOpenFiles},
    {ENFILE, FileError::TooManyOpenFiles},
    {EXDEV, FileError::NotSameDevice},
    {ENOTEMPTY, FileError::DirNotEmpty},
    {EROFS, FileError::WriteProtect},
    {EBADF, FileError::InvalidHandle},
    {ENOMEM, FileError::NotEnoughMemory},
    {EINVAL, FileError::InvalidParameter},
    {EILSEQ, FileError::InvalidName},
    {ENAMETOOLONG, FileError::NameTooLong},
    {EOPNOTSUPP, FileError::NotSupported},
    {ENOSYS, FileError::NotSupported},
    {EOVERFLOW, FileError::MoreData},
    {ERANGE, FileError::MoreData},
    {EIO, FileError::IODevice},
    {EIO, FileError::WriteFault},
    {EIO, FileError::ReadFault},
    {EFBIG, FileError::FileTooLarge},
    {ELOOP, FileError::CantResolveName},
    {EMLINK, FileError::TooManyLinks},
    {ENODEV, FileError::NotReady},
    {ENXIO, FileError::NotReady},
    {ENOMEDIUM, FileError::NotReady},
    {ESTALE, FileError::FileNotFound},
    {ESRCH, FileError::FileNotFound}, // the process that a folder of "/proc" was for
    {ENOTDIR, FileError::Directory},
    {EINVAL, FileError::NegativeSeek},
    {ENONET, FileError::BadNetPath},
    {ECANCELED, RequestAborted},
};

} // namespace

unsigned int ToFileError(int error) {
    for (ErrorPair const & pair : errorPairs)
        if (pair.error == error)
            return pair.number;
    return FileError::GeneralFailure;
}

unsigned int GetLastFileError() {
    return ToFileError(errno);
}

unsigned int GetErrorText(unsigned int error, char * text, unsigned int size) {
    for (ErrorPair const & pair : errorPairs) {
        if (pair.number != error)
            continue;
        char const * const found = ::strerrordesc_np(pair.error);
        if (found == nullptr || size == 0)
            return 0;
        std::size_t const length = std::min<std::size_t>(std::strlen(found), size - 1);
        std::memcpy(text, found, length);
        text[length] = 0;
        return static_cast<unsigned int>(length);
    }
    return 0;
}

} // namespace IO
