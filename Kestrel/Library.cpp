// The top floor: what the library keeps from the moment it is loaded until it is unloaded, made here
// in its order and unmade in reverse. No other file of the library has a static whose making reaches
// into another one.

#include <Kestrel/Library.h>

#include <Kestrel/Channel/OutputBuffer.h>
#include <Kestrel/FileSystem/Internal/Start.h>
#include <Kestrel/FileType/Internal/Start.h>
#include <Kestrel/IPC/ApplicationInfo.h>
#include <Kestrel/IPC/ProcessInfo.h>
#include <Kestrel/Internal/Settings.h>
#include <Kestrel/Location/Internal/LocalRoot.h>
#include <Kestrel/Location/Location.h>
#include <Kestrel/Location/RelativeLocation.h>
#include <Kestrel/Process/Descriptor.h>
#include <Kestrel/Reflection/Internal/Start.h>
#include <Kestrel/Reflection/ReflectionService.h>
#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Internal/CoreGuard.h>
#include <Kestrel/Root/Log/Logger.h>
#include <Kestrel/Root/Log/Quietly.h>
#include <Kestrel/Root/Platform/ProcessEnd.h>
#include <Kestrel/Root/Text/String.h>
#include <Kestrel/Root/Threads/Thread.h>
#include <Kestrel/Socket/Internal/Start.h>

#include <optional>

namespace IO {

namespace {

class Library {
public:
    Library() {
        StartLocalRoot(); // and with it the address tree and its lock
        EnterClassRecords();
        StartFileSystem(); // its lock, validators, generated names, native file system, resolver
        Socket::StartSockets();
        FTM::StartFileType(); // its lock and the empty tables
        StartReflection();    // the views of what stands above it here
        KeepBlocksToTheEnd();
    }
    ~Library() {
        if (Mu::Platform::MayAwaitThreads())
            ServiceEnd();       // a host that forgot it may be inspected now
        Mu::logger.Terminate(); // while files can still be written
        if (Mu::Platform::AreOtherThreadsGone())
            return;
        EndReflection();
        FTM::EndFileType();
        Socket::EndSockets();
        EndFileSystem();
        EndLocalRoot();
    }

private:
    // Each enters itself in the list of them when it is first asked for.
    static void EnterClassRecords() {
        Mu::String::GetClassInfoStatic();
        Mu::UniString::GetClassInfoStatic();
        Name::GetClassInfoStatic();
        Address::GetClassInfoStatic();
        RelativeLocation::GetClassInfoStatic();
        Location::GetClassInfoStatic();
        Process::Descriptor::GetClassInfoStatic();
        IPC::ServerInfo::GetClassInfoStatic();
        IPC::ProcessInfo::GetClassInfoStatic();
        IPC::ApplicationInfo::GetClassInfoStatic();
    }
    // What is made while this object is, is unmade behind it, so that the last lines of the log find
    // the blocks that output buffers share.
    static void KeepBlocksToTheEnd() { OutputBuffer().GetFreeSpace(); }
} library;

// Init and End.

constinit Mu::LockCore initLock; // on the two
constinit unsigned int initCount = 0;
constinit bool isStarted = false;

// In this order; End takes it back in reverse.
MuErrCode Start(bool reflection, Mu::UniString const & ident) {
    Mu::Quietly(ReadSettings); // or as without the file
    try {
        Mu::Threading::Initialize();
    } catch (Mu::ThreadingException const &) {
        return Error;
    }
    // Without a free port the process goes on uninspected.
    if (reflection)
        static_cast<void>(ReflectionService::Initialize(ident));
    return NoError;
}

} // namespace

MuErrCode Init(bool reflection, Mu::UniString const & ident) {
    Mu::CoreGuard guard(initLock);
    if (!isStarted) {
        if (MuErrCode const status = Start(reflection, ident); status != NoError)
            return status;
        isStarted = true;
    }
    ++initCount;
    return NoError;
}

void End() {
    std::optional<ServiceEnd> service; // ended without the lock: a hook under way may begin a pair
    {
        Mu::CoreGuard guard(initLock);
        if (initCount == 0 || --initCount > 0)
            return;
        service.emplace();
        isStarted = false;
    }
    service.reset();
    Mu::Threading::Terminate();
}

} // namespace IO
