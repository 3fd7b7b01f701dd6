#include <Kestrel/FileSystem/Internal/FileTimes.h>

#include <Kestrel/FileSystem/Internal/PathType.h>

#include <limits>

namespace IO {

namespace {

using TimeStatus = FSEntry::TimeStatus;

constexpr long long UnitsOfSecond = 10000000;
constexpr long long StartOf1970 = 116444736000000000; // in units since the start of 1601

// Denials are reported when opening; a later one is a failure like any other.
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
    // A file time counts from 1601 in 63 bits; larger values are invalid, too.
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

namespace {

TimeStatus Write(PathText path, TimeKind kind, unsigned long long time, unsigned int flags) {
    FileCalls & calls = GetFileCalls();
    FileHandle file;
    unsigned int error = calls.CreateFile(path, FileAccess::Write, FileShare::None,
                                          FileDisposition::OpenExisting, flags, &file);
    if (error != FileError::None)
        return TranslateDenial<TimeStatus>(error);
    bool const isCreation = kind == TimeKind::Creation;
    error = calls.SetFileTime(file, isCreation ? &time : nullptr, isCreation ? nullptr : &time);
    calls.CloseHandle(file); // nothing was written that could still be lost
    return Translate(setErrors, error, TimeStatus::Other);
}

unsigned int Find(PathText path, TimeKind kind, unsigned long long * time) {
    FindData data;
    unsigned int const error = FindEntry(path, &data);
    if (error == FileError::None)
        *time = kind == TimeKind::Creation ? data.creationTime : data.lastWriteTime;
    return error;
}

// A disk may support a smaller range of times than the system, and stores the nearest one instead:
// the entry's own time is then restored.
TimeStatus WriteFar(PathText path, TimeKind kind, unsigned long long time, unsigned int flags) {
    unsigned long long before = 0;
    unsigned long long now = 0;
    unsigned int const error = Find(path, kind, &before);
    if (error != FileError::None)
        return TranslateDenial<TimeStatus>(error);
    TimeStatus const status = Write(path, kind, time, flags);
    if (status != TimeStatus::Done || (Find(path, kind, &now) == FileError::None && now == time))
        return status;
    return Write(path, kind, before, flags) == TimeStatus::Done ? TimeStatus::InvalidTime
                                                                : TimeStatus::Other;
}

} // namespace

template <typename Seconds>
TimeStatus ReadPathTime(PathText path, TimeKind kind, Seconds * seconds) {
    if (seconds == nullptr)
        return TimeStatus::Other;
    unsigned long long time = 0;
    unsigned int const error = Find(path, kind, &time);
    return error != FileError::None ? TranslateDenial<TimeStatus>(error)
                                    : FromFileTime(time, seconds);
}
template TimeStatus ReadPathTime(PathText, TimeKind, int *);
template TimeStatus ReadPathTime(PathText, TimeKind, long long *);

TimeStatus WritePathTime(PathText path, TimeKind kind, long long seconds, unsigned int flags) {
    constexpr long long first = -StartOf1970 / UnitsOfSecond; // a file time of 0 means none
    constexpr long long last =
        (std::numeric_limits<long long>::max() - StartOf1970) / UnitsOfSecond;
    if (seconds <= first || seconds > last)
        return TimeStatus::InvalidTime;
    unsigned long long const time = ToFileTime(seconds);
    return seconds == static_cast<int>(seconds) ? Write(path, kind, time, flags)
                                                : WriteFar(path, kind, time, flags);
}

} // namespace IO
