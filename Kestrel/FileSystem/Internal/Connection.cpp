#include <Kestrel/FileSystem/Internal/Connection.h>

#include <Kestrel/FileSystem/Internal/Report.h>
#include <Kestrel/FileSystem/Internal/WinFolderEntry.h>
#include <Kestrel/Location/Internal/OSErrors.h>

namespace IO {

using Level = ReportLine::Level;

MuErrCode GetConnectionStatus(ConnectionKind const & kind, MuErrCode connected) {
    return connected == NoError                    ? NoError
           : connected == kind.unconnectedOther    ? kind.otherKind
           : connected == ErrFSAccessDenied        ? kind.accessDenied
           : connected == kind.unconnectedNotFound ? kind.notFound
                                                   : Error;
}

template <typename Entry>
MuErrCode ConnectBeyond(ConnectionKind const & kind, FolderEntry const * folder,
                        Location * location, Entry ** entry) {
    using Status = BaseFileSystem::ConnectStatus;
    Name name;
    if (location->IsLegal() || location->GetLastLocalName(&name) != NoError)
        return kind.notFound;
    auto const * const native = dynamic_cast<WinFolderEntry const *>(folder);
    switch (native == nullptr ? Status::NotFound : native->ConnectBeyond(name, location, entry)) {
    case Status::Connected: return NoError;
    case Status::NotAFile:
    case Status::NotAFolder: return kind.otherKind;
    case Status::AccessDenied: return kind.accessDenied;
    case Status::NotFound: return kind.notFound;
    default: return Error;
    }
}

template MuErrCode ConnectBeyond(ConnectionKind const &, FolderEntry const *, Location *,
                                 FileEntry **);
template MuErrCode ConnectBeyond(ConnectionKind const &, FolderEntry const *, Location *,
                                 FolderEntry **);

void ReportConnection(ConnectionKind const & kind, MuErrCode status, Location const & location,
                      bool quiet) {
    static ReportLine notFound(Level::Error, "Connection to % \"%\" in folder \"%\" has failed: "
                                             "% is not found (OS errors: %)");
    static ReportLine otherKind(Level::Error, "Connection to % \"%\" in folder \"%\" has failed: "
                                              "not a % was specified (OS errors: %)");
    static ReportLine denied(Level::Error, "Connection to % \"%\" in folder \"%\" has failed: "
                                           "access to % is denied (OS errors: %)");
    static ReportLine creation(Level::Error, "Connection to % \"%\" in folder \"%\" has failed: "
                                             "creation of % has failed (OS errors: %)");
    static ReportLine unknown(Level::Error, "Connection to % \"%\" in folder \"%\" has failed: "
                                            "unknown error (OS errors: %)");
    auto const report = [&](ReportLine & line) {
        Report(line, {kind.word, EntryOf{location}, kind.word});
    };
    if (status == NoError || (quiet && status == kind.notFound))
        ClearOSErrors();
    else if (status == kind.notFound)
        report(notFound);
    else if (status == kind.otherKind)
        report(otherKind);
    else if (status == kind.accessDenied)
        report(denied);
    else if (status == kind.creationFailed)
        report(creation);
    else
        Report(unknown, {kind.word, EntryOf{location}});
}

} // namespace IO
