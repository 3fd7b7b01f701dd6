#include <Kestrel/Root/Errors/ErrorCategory.h> // first: the header stands on its own

#include <gtest/gtest.h>

#include <vector>

// Hosts keep these numbers, and logs these phrases: the domains with their phrases in the order of
// their numbers, from 0 on.
TEST(ErrorCategory, HasAPhraseForEachNumber) {
    struct {
        unsigned int first;
        std::vector<char const *> phrases;
    } const domains[] = {
        {0, {"no error"}},
        {static_cast<unsigned int>(-108), {"memory is full"}},
        {static_cast<unsigned int>(-7003), {"unknown error"}},
        {0x81000100, {"end of input", "read error"}},
        {0x81000200, {"device is full", "write error"}},
        {0x81010000,
         {"text is not a location", "locations are on different machines", "scheme is missing"}},
        {0x81010100,
         {"file is not found", "not a file was specified", "access to file is denied",
          "creation of file has failed", "no more OS file handle", "illegal position",
          "invalid time is encountered"}},
        {0x81010200,
         {"folder is not found", "not a folder was specified", "access to folder is denied",
          "creation of folder has failed", "source is not found", "entry is not found",
          "target already exists", "device is full", "invalid time is encountered"}},
        {0x81010300,
         {"file is not found", "folder is not found", "entry is not found",
          "not a file was specified", "not a folder was specified", "access denied",
          "device is full", "it is already mounted", "it was not found",
          "mount point already exists"}},
        {0x81010400, {"access denied"}},
        {0x81010500, {"text is not a relative location"}},
        {0x81010600,
         {"file type is not found", "group of file types is not found", "another manager owns it"}},
    };
    for (auto const & domain : domains) {
        unsigned int code = domain.first;
        for (char const * phrase : domain.phrases) {
            std::error_code const error(static_cast<int>(code++), IO::ErrorCategory());
            EXPECT_EQ(error.message(), phrase) << code - 1;
        }
    }
    EXPECT_EQ(IO::ErrorCategory().message(IO::ErrFSMountPointExists), "mount point already exists");
    EXPECT_EQ(IO::ErrorCategory().message(static_cast<int>(0x8101030Au)),
              "unknown status 0x8101030A");
    EXPECT_STREQ(IO::ErrorCategory().name(), "kestrel");
    EXPECT_EQ(IO::MakeErrorCode(IO::ErrFileNotFound), std::errc::no_such_file_or_directory);
    EXPECT_EQ(IO::MakeErrorCode(IO::ErrFSAccessDenied), std::errc::permission_denied);
    EXPECT_EQ(IO::MakeErrorCode(IO::NoError), std::errc());
    EXPECT_NE(IO::MakeErrorCode(IO::Error), std::errc::io_error);
    EXPECT_NE(IO::MakeErrorCode(IO::Error), std::errc());
}
