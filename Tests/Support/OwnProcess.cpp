#include "Tests/Support/OwnProcess.h"

#include <cstdint>
#include <cstdlib>
#include <ctime>

#if defined(_WIN32)
#include <process.h>
#include <windows.h>
#else
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace Tests {

void SetVariable(char const * name, std::string const & value) {
#if defined(_WIN32)
    _putenv_s(name, value.c_str());
#else
    setenv(name, value.c_str(), 1);
#endif
}

void SetZone([[maybe_unused]] char const * zone) {
#if !defined(_WIN32)
    SetVariable("TZ", zone);
    tzset();
#endif
}

namespace {

// The shard of the tests that this process runs is not that of one that runs a test by name.
void LeaveShard() {
    SetVariable("GTEST_TOTAL_SHARDS", "1");
    SetVariable("GTEST_SHARD_INDEX", "0");
}

} // namespace

#if defined(_WIN32)

Region::Region(std::size_t size)
    : start(VirtualAlloc(nullptr, size, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE)), size(size) {}

Region::~Region() {
    VirtualFree(start, 0, MEM_RELEASE);
}

void EndProcess(int exitCode) {
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(exitCode));
    std::abort();
}

int RunProgram(std::string const & path, std::vector<std::string> const & arguments) {
    std::vector<std::string> quoted{'"' + path + '"'};
    for (std::string const & argument : arguments)
        quoted.push_back('"' + argument + '"');
    std::vector<char const *> list;
    for (std::string const & argument : quoted)
        list.push_back(argument.c_str());
    list.push_back(nullptr);
    // Wine now and then cannot start a process on a busy machine.
    std::intptr_t child = -1;
    for (int tries = 0; child == -1 && tries < 3; ++tries)
        child = _spawnv(_P_NOWAIT, path.c_str(), list.data());
    int exitCode = -1;
    _cwait(&exitCode, child, 0);
    return exitCode;
}

int RunAgain(std::vector<std::string> const & arguments) {
    char program[MAX_PATH];
    if (GetModuleFileNameA(nullptr, program, sizeof program) == 0)
        return -1;
    LeaveShard();
    return RunProgram(program, arguments);
}

#else

Region::Region(std::size_t size)
    : start(mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)),
      size(size) {}

Region::~Region() {
    munmap(start, size);
}

void EndProcess(int exitCode) {
    _exit(exitCode);
}

int RunProgram(std::string const & path, std::vector<std::string> const & arguments) {
    std::vector<std::string> copies{path};
    copies.insert(copies.end(), arguments.begin(), arguments.end());
    std::vector<char *> list;
    for (std::string & argument : copies)
        list.push_back(argument.data());
    list.push_back(nullptr);
    pid_t child = 0;
    int status = 0;
    if (posix_spawn(&child, path.c_str(), nullptr, nullptr, list.data(), environ) != 0 ||
        waitpid(child, &status, 0) != child)
        return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int RunAgain(std::vector<std::string> const & arguments) {
    LeaveShard();
    return RunProgram("/proc/self/exe", arguments);
}

#endif

} // namespace Tests
