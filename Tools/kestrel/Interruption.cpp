#include "Interruption.h"

#include "Streams.h"

#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/NativePath.h>

#include <atomic>
#include <filesystem>
#include <mutex>

#if defined(_WIN32)
#include <windows.h>
#else
#include <csignal>
#include <thread>
#include <unistd.h>
#endif

namespace Tool {

namespace {

std::mutex turn; // guards the path, and is held by code that must not be interrupted
std::filesystem::path halfMade;
std::atomic<bool> isInterrupted = false;

// Without the library, whose locks the interrupted command may hold. The command is still running,
// and may add entries to a folder that is being deleted.
void TakeBack() {
    std::error_code failure;
    for (int attempt = 0; attempt < 100 && !halfMade.empty(); ++attempt) {
        std::filesystem::remove_all(halfMade, failure);
        if (!failure &&
            !std::filesystem::exists(std::filesystem::symlink_status(halfMade, failure)))
            return;
    }
}

} // namespace

#if defined(_WIN32)

namespace {

BOOL WINAPI Interrupt(DWORD) {
    isInterrupted = true;
    std::lock_guard const guard(turn);
    if (halfMade.empty())
        return FALSE; // the system then ends the process
    return TRUE;      // the command ends once it has cleaned up
}

} // namespace

void WatchInterruptions() {
    SetConsoleCtrlHandler(Interrupt, TRUE);
}

#else

void WatchInterruptions() {
    sigset_t watched;
    sigemptyset(&watched);
    for (int const signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction present = {};
        sigaction(signal, nullptr, &present);
        if (present.sa_handler != SIG_IGN) // ignored already, as for background jobs of a shell
            sigaddset(&watched, signal);
    }
    pthread_sigmask(SIG_BLOCK, &watched, nullptr);
    std::thread([watched] {
        int signal = 0;
        if (sigwait(&watched, &signal) != 0)
            return;
        turn.lock(); // never released
        isInterrupted = true;
        TakeBack();
        Progress::Hide();
        std::signal(signal, SIG_DFL);
        pthread_sigmask(SIG_UNBLOCK, &watched, nullptr);
        kill(getpid(), signal);
        pause();
    }).detach();
}

#endif

bool IsInterrupted() {
    return isInterrupted;
}

HalfMade::HalfMade(IO::Location const & location) {
    Mu::UniString path;
    bool isThere = true;
    if (IO::fileSystem.Contains(location, &isThere) != IO::NoError || isThere ||
        location.ToPath(&path) != IO::NoError)
        return;
    std::lock_guard const guard(turn);
    halfMade = IO::ToNativePath(path);
}

HalfMade::~HalfMade() {
    std::lock_guard const guard(turn);
    if (isInterrupted)
        TakeBack();
    halfMade.clear();
}

Uninterrupted::Uninterrupted() {
    turn.lock();
}

Uninterrupted::~Uninterrupted() {
    turn.unlock();
}

} // namespace Tool
