#include <Kestrel/IPC/Internal/PatientFile.h>

#include <Kestrel/Root/Time/Clock.h>

#include <algorithm>

namespace IO::IPC {

MuErrCode PatientFile::Open(Location const & location, File::OnNotFound onNotFound,
                            File::OpenMode mode) {
    unsigned long long const start = Mu::GetClock().GetMonotonicMicroseconds();
    int mishaps = 0;
    for (double pause = FirstPause;; pause = std::min(pause * 2, LongestPause)) {
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
        Mu::clockManager.Sleep(pause);
    }
}

} // namespace IO::IPC
