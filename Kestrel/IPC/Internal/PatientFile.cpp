#include <Kestrel/IPC/Internal/PatientFile.h>

#include <Kestrel/Root/Clock.h>

namespace IO::IPC {

MuErrCode PatientFile::Open(Location const & location, File::OnNotFound onNotFound,
                            File::OpenMode mode) {
    unsigned long long const start = Mu::GetClock().GetMonotonicMicroseconds();
    for (int mishaps = 0;;) {
        file.emplace(location, onNotFound);
        MuErrCode const status = file->Open(mode, AccessDeniedTreatment::RetryPrivate);
        if (status == NoError)
            return NoError;
        bool const isGone = status != ErrFileAccessDenied && onNotFound == File::OnNotFound::Create;
        if ((status != ErrFileAccessDenied && !isGone) || (isGone && ++mishaps == MostMishaps) ||
            Mu::GetClock().GetMonotonicMicroseconds() - start >= Patience) {
            file.reset();
            return status;
        }
        Mu::clockManager.Sleep(Pause);
    }
}

} // namespace IO::IPC
