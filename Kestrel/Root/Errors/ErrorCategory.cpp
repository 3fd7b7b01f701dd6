#include <Kestrel/Root/Errors/ErrorCategory.h>

#include <cstdio>
#include <cstring>

namespace IO {

namespace {

struct Row {
    MuErrCode code;
    char const * phrase;
    std::errc condition = {}; // the standard's equivalent; none if there is none
};

constexpr Row rows[] = {
    {NoError, "no error"},
    {ErrMemoryFull, "memory is full", std::errc::not_enough_memory},
    {Error, "unknown error"},
    {EOI, "end of input"},
    {InputFailure, "read error", std::errc::io_error},
    {EOO, "device is full", std::errc::no_space_on_device},
    {OutputClosed, "write error", std::errc::io_error},
    {ErrIllegalLocation, "text is not a location", std::errc::invalid_argument},
    {ErrDifferentNetwork, "locations are on different machines"},
    {ErrNoScheme, "scheme is missing"},
    {ErrFileNotFound, "file is not found", std::errc::no_such_file_or_directory},
    {ErrNotAFile, "not a file was specified", std::errc::is_a_directory},
    {ErrFileAccessDenied, "access to file is denied", std::errc::permission_denied},
    {ErrFileCreationFailed, "creation of file has failed"},
    {ErrNoMoreFileHandle, "no more OS file handle", std::errc::too_many_files_open},
    {ErrIllegalPosition, "illegal position", std::errc::invalid_seek},
    {ErrFileInvalidTime, "invalid time is encountered", std::errc::result_out_of_range},
    {ErrFolderNotFound, "folder is not found", std::errc::no_such_file_or_directory},
    {ErrNotAFolder, "not a folder was specified", std::errc::not_a_directory},
    {ErrFolderAccessDenied, "access to folder is denied", std::errc::permission_denied},
    {ErrFolderCreationFailed, "creation of folder has failed"},
    {ErrSourceNotFound, "source is not found", std::errc::no_such_file_or_directory},
    {ErrEntryNotFound, "entry is not found", std::errc::no_such_file_or_directory},
    {ErrTargetExists, "target already exists", std::errc::file_exists},
    {ErrDeviceFull, "device is full", std::errc::no_space_on_device},
    {ErrFolderInvalidTime, "invalid time is encountered", std::errc::result_out_of_range},
    {ErrFSFileNotFound, "file is not found", std::errc::no_such_file_or_directory},
    {ErrFSFolderNotFound, "folder is not found", std::errc::no_such_file_or_directory},
    {ErrFSEntryNotFound, "entry is not found", std::errc::no_such_file_or_directory},
    {ErrFSNotAFile, "not a file was specified", std::errc::is_a_directory},
    {ErrFSNotAFolder, "not a folder was specified", std::errc::not_a_directory},
    {ErrFSAccessDenied, "access denied", std::errc::permission_denied},
    {ErrFSDeviceFull, "device is full", std::errc::no_space_on_device},
    {ErrFSAlreadyMounted, "it is already mounted"},
    {ErrFSNotMounted, "it was not found"},
    {ErrFSMountPointExists, "mount point already exists", std::errc::file_exists},
    {ErrTreeAccessDenied, "access denied", std::errc::permission_denied},
    {ErrIllegalRelativeLocation, "text is not a relative location", std::errc::invalid_argument},
    {ErrTypeNotFound, "file type is not found"},
    {ErrGroupNotFound, "group of file types is not found"},
    {ErrForeignRecord, "another manager owns it"},
};

Row const * Find(MuErrCode code) {
    for (Row const & row : rows)
        if (row.code == code)
            return &row;
    return nullptr;
}

class Category : public std::error_category {
public:
    char const * name() const noexcept override { return "kestrel"; }

    std::string message(int code) const override {
        if (Row const * const row = Find(code))
            return row->phrase;
        char text[32];
        std::snprintf(text, sizeof text, "unknown status 0x%08X", static_cast<unsigned int>(code));
        return text;
    }

    std::error_condition default_error_condition(int code) const noexcept override {
        Row const * const row = Find(code);
        bool const isKnown = code == NoError || (row != nullptr && row->condition != std::errc{});
        return isKnown ? std::make_error_condition(row->condition)
                       : std::error_condition(code, *this);
    }

    // Compared by the name of the category: a Windows program and the library may each have a C++
    // runtime of their own, and with it a generic category.
    bool equivalent(int code, std::error_condition const & condition) const noexcept override {
        std::error_condition const own = default_error_condition(code);
        return own.value() == condition.value() &&
               std::strcmp(own.category().name(), condition.category().name()) == 0;
    }
};

} // namespace

std::error_category const & ErrorCategory() noexcept {
    static Category const category;
    return category;
}

} // namespace IO
