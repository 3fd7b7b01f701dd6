#include <Kestrel/FileSystem/Internal/FileTimes.h>

#include <Kestrel/FileSystem/Internal/PathType.h>

#include <limits>

namespace IO {

namespace {

using TimeStatus = FSEntry::TimeStatus;

constexpr long long UnitsOfSecond = 10000000;
constexpr long long StartOf1970 = 116444736000000000; // in units since the start of 1601

// A denial is reported by the opening; one that comes only now is a failure like any other.
constexpr ErrorRow<TimeStatus> setErrors[] = {{FileError::InvalidTime, TimeStatus::InvalidTime}};

} // namespace

unsigned long long ToFileTime(int seconds) {
    return static_cast<unsigned long long>(seconds * UnitsOfSecond + StartOf1970);
}

TimeStatus FromFileTime(unsigned long long fileTime, int * seconds) {
    if (fileTime == 0) {
        *seconds = 0;
        return TimeStatus::Done;
    }
    // A file time counts from 1601 in 63 bits; what is above that is no time either.
    if (fileTime > static_cast<unsigned long long>(std::numeric_limits<long long>::max()))
        return TimeStatus::InvalidTime;
    long long const value = (static_cast<long long>(fileTime) - StartOf1970) / UnitsOfSecond;
    if (value > std::numeric_limits<int>::max() || value < std::numeric_limits<int>::min())
        return TimeStatus::InvalidTime;
    *seconds = static_cast<int>(value);
    return TimeStatus::Done;
}

TimeStatus ReadPathTime(PathText path, TimeKind kind, int * seconds) {
    if (seconds == nullptr)
        return TimeStatus::Other;
    FindData data;
    unsigned int const error = FindEntry(path, &data);
    if (error != FileError::None)
        return TranslateDenial<TimeStatus>(error);
    return FromFileTime(kind == TimeKind::Creation ? data.creationTime : data.lastWriteTime,
                        seconds);
}

TimeStatus WritePathTime(PathText path, TimeKind kind, int seconds, unsigned int flags) {
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
