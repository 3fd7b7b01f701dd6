#include <Kestrel/FileSystem/Internal/Absence.h>

#include <Kestrel/FileSystem/Internal/PathType.h>
#include <Kestrel/Location/Internal/OSErrors.h>
#include <Kestrel/Location/Location.h>
#include <Kestrel/Root/Errors/Exceptions.h>

namespace IO {

bool IsCertainlyAbsent(Location const & location) {
    Mu::UniString path;
    MuErrCode const status = location.ToPath(&path);
    if (status == ErrMemoryFull)
        Mu::ThrowOutOfMemory();
    if (status != NoError)
        return true;
    OSErrorMark const mark = MarkOSErrors();
    unsigned int const error = GetPathType(path).error;
    ForgetOSErrors(mark);
    return error == FileError::FileNotFound || error == FileError::PathNotFound;
}

} // namespace IO
