#include <Kestrel/FileSystem/Internal/FileTimes.h>

#include <limits>

namespace IO {

namespace {

using TimeStatus = FSEntry::TimeStatus;

constexpr long long UnitsOfSecond = 10000000;
constexpr long long StartOf1970 = 116444736000000000; // in units since the start of 1601

// A denial is reported by the opening; one that comes only now is a failure like any other.
constexpr ErrorRow<TimeStatus> setErrors[] = {{FileError::InvalidTime, TimeStatus::InvalidTime}};

} // namespace

unsigned long long ToFileTime(long long seconds) {
    return static_cast<unsigned long long>(seconds * UnitsOfSecond + StartOf1970);
}

TimeStatus FromFileTime(unsigned long long fileTime, long long * seconds) {
    if (fileTime == 0) {
        *seconds = 0;
        return TimeStatus::Done;
    }
    // A file time counts from 1601 in 63 bits; what is above that is no time either.
    if (fileTime > static_cast<unsigned long long>(std::numeric_limits<long long>::max()))
        return TimeStatus::InvalidTime;
    *seconds = (static_cast<long long>(fileTime) - StartOf1970) / UnitsOfSecond;
    return TimeStatus::Done;
}

TimeStatus FromFileTime(unsigned long long fileTime, int * seconds) {
    long long value = 0;
    if (FromFileTime(fileTime, &value) != TimeStatus::Done || value != static_cast<int>(value))
        return TimeStatus::InvalidTime;
    *seconds = static_cast<int>(value);
    return TimeStatus::Done;
}

TimeStatus WritePathTime(PathText path, TimeKind kind, long long seconds, unsigned int flags) {
    constexpr long long first = -StartOf1970 / UnitsOfSecond; // as a file time, 0 is no time
    constexpr long long last =
        (std::numeric_limits<long long>::max() - StartOf1970) / UnitsOfSecond;
    if (seconds <= first || seconds > last)
        return TimeStatus::InvalidTime;
    FileCalls & calls = GetFileCalls();
    FileHandle file;
    unsigned int error = calls.CreateFile(path, FileAccess::Write, FileShare::None,
                                          FileDisposition::OpenExisting, flags, &file);
    if (error != FileError::None)
        return TranslateDenial<TimeStatus>(error);
    unsigned long long const time = ToFileTime(seconds);
    bool const isCreation = kind == TimeKind::Creation;
    error = calls.SetFileTime(file, isCreation ? &time : nullptr, isCreation ? nullptr : &time);
    calls.CloseHandle(file); // nothing was written that could still be lost
    return Translate(setErrors, error, TimeStatus::Other);
}

} // namespace IO
