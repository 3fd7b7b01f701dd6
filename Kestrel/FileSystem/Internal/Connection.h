#pragma once

#include <Kestrel/FileSystem/FolderEntry.h>
#include <Kestrel/Location/Location.h>
#include <Kestrel/Root/Errors/ErrorCodes.h>

namespace IO {

/// The codes and the word in which a File's connection differs from a Folder's.
struct ConnectionKind {
    char const * word;
    // The file system's status, and the code that the object returns for it.
    MuErrCode unconnectedNotFound;
    MuErrCode unconnectedOther;
    MuErrCode notFound;
    MuErrCode otherKind;
    MuErrCode accessDenied;
    MuErrCode creationFailed;
};

/// The object's status for what FileSystem::Connect returned.
MuErrCode GetConnectionStatus(ConnectionKind const & kind, MuErrCode connected);

/// The same for an entry of a connected folder whose location is too long to connect by. The
/// location becomes that of a link's target.
template <typename Entry>
MuErrCode ConnectBeyond(ConnectionKind const & kind, FolderEntry const * folder,
                        Location * location, Entry ** entry);

/// Logs a failed connection, unless it is `quiet` and found nothing.
void ReportConnection(ConnectionKind const & kind, MuErrCode status, Location const & location,
                      bool quiet);

} // namespace IO
