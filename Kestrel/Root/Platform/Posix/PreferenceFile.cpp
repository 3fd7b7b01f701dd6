#include <Kestrel/Root/Platform/PreferenceFile.h>

#include <Kestrel/Root/ErrorCodes.h>
#include <Kestrel/Root/Memory.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Mu::Platform {

namespace {

class Descriptor {
public:
    explicit Descriptor(int number) : number(number) {}
    ~Descriptor() { Close(); }
    Descriptor(Descriptor const &) = delete;
    Descriptor & operator=(Descriptor const &) = delete;
    int Get() const { return number; }
    bool Close() {
        int const closed = number;
        number = -1;
        return closed < 0 || close(closed) == 0;
    }

private:
    int number;
};

using Path = char[PATH_MAX];

bool Join(Path & path, char const * folder, char const * rest) {
    int const length = std::snprintf(path, sizeof path, "%s%s", folder, rest);
    return length > 0 && static_cast<std::size_t>(length) < sizeof path;
}

char const * GetVariable(char const * name) {
    char const * const value = std::getenv(name);
    return value != nullptr && *value != 0 ? value : nullptr;
}

// A relative base directory is to be ignored, as its standard says.
bool GetPath(Path & path) {
    if (char const * const chosen = GetVariable("KESTREL_PREFERENCES"))
        return Join(path, chosen, "");
    char const * const config = GetVariable("XDG_CONFIG_HOME");
    if (config != nullptr && *config == '/')
        return Join(path, config, "/kestrel/preferences.ini");
    char const * const home = GetVariable("HOME");
    return home != nullptr && Join(path, home, "/.config/kestrel/preferences.ini");
}

// Up to the count or the end of the file. False: a read error.
bool ReadAll(int file, char * text, std::size_t count, std::size_t * got) {
    for (*got = 0; *got < count;) {
        ssize_t const part = read(file, text + *got, count - *got);
        if (part == 0)
            return true;
        if (part > 0)
            *got += static_cast<std::size_t>(part);
        else if (errno != EINTR)
            return false;
    }
    return true;
}

bool WriteAll(int file, char const * text, std::size_t size) {
    while (size > 0) {
        ssize_t const part = write(file, text, size);
        if (part > 0) {
            text += part;
            size -= static_cast<std::size_t>(part);
        } else if (part == 0 || errno != EINTR) {
            return false;
        }
    }
    return true;
}

void MakeFolders(Path & path) {
    for (char * slash = std::strchr(path + 1, '/'); slash; slash = std::strchr(slash + 1, '/')) {
        *slash = 0;
        mkdir(path, 0700); // opening the file shows whether it exists
        *slash = '/';
    }
}

bool Create(char const * path, mode_t mode, char const * text, std::size_t size) {
    Descriptor file(open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, mode));
    return file.Get() >= 0 && WriteAll(file.Get(), text, size) && fsync(file.Get()) == 0 &&
           file.Close();
}

// The name of a new file beside the other, which no other thread or process uses.
bool MakeFreshName(Path & fresh, Path const & target) {
    static std::atomic<unsigned int> counter = 0;
    char ending[48];
    std::snprintf(ending, sizeof ending, ".%u.%u.new", static_cast<unsigned int>(getpid()),
                  counter++);
    return Join(fresh, target, ending);
}

} // namespace

// A file that grows meanwhile is read up to the size that it had.
MuErrCode ReadPreferences(std::size_t limit, char ** text, std::size_t * size) {
    *text = nullptr;
    *size = 0;
    Path path;
    if (!GetPath(path))
        return NoError;
    Descriptor const file(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (file.Get() < 0)
        return errno == ENOENT || errno == ENOTDIR ? NoError : InputFailure;
    struct stat info;
    if (fstat(file.Get(), &info) != 0 || !S_ISREG(info.st_mode))
        return InputFailure;
    if (info.st_size == 0)
        return NoError;
    if (static_cast<unsigned long long>(info.st_size) > limit)
        return Error;
    char * block = BMAllocatePtr(static_cast<std::size_t>(info.st_size), 0, 0);
    if (block == nullptr)
        return ErrMemoryFull;
    if (!ReadAll(file.Get(), block, static_cast<std::size_t>(info.st_size), size)) {
        BMKillPtr(&block);
        return InputFailure;
    }
    *text = block;
    return NoError;
}

// A file that is a link to somewhere else is replaced there.
MuErrCode WritePreferences(char const * text, std::size_t size) {
    Path path, target, fresh;
    if (!GetPath(path))
        return OutputClosed;
    MakeFolders(path);
    if (realpath(path, target) == nullptr && !Join(target, path, ""))
        return OutputClosed;
    struct stat info;
    mode_t const mode = stat(target, &info) == 0 ? info.st_mode & 0777 : 0600;
    if (!MakeFreshName(fresh, target))
        return OutputClosed;
    if (Create(fresh, mode, text, size) && rename(fresh, target) == 0)
        return NoError;
    unlink(fresh);
    return OutputClosed;
}

} // namespace Mu::Platform
