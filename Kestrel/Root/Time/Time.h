#pragma once

#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Export.h>

/// A point in time, broken down.
struct MuTimeRecord {
    int year = 1970;
    int month = 1; ///< 1 to 12
    int day = 1;   ///< 1 to 31
    int hour = 0;
    int minute = 0;
    int second = 0;
    int dayOfWeek = 4; ///< 0 is Sunday; ignored by TIGetMuTime
    int dayOfYear = 1; ///< from 1; ignored by TIGetMuTime
};

// The relation of a record to the time value.
inline constexpr unsigned int TIUniversalTime = 0;
inline constexpr unsigned int TILocalTime = 1; ///< in the time zone of the user

/// Seconds since the start of 1970, from the root's clock.
KESTREL_API int TIGetTime();
/// Error for a null record or an unknown mode.
KESTREL_API MuErrCode TIGetTimeRecord(int time, MuTimeRecord * record, unsigned int mode = 0);
/// Fields outside their range carry over, so that 24 hours are a day. Error, and `*time` is
/// unchanged, if the month is invalid or the result needs more than 32 bits.
KESTREL_API MuErrCode TIGetMuTime(MuTimeRecord const * record, int * time, unsigned int mode = 0);
