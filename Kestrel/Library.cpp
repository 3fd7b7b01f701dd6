// The top floor: the objects that exist while the library is loaded, created here in order and
// destroyed in reverse. No other file of the library has a static whose construction uses another
// file's.

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
        StartLocalRoot(); // also the address tree and its lock
        EnterClassRecords();
        StartFileSystem(); // its lock, validators, generated names, native file system, resolver
        Socket::StartSockets();
        FTM::StartFileType(); // its lock and the empty tables
        StartReflection();    // the views of the floors above
        KeepBlocksToTheEnd();
    }
    ~Library() {
        if (Mu::Platform::MayAwaitThreads())
            ServiceEnd();       // a host that forgot End may still be inspected
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
    // Each adds itself to their list when it is first requested.
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
    // Objects created during this constructor are destroyed after this object, so that the last
    // lines of the log can use the blocks shared by output buffers.
    static void KeepBlocksToTheEnd() { OutputBuffer().GetFreeSpace(); }
} library;

// Init and End.

constinit Mu::LockCore initLock; // for both
constinit unsigned int initCount = 0;
constinit bool isStarted = false;

// In this order; End undoes it in reverse.
MuErrCode Start(bool reflection, Mu::UniString const & ident) {
    Mu::Quietly(ReadSettings); // continue as without the file
    try {
        Mu::Threading::Initialize();
    } catch (Mu::ThreadingException const &) {
        return Error;
    }
    // Without a free port the process runs without the service.
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
    std::optional<ServiceEnd> service; // ended outside the lock: a running hook may call Init
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
