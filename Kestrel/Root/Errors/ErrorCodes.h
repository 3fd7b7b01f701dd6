#pragma once

#include <Kestrel/Root/Log/LogSeverity.h> // first: else its Error would hide the one below, for -Wshadow
#include <Kestrel/Root/Types.h>

namespace Mu {

inline constexpr MuErrCode MakeErrorCode(unsigned int bits) {
    return static_cast<MuErrCode>(bits);
}

inline constexpr MuErrCode NoError = 0;
inline constexpr MuErrCode ErrMemoryFull = -108; ///< out of memory
inline constexpr MuErrCode Error = -7003;        ///< misuse, a limit, or any other failure

inline constexpr MuErrCode EOI = MakeErrorCode(0x81000100);          ///< end of input
inline constexpr MuErrCode InputFailure = MakeErrorCode(0x81000101); ///< reading failed
inline constexpr MuErrCode EOO = MakeErrorCode(0x81000200);          ///< end of output: no space
inline constexpr MuErrCode OutputClosed = MakeErrorCode(0x81000201); ///< writing failed

} // namespace Mu

namespace IO {

using Mu::EOI;
using Mu::EOO;
using Mu::ErrMemoryFull;
using Mu::Error;
using Mu::InputFailure;
using Mu::NoError;
using Mu::OutputClosed;

// Locations.
inline constexpr MuErrCode ErrIllegalLocation = Mu::MakeErrorCode(0x81010000);
inline constexpr MuErrCode ErrDifferentNetwork = Mu::MakeErrorCode(0x81010001);
inline constexpr MuErrCode ErrNoScheme = Mu::MakeErrorCode(0x81010002);

// Files.
inline constexpr MuErrCode ErrFileNotFound = Mu::MakeErrorCode(0x81010100);
inline constexpr MuErrCode ErrNotAFile = Mu::MakeErrorCode(0x81010101);
inline constexpr MuErrCode ErrFileAccessDenied = Mu::MakeErrorCode(0x81010102);
inline constexpr MuErrCode ErrFileCreationFailed = Mu::MakeErrorCode(0x81010103);
inline constexpr MuErrCode ErrNoMoreFileHandle = Mu::MakeErrorCode(0x81010104);
inline constexpr MuErrCode ErrIllegalPosition = Mu::MakeErrorCode(0x81010105);
inline constexpr MuErrCode ErrFileInvalidTime = Mu::MakeErrorCode(0x81010106);

// Folders.
inline constexpr MuErrCode ErrFolderNotFound = Mu::MakeErrorCode(0x81010200);
inline constexpr MuErrCode ErrNotAFolder = Mu::MakeErrorCode(0x81010201);
inline constexpr MuErrCode ErrFolderAccessDenied = Mu::MakeErrorCode(0x81010202);
inline constexpr MuErrCode ErrFolderCreationFailed = Mu::MakeErrorCode(0x81010203);
inline constexpr MuErrCode ErrSourceNotFound = Mu::MakeErrorCode(0x81010204);
inline constexpr MuErrCode ErrEntryNotFound = Mu::MakeErrorCode(0x81010205);
inline constexpr MuErrCode ErrTargetExists = Mu::MakeErrorCode(0x81010206);
inline constexpr MuErrCode ErrDeviceFull = Mu::MakeErrorCode(0x81010207);
inline constexpr MuErrCode ErrFolderInvalidTime = Mu::MakeErrorCode(0x81010208);

// The file system.
inline constexpr MuErrCode ErrFSFileNotFound = Mu::MakeErrorCode(0x81010300);
inline constexpr MuErrCode ErrFSFolderNotFound = Mu::MakeErrorCode(0x81010301);
inline constexpr MuErrCode ErrFSEntryNotFound = Mu::MakeErrorCode(0x81010302);
inline constexpr MuErrCode ErrFSNotAFile = Mu::MakeErrorCode(0x81010303);
inline constexpr MuErrCode ErrFSNotAFolder = Mu::MakeErrorCode(0x81010304);
inline constexpr MuErrCode ErrFSAccessDenied = Mu::MakeErrorCode(0x81010305);
inline constexpr MuErrCode ErrFSDeviceFull = Mu::MakeErrorCode(0x81010306);
inline constexpr MuErrCode ErrFSAlreadyMounted = Mu::MakeErrorCode(0x81010307);
inline constexpr MuErrCode ErrFSNotMounted = Mu::MakeErrorCode(0x81010308);
inline constexpr MuErrCode ErrFSMountPointExists = Mu::MakeErrorCode(0x81010309);

// Tree walks and relative locations.
inline constexpr MuErrCode ErrTreeAccessDenied = Mu::MakeErrorCode(0x81010400);
inline constexpr MuErrCode ErrIllegalRelativeLocation = Mu::MakeErrorCode(0x81010500);

// File types.
inline constexpr MuErrCode ErrTypeNotFound = Mu::MakeErrorCode(0x81010600);
inline constexpr MuErrCode ErrGroupNotFound = Mu::MakeErrorCode(0x81010601);
inline constexpr MuErrCode ErrForeignRecord = Mu::MakeErrorCode(0x81010602);

} // namespace IO

namespace FTM {

using IO::ErrForeignRecord;
using IO::ErrGroupNotFound;
using IO::ErrTypeNotFound;

} // namespace FTM
