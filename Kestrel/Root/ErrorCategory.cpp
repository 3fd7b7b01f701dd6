#include <Kestrel/Root/ErrorCategory.h>

#include <cstdio>

namespace IO {

namespace {

struct Row {
    MuErrCode code;
    char const * phrase;
};

constexpr Row rows[] = {
    {NoError, "no error"},
    {ErrMemoryFull, "memory is full"},
    {Error, "unknown error"},
    {EOI, "end of input"},
    {InputFailure, "read error"},
    {EOO, "device is full"},
    {OutputClosed, "write error"},
    {ErrIllegalLocation, "text is not a location"},
    {ErrDifferentNetwork, "locations are on different machines"},
    {ErrNoScheme, "scheme is missing"},
    {ErrFileNotFound, "file is not found"},
    {ErrNotAFile, "not a file was specified"},
    {ErrFileAccessDenied, "access to file is denied"},
    {ErrFileCreationFailed, "creation of file has failed"},
    {ErrNoMoreFileHandle, "no more OS file handle"},
    {ErrIllegalPosition, "illegal position"},
    {ErrFileInvalidTime, "invalid time is encountered"},
    {ErrFolderNotFound, "folder is not found"},
    {ErrNotAFolder, "not a folder was specified"},
    {ErrFolderAccessDenied, "access to folder is denied"},
    {ErrFolderCreationFailed, "creation of folder has failed"},
    {ErrSourceNotFound, "source is not found"},
    {ErrEntryNotFound, "entry is not found"},
    {ErrTargetExists, "target already exists"},
    {ErrDeviceFull, "device is full"},
    {ErrFolderInvalidTime, "invalid time is encountered"},
    {ErrFSFileNotFound, "file is not found"},
    {ErrFSFolderNotFound, "folder is not found"},
    {ErrFSEntryNotFound, "entry is not found"},
    {ErrFSNotAFile, "not a file was specified"},
    {ErrFSNotAFolder, "not a folder was specified"},
    {ErrFSAccessDenied, "access denied"},
    {ErrFSDeviceFull, "device is full"},
    {ErrFSAlreadyMounted, "it is already mounted"},
    {ErrFSNotMounted, "it was not found"},
    {ErrFSMountPointExists, "mount point already exists"},
    {ErrTreeAccessDenied, "access denied"},
    {ErrIllegalRelativeLocation, "text is not a relative location"},
    {ErrTypeNotFound, "file type is not found"},
    {ErrGroupNotFound, "group of file types is not found"},
    {ErrForeignRecord, "another manager owns it"},
};

class Category : public std::error_category {
public:
    char const * name() const noexcept override { return "kestrel"; }

    std::string message(int code) const override {
        for (Row const & row : rows)
            if (row.code == code)
                return row.phrase;
        char text[32];
        std::snprintf(text, sizeof text, "unknown status 0x%08X", static_cast<unsigned int>(code));
        return text;
    }
};

} // namespace

std::error_category const & ErrorCategory() noexcept {
    static Category const category;
    return category;
}

} // namespace IO
