#include <Kestrel/Process/Platform/Posix/PosixProcessCalls.h>

#include <Kestrel/Location/Platform/NativeText.h>
#include <Kestrel/Location/Platform/Posix/ErrorMapping.h>
#include <Kestrel/Process/Platform/Posix/CommandLine.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <spawn.h>
#include <string_view>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace IO::Process {
namespace {

using namespace std::string_view_literals;

/// "/proc/<number>/<what>".
class ProcPath {
public:
    ProcPath(int processId, char const * what) {
        std::snprintf(text, sizeof(text), "/proc/%d/%s", processId, what);
    }
    operator char const *() const { return text; }

private:
    char text[32];
};

// The program file that the link refers to. False: it may not be read, or there is none.
bool ReadProgram(char const * link, BytePath * program) {
    program->Truncate(0);
    auto const got = Retry([=] { return ::readlink(link, program->text, BytePath::Size); });
    if (got <= 0 || got >= static_cast<long>(BytePath::Size))
        return false;
    program->Truncate(static_cast<unsigned int>(got));
    // Added by the system when the file has been deleted: the process runs on under its name.
    constexpr std::string_view Deleted = " (deleted)"sv;
    struct stat info;
    if (program->GetText().ends_with(Deleted) && ::stat(link, &info) == 0 && info.st_nlink == 0)
        program->Truncate(program->length - static_cast<unsigned int>(Deleted.size()));
    return program->text[0] == '/';
}

std::string_view GetFileName(BytePath const & path) {
    return path.GetText().substr(path.GetText().rfind('/') + 1);
}

// The fourth word of "stat"; the second is the program's name in brackets, which may contain
// anything.
bool ReadParent(int processId, int * parent) {
    int const file =
        Retry([=] { return ::open(ProcPath(processId, "stat"), O_RDONLY | O_CLOEXEC); });
    if (file < 0)
        return false;
    char text[512];
    auto const got = Retry([&] { return ::read(file, text, sizeof(text)); });
    ::close(file);
    std::string_view words(text, got > 0 ? static_cast<std::size_t>(got) : 0);
    std::size_t const bracket = words.rfind(')');
    constexpr std::size_t ToParent = 4; // after ") S "
    if (bracket == words.npos || words.size() - bracket <= ToParent)
        return false;
    words.remove_prefix(bracket + ToParent);
    return std::from_chars(words.data(), words.data() + words.size(), *parent).ec == std::errc();
}

// False: it cannot be described, or has ended meanwhile.
bool Describe(int processId, ProcessEntry * entry) {
    BytePath program;
    if (!ReadProgram(ProcPath(processId, "exe"), &program) ||
        !ReadParent(processId, &entry->parentProcessId))
        return false;
    entry->processId = processId;
    TextBuffer name{entry->exeFile, ProcessEntry::NameSize, 0};
    return AppendPortableName(GetFileName(program), &name);
}

bool IsNumber(char const * name, int * number) {
    char const * const end = name + std::strlen(name);
    auto const [stop, error] = std::from_chars(name, end, *number);
    return error == std::errc() && stop == end;
}

// Runs in an intermediate process that ends at once, so that the program has no parent here that
// would have to wait for its end. Returns an errno.
int Spawn(char const * file, char * const * arguments, bool searches) {
    posix_spawnattr_t attributes;
    ::posix_spawnattr_init(&attributes);
    sigset_t set;
    ::sigemptyset(&set);
    ::posix_spawnattr_setsigmask(&attributes, &set);
    ::sigfillset(&set); // what this process ignores, the program need not know to ignore
    ::posix_spawnattr_setsigdefault(&attributes, &set);
    ::posix_spawnattr_setflags(&attributes,
                               POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSID);
    pid_t started;
    auto const spawn = searches ? ::posix_spawnp : ::posix_spawn;
    return spawn(&started, file, nullptr, &attributes, arguments, environ);
}

// The result comes through a pipe: a host that ignores SIGCHLD, or that waits for any child, leaves no
// exit status of the one in between.
int Start(char const * file, char * const * arguments, bool searches) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        return errno;
    pid_t const between = ::fork();
    if (between == 0) {
        int const result = Spawn(file, arguments, searches);
        Retry([&] { return ::write(ends[1], &result, sizeof(result)); });
        ::_exit(0);
    }
    int result = between < 0 ? errno : 0;
    ::close(ends[1]);
    if (between > 0 &&
        Retry([&] { return ::read(ends[0], &result, sizeof(result)); }) != sizeof(result))
        result = EIO;
    ::close(ends[0]);
    if (between > 0)
        Retry([&] { return ::waitpid(between, nullptr, 0); });
    return result;
}

} // namespace

ProcessCalls & GetPlatformProcessCalls() {
    static PosixProcessCalls calls;
    return calls;
}

unsigned int PosixProcessCalls::GetModuleFileName(TextBuffer * path) {
    path->length = 0;
    path->units[0] = 0;
    BytePath program;
    if (!ReadProgram("/proc/self/exe", &program))
        return GetLastFileError();
    if (AppendPortableText(program.GetText(), path))
        return FileError::None;
    path->length = 0;
    path->units[0] = 0;
    return FileError::MoreData;
}

unsigned int PosixProcessCalls::CreateProcessSnapshot(SnapshotHandle * snapshot) {
    *snapshot = ::opendir("/proc");
    return *snapshot != nullptr ? FileError::None : GetLastFileError();
}

unsigned int PosixProcessCalls::FirstProcess(SnapshotHandle snapshot, ProcessEntry * entry) {
    ::rewinddir(static_cast<DIR *>(snapshot));
    return NextProcess(snapshot, entry);
}

unsigned int PosixProcessCalls::NextProcess(SnapshotHandle snapshot, ProcessEntry * entry) {
    for (;;) {
        errno = 0;
        dirent const * const found = ::readdir(static_cast<DIR *>(snapshot));
        if (found == nullptr)
            return errno == 0 ? FileError::NoMoreFiles : GetLastFileError();
        int processId;
        if (IsNumber(found->d_name, &processId) && Describe(processId, entry))
            return FileError::None;
    }
}

void PosixProcessCalls::CloseSnapshot(SnapshotHandle snapshot) {
    ::closedir(static_cast<DIR *>(snapshot));
}

unsigned int PosixProcessCalls::EnumerateModules(int processId, ModuleVisitor & visitor) {
    BytePath program;
    if (!ReadProgram(ProcPath(processId, "exe"), &program))
        return GetLastFileError();
    char16_t nameUnits[BytePath::Size];
    char16_t pathUnits[BytePath::Size];
    TextBuffer name{nameUnits, BytePath::Size, 0};
    TextBuffer path{pathUnits, BytePath::Size, 0};
    if (!AppendPortableName(GetFileName(program), &name) ||
        !AppendPortableText(program.GetText(), &path))
        return FileError::MoreData;
    visitor.ModuleFound({name.GetText(), path.GetText()});
    return FileError::None;
}

unsigned int PosixProcessCalls::Launch(char const * path, PathText parameters) {
    CommandLine command;
    if (unsigned int const error = command.Set(path, parameters); error != FileError::None)
        return error;
    int const error = Start(path, command.GetArguments(), false);
    if ((error != EACCES && error != ENOEXEC) || ::access(path, F_OK) != 0)
        return error == 0 ? FileError::None : ToFileError(error);
    char program[] = "xdg-open";
    char * const arguments[] = {program, const_cast<char *>(path), nullptr};
    return Start(program, arguments, true) == 0 ? FileError::None : ToFileError(error);
}

} // namespace IO::Process
