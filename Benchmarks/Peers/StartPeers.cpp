// What it costs to start a host that asks for one thing and ends, beside hosts of other libraries: a
// process each, which lies beside this program.

#include "Rounds.h"

#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <string>

using namespace Peers;

namespace {

double Seconds(timeval const & time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

double ChildrenSeconds() {
    rusage use;
    ::getrusage(RUSAGE_CHILDREN, &use);
    return Seconds(use.ru_utime) + Seconds(use.ru_stime);
}

auto Start(char const * name) {
    return [path = (std::filesystem::read_symlink("/proc/self/exe").parent_path() / name).string()](
               unsigned int times) {
        char * const arguments[] = {const_cast<char *>(path.c_str()), nullptr};
        for (; times != 0; --times) {
            pid_t child;
            int status;
            if (::posix_spawn(&child, path.c_str(), nullptr, nullptr, arguments, environ) != 0 ||
                ::waitpid(child, &status, 0) != child || !WIFEXITED(status) ||
                WEXITSTATUS(status) > 1)
                std::abort(); // what fails costs nothing
        }
    };
}

} // namespace

int main() {
#if defined(KESTREL_HAS_BOOST)
    Compare<100, ChildrenSeconds>(Row("start of a host", "ns", 2),
                                  {"ours", "ours with IO::Init", "Boost.Filesystem", "filesystem"},
                                  Start("StartKestrel"), Start("StartKestrelInit"),
                                  Start("StartBoost"), Start("StartStandard"));
#else
    Compare<100, ChildrenSeconds>(
        Row("start of a host", "ns", 2), {"ours", "ours with IO::Init", "filesystem"},
        Start("StartKestrel"), Start("StartKestrelInit"), Start("StartStandard"));
#endif
}
