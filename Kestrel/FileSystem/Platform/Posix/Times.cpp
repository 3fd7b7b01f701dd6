#include <Kestrel/FileSystem/Platform/Posix/Times.h>

#include <Kestrel/FileSystem/Platform/FileCallTypes.h>
#include <Kestrel/Location/Platform/Posix/ErrorMapping.h>

#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>

namespace IO {
namespace {

constexpr long long UnixEpoch = 11644473600; // seconds from 1601 to 1970
constexpr unsigned int UnitsPerSecond = 10'000'000;
constexpr char CreationTimeName[] = "user.kestrel.creation-time";

} // namespace

bool ToSystemTime(unsigned long long time, timespec * system) {
    if (time >> 63 != 0)
        return false;
    system->tv_sec = static_cast<time_t>(static_cast<long long>(time / UnitsPerSecond) - UnixEpoch);
    system->tv_nsec = static_cast<long>(time % UnitsPerSecond * 100);
    return true;
}

unsigned long long FromSystemTime(long long seconds, unsigned int nanoseconds) {
    if (seconds < -UnixEpoch)
        return 0;
    return static_cast<unsigned long long>(seconds + UnixEpoch) * UnitsPerSecond +
           nanoseconds / 100;
}

unsigned int SetCreationTime(int descriptor, unsigned long long time) {
    unsigned char bytes[8]; // low byte first
    for (unsigned int i = 0; i < sizeof(bytes); ++i)
        bytes[i] = static_cast<unsigned char>(time >> 8 * i);
    int const result = ::fsetxattr(descriptor, CreationTimeName, bytes, sizeof(bytes), 0);
    return result == 0 ? FileError::None : GetLastFileError();
}

unsigned long long GetCreationTime(int at, char const * path, struct statx const & info) {
    unsigned char bytes[8];
    char reached[320]; // the path of a name in an open folder, for which there is no such call
    if (at != AT_FDCWD) {
        std::snprintf(reached, sizeof(reached), "/proc/self/fd/%d/%s", at, path);
        path = reached;
    }
    if (::lgetxattr(path, CreationTimeName, bytes, sizeof(bytes)) == sizeof(bytes)) {
        unsigned long long time = 0;
        for (unsigned int i = sizeof(bytes); i-- > 0;)
            time = time << 8 | bytes[i];
        return time;
    }
    statx_timestamp const & time =
        (info.stx_mask & STATX_BTIME) != 0 ? info.stx_btime : info.stx_ctime;
    return FromSystemTime(time.tv_sec, time.tv_nsec);
}

} // namespace IO
