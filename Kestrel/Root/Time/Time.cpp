#include <Kestrel/Root/Time/Time.h>

#include <Kestrel/Root/Platform/SystemCalls.h>
#include <Kestrel/Root/Time/Clock.h>

namespace {

constexpr long long secondsPerDay = 86400;

// Days are counted in years that begin with March, so that the leap day is the last one.
constexpr long long daysPerEra = 146097; // 400 years
constexpr long long daysToEpoch = 719468;

long long FloorDivide(long long value, long long by) {
    return value / by - (value % by < 0 ? 1 : 0);
}

long long DaysFromDate(long long year, int month, int day) {
    year -= month <= 2 ? 1 : 0;
    long long const era = FloorDivide(year, 400);
    long long const yearOfEra = year - era * 400;
    long long const dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5;
    long long const dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * daysPerEra + dayOfEra - daysToEpoch + day - 1;
}

void SetDate(MuTimeRecord & record, long long days) {
    long long const shifted = days + daysToEpoch;
    long long const era = FloorDivide(shifted, daysPerEra);
    long long const dayOfEra = shifted - era * daysPerEra;
    long long const yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    long long const dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    long long const shiftedMonth = (5 * dayOfYear + 2) / 153;
    record.day = static_cast<int>(dayOfYear - (153 * shiftedMonth + 2) / 5 + 1);
    record.month = static_cast<int>(shiftedMonth < 10 ? shiftedMonth + 3 : shiftedMonth - 9);
    record.year = static_cast<int>(yearOfEra + era * 400 + (record.month <= 2 ? 1 : 0));
    record.dayOfWeek = static_cast<int>((days % 7 + 11) % 7);
    record.dayOfYear = static_cast<int>(days - DaysFromDate(record.year, 1, 1) + 1);
}

// Seconds east of UTC at that time. Before 1970 the offset of that year's start counts.
long long GetOffset(long long time, unsigned int mode) {
    if (mode != TILocalTime)
        return 0;
    auto const asked = static_cast<unsigned long long>(time < 0 ? 0 : time);
    return Mu::Platform::GetLocalTime(asked).offset * 60ll;
}

bool IsMode(unsigned int mode) {
    return mode == TIUniversalTime || mode == TILocalTime;
}

} // namespace

int TIGetTime() {
    return static_cast<int>(Mu::GetClock().GetWallMilliseconds() / 1000);
}

MuErrCode TIGetTimeRecord(int time, MuTimeRecord * record, unsigned int mode) {
    if (record == nullptr || !IsMode(mode))
        return Mu::Error;
    long long const seconds = time + GetOffset(time, mode);
    long long const days = FloorDivide(seconds, secondsPerDay);
    int const rest = static_cast<int>(seconds - days * secondsPerDay);
    SetDate(*record, days);
    record->hour = rest / 3600;
    record->minute = rest / 60 % 60;
    record->second = rest % 60;
    return Mu::NoError;
}

MuErrCode TIGetMuTime(MuTimeRecord const * record, int * time, unsigned int mode) {
    if (record == nullptr || time == nullptr || !IsMode(mode) || record->month < 1 ||
        record->month > 12)
        return Mu::Error;
    long long seconds =
        (DaysFromDate(record->year, record->month, 1) + record->day - 1ll) * secondsPerDay +
        record->hour * 3600ll + record->minute * 60ll + record->second;
    // The offset is that of the universal time, which is only near at first.
    seconds -= GetOffset(seconds - GetOffset(seconds, mode), mode);
    if (seconds != static_cast<int>(seconds))
        return Mu::Error;
    *time = static_cast<int>(seconds);
    return Mu::NoError;
}
