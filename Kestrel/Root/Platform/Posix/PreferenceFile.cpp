#include <Kestrel/Root/Platform/PreferenceFile.h>

#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Memory/Memory.h>

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
    ~Descriptor() {
        if (number >= 0)
            close(number);
    }
    Descriptor(Descriptor const &) = delete;
    Descriptor & operator=(Descriptor const &) = delete;
    int Get() const { return number; }

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

// A relative base directory is ignored, as its standard requires.
bool GetPath(Path & path) {
    if (char const * const chosen = GetVariable("KESTREL_PREFERENCES"))
        return Join(path, chosen, "");
    char const * const config = GetVariable("XDG_CONFIG_HOME");
    if (config != nullptr && *config == '/')
        return Join(path, config, "/kestrel/preferences.ini");
    char const * const home = GetVariable("HOME");
    return home != nullptr && Join(path, home, "/.config/kestrel/preferences.ini");
}

// Up to the count or the end of the file. False: read error.
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

} // namespace

// A file that grows meanwhile is read up to its earlier size.
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

} // namespace Mu::Platform
