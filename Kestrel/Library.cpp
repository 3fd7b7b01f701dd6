// The top floor: what the library keeps from the moment it is loaded until it is unloaded, made here
// in its order and unmade in reverse. No other file of the library has a static whose making reaches
// into another one.

#include <Kestrel/Library.h>

#include <Kestrel/Channel/OutputBuffer.h>
#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/Internal/Start.h>
#include <Kestrel/Location/Internal/LocalRoot.h>
#include <Kestrel/Root/Exceptions.h>
#include <Kestrel/Root/Internal/CoreGuard.h>
#include <Kestrel/Root/Logger.h>
#include <Kestrel/Root/NarrowText.h>
#include <Kestrel/Root/Thread.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace IO {

namespace {

class Library {
public:
    // The class records stand between the two: each is a constant of its class, and is entered in
    // the list of them when it is first asked for.
    Library() {
        StartLocalRoot();  // and with it the address tree and its lock
        StartFileSystem(); // its lock, validators, generated names, native file system, resolver
        KeepBlocksToTheEnd();
    }
    ~Library() {
        Mu::logger.Terminate(); // while files can still be written
        EndFileSystem();
        EndLocalRoot();
    }

private:
    // What is made while this object is, is unmade behind it, so that the last lines of the log find
    // the blocks that output buffers share.
    static void KeepBlocksToTheEnd() { OutputBuffer().GetFreeSpace(); }
} library;

// The settings file.

constexpr unsigned int MostSettings = 100000;
constexpr char SettingsMark[] = {'#', 'I', 'O', '#'};

void BlankComments(char * text) {
    while ((text = std::strstr(text, "//")) != nullptr) {
        std::size_t const length = std::strcspn(text, "\r\n");
        std::fill_n(text, length, ' ');
        text += length;
    }
}

// The number in the brackets behind the key.
// Kept: nothing is ever reported as found, so that a settings file changes nothing. Hosts have such
// files, with values that never were in force.
bool FindNumber(char const * text, char const * key, unsigned int * number) {
    char const * const found = CHSearchSubstring(key, text, -1, Mu::IgnoreCase, MuLogCharCode);
    char const * const open = found != nullptr ? std::strchr(found, '(') : nullptr;
    if (open != nullptr && std::strchr(open, ')') != nullptr)
        *number = static_cast<unsigned int>(std::atoi(open + 1));
    return false;
}

void ApplySettings(char const * text) {
    unsigned int number = 0;
    if (FindNumber(text, "fileSystem.SetAccessDeniedRetryDuration", &number))
        fileSystem.SetAccessDeniedRetryDuration(number);
    NativeFileSystem * const native = NativeFileSystem::Get();
    if (FindNumber(text, "fileSystem.SetMountFailureTimeOut", &number) && native != nullptr)
        native->SetOption(0x4D4D4654, number);
    if (FindNumber(text, "fileSystem.HostBeforeMountCheckTime", &number) && native != nullptr)
        native->SetOption(0x4D4D4354, number);
}

void ReadSettings() {
    Location folder;
    if (fileSystem.GetSpecialLocation(SpecLocId::ApplicationFolder, &folder) != NoError)
        return;
    File file(Location(folder, "Kestrel.Config"), File::OnNotFound::Report);
    if (file.Open(File::OpenMode::ReadOnly, AccessDeniedTreatment::RetryPrivate) != NoError)
        return;
    char * text = nullptr;
    unsigned int size = 0;
    static_cast<void>(file.DirectInputAccess(MostSettings, &text, &size)); // the end comes sooner
    size = std::min(size, MostSettings);
    if (text == nullptr || size < sizeof SettingsMark ||
        std::memcmp(text, SettingsMark, sizeof SettingsMark) != 0)
        return;
    size -= sizeof SettingsMark;
    std::memmove(text, text + sizeof SettingsMark, size);
    text[size] = 0;
    BlankComments(text);
    ApplySettings(text);
}

// Init and End.

constinit Mu::LockCore initLock; // on the two
constinit unsigned int initCount = 0;
constinit bool isStarted = false;

// In this order; End takes it back in reverse.
MuErrCode Start() {
    try {
        ReadSettings();
    } catch (Mu::OutOfMemoryException const &) { // as without the file
    }
    try {
        Mu::Threading::Initialize();
    } catch (Mu::ThreadingException const &) {
        return Error;
    }
    // The reflection service starts here, as the last one: it has a thread of its own.
    return NoError;
}

void Stop() {
    // The reflection service stops here, before the threads do.
    Mu::Threading::Terminate();
}

} // namespace

MuErrCode Init(bool, Mu::UniString const &) {
    Mu::CoreGuard guard(initLock);
    if (!isStarted) {
        if (MuErrCode const status = Start(); status != NoError)
            return status;
        isStarted = true;
    }
    ++initCount;
    return NoError;
}

void End() {
    Mu::CoreGuard guard(initLock);
    if (initCount == 0 || --initCount > 0)
        return;
    Stop();
    isStarted = false;
}

} // namespace IO
