#include <Kestrel/IPC/Internal/ServicesLock.h>

#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/Root/Clock.h>
#include <Kestrel/Root/Quietly.h>

namespace IO::IPC {

ServicesLock::ServicesLock(Location const & location) : location(location), status(Take()) {}

MuErrCode ServicesLock::Take() {
    if (location.GetLocalLength() == 0)
        return Error;
    unsigned long long const start = Mu::GetClock().GetMonotonicMicroseconds();
    for (int mishaps = 0; mishaps < MostMishaps;) {
        file.emplace(location, File::OnNotFound::Create);
        MuErrCode const opened =
            file->Open(File::OpenMode::WriteOnly, AccessDeniedTreatment::RetryPrivate);
        if (opened == NoError)
            return NoError;
        if (opened != ErrFileAccessDenied)
            ++mishaps;
        else if (Mu::GetClock().GetMonotonicMicroseconds() - start >= Patience)
            break;
        Mu::clockManager.Sleep(Pause);
    }
    file.reset();
    return Error;
}

ServicesLock::~ServicesLock() {
    if (status != NoError)
        return;
    Mu::Quietly([this] {
        file.reset();
        // Not when the next one has it open already, who will.
        static_cast<void>(fileSystem.Delete(location, DataSafety::KeepProtected,
                                            AccessDeniedTreatment::RetryPrivate));
    });
}

} // namespace IO::IPC
