#pragma once

#include <Kestrel/FileSystem/FolderEntry.h>
#include <Kestrel/Location/Location.h>
#include <Kestrel/Root/Errors/ErrorCodes.h>

namespace IO {

/// The codes and the word that part a File's connection from a Folder's.
struct ConnectionKind {
    char const * word;
    // What the file system says, and what the object makes of it.
    MuErrCode unconnectedNotFound;
    MuErrCode unconnectedOther;
    MuErrCode notFound;
    MuErrCode otherKind;
    MuErrCode accessDenied;
    MuErrCode creationFailed;
};

/// The object's status for what FileSystem::Connect returned.
MuErrCode GetConnectionStatus(ConnectionKind const & kind, MuErrCode connected);

/// The same for what lies in a connected folder and has too long a location to be connected to by it.
/// The location becomes that of what a link leads to.
template <typename Entry>
MuErrCode ConnectBeyond(ConnectionKind const & kind, FolderEntry const * folder,
                        Location * location, Entry ** entry);

/// The line of a connection that failed, but for a `quiet` one that found nothing.
void ReportConnection(ConnectionKind const & kind, MuErrCode status, Location const & location,
                      bool quiet);

} // namespace IO
