#pragma once

#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Types.h>

namespace IO {

/// Creates a File or Folder on the heap: all or nothing, with the status of the object as the
/// result.
template <typename T, typename... Arguments>
MuErrCode MakeHealthy(T ** object, Arguments &... arguments) {
    if (object == nullptr)
        return Error;
    *object = nullptr;
    if ((Mu::IsNull(arguments) || ...))
        return Error;
    T * made = nullptr;
    try {
        made = new T(arguments...);
    } catch (Mu::OutOfMemoryException const &) {
        return ErrMemoryFull;
    }
    MuErrCode const status = made->GetStatus();
    if (status == NoError)
        *object = made;
    else
        delete made;
    return status;
}

} // namespace IO
