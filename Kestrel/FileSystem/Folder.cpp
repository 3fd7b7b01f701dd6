#include <Kestrel/FileSystem/Folder.h>

#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/FolderEntry.h>
#include <Kestrel/FileSystem/Internal/Make.h>
#include <Kestrel/FileSystem/Internal/Report.h>
#include <Kestrel/Location/Internal/OSErrors.h>
#include <Kestrel/Root/Quietly.h>

namespace IO {

// Hosts that are not optimised take the addresses.
constexpr unsigned int Folder::Files;
constexpr unsigned int Folder::Folders;
constexpr unsigned int Folder::Links;
constexpr unsigned int Folder::Untyped;
constexpr unsigned int Folder::Everything;

using Level = ReportLine::Level;

namespace {

void LogConnection(MuErrCode status, Location const & location, bool quiet) {
    static ReportLine notFound(Level::Error, "Connection to folder \"%\" in folder \"%\" has "
                                             "failed: folder is not found (OS errors: %)");
    static ReportLine notAFolder(Level::Error, "Connection to folder \"%\" in folder \"%\" has "
                                               "failed: not a folder was specified (OS errors: %)");
    static ReportLine denied(Level::Error, "Connection to folder \"%\" in folder \"%\" has failed: "
                                           "access to folder is denied (OS errors: %)");
    static ReportLine creation(Level::Error,
                               "Connection to folder \"%\" in folder \"%\" has "
                               "failed: creation of folder has failed (OS errors: %)");
    static ReportLine unknown(Level::Error, "Connection to folder \"%\" in folder \"%\" has "
                                            "failed: unknown error (OS errors: %)");
    switch (status) {
    case NoError: ClearOSErrors(); return;
    case ErrFolderNotFound:
        if (quiet)
            ClearOSErrors();
        else
            Report(notFound, {EntryOf{location}});
        return;
    case ErrNotAFolder: Report(notAFolder, {EntryOf{location}}); return;
    case ErrFolderAccessDenied: Report(denied, {EntryOf{location}}); return;
    case ErrFolderCreationFailed: Report(creation, {EntryOf{location}}); return;
    default: Report(unknown, {EntryOf{location}});
    }
}

// Whether the name that is taken stands for the very kind of entry that was to be made.
bool IsTakenBy(EntryType wanted, FolderEntry & folder, FolderEntry::CreateStatus result,
               Name const & name) {
    EntryType found;
    return result == FolderEntry::CreateStatus::AlreadyExists &&
           folder.GetType(name, &found) == FolderEntry::GetTypeStatus::Done && found == wanted;
}

MuErrCode ReportTaken(ReportLine & line, Name const & name, Location const & folder) {
    Report(line, {name, folder});
    return ErrTargetExists;
}

} // namespace

Folder::Folder(Location const & location, OnNotFound onNotFound) : location(location) {
    ConnectOrCreate(onNotFound, nullptr);
}

Folder::Folder(Folder const & folder, Name const & name) : location(folder.location, name) {
    ConnectOrCreate(OnNotFound::Report, nullptr);
}

Folder::Folder(Folder & folder, Name const & name, OnNotFound onNotFound)
    : location(folder.location, name) {
    ConnectOrCreate(onNotFound, &folder);
}

MuErrCode Folder::New(Folder ** folder, Location const & location, OnNotFound onNotFound) {
    return MakeHealthy(folder, location, onNotFound);
}

MuErrCode Folder::New(Folder ** folder, Folder const & parent, Name const & name) {
    return MakeHealthy(folder, parent, name);
}

MuErrCode Folder::New(Folder ** folder, Folder & parent, Name const & name, OnNotFound onNotFound) {
    return MakeHealthy(folder, parent, name, onNotFound);
}

Folder::~Folder() {
    if (entry != nullptr)
        Mu::Quietly([this] { fileSystem.Disconnect(entry); });
}

void Folder::ConnectOrCreate(OnNotFound onNotFound, Folder * parent) {
    status = Connect();
    if (status == ErrFolderNotFound && onNotFound == OnNotFound::Create) {
        status = ErrFolderCreationFailed;
        ClearOSErrors(); // that there was none is no failure now
        // Another creator may have been faster; the folder is there all the same.
        MuErrCode const created = CreateInParent(parent);
        if (created == NoError || created == ErrTargetExists)
            status = Connect();
    }
    LogConnection(status, location, onNotFound == OnNotFound::FailQuietly);
}

MuErrCode Folder::Connect() {
    MuErrCode const connected = fileSystem.Connect(&location, &entry);
    if (connected != NoError)
        entry = nullptr; // whatever a file system left there is not ours to give back
    switch (connected) {
    case NoError: return NoError;
    case ErrFSNotAFolder: return ErrNotAFolder;
    case ErrFSAccessDenied: return ErrFolderAccessDenied;
    case ErrFSFolderNotFound: return ErrFolderNotFound;
    default: return Error;
    }
}

MuErrCode Folder::CreateInParent(Folder * parent) {
    Location above(location);
    Name name;
    if (MuErrCode const moved = above.MoveLastLocalName(&name); moved != NoError)
        return moved;
    if (parent != nullptr)
        return parent->CreateFolder(name);
    return Folder(above, OnNotFound::Report).CreateFolder(name);
}

MuErrCode Folder::CreateFile(Name const & name, FileEntry * reserved) {
    static ReportLine exists(Level::Warning,
                             "Creating file \"%\" in folder \"%\": file already exists");
    static Outcome outcomes[] = {
        {NoError, {Level::Info, "Creating file \"%\" in folder \"%\""}},
        {ErrTargetExists,
         {Level::Error, "Creating file \"%\" in folder \"%\": entry with "
                        "different type already exists (OS errors: %)"}},
        {ErrDeviceFull,
         {Level::Error, "Creating file \"%\" in folder \"%\": device is full (OS errors: %)"}},
        {ErrFolderAccessDenied,
         {Level::Error, "Creating file \"%\" in folder \"%\": access denied (OS errors: %)"}},
        {Error,
         {Level::Error, "Creating file \"%\" in folder \"%\": unknown error (OS errors: %)"}},
        {Error, {Level::Error, "Creating file \"%\" in folder \"%\": internal error"}},
    };
    if (Mu::IsNull(name))
        return Error;
    if (status != NoError)
        return status;
    FolderEntry::CreateStatus const result = entry->CreateFile(name, reserved);
    if (IsTakenBy(EntryType::File, *entry, result, name))
        return ReportTaken(exists, name, location);
    return ReportOutcome(outcomes, result, {name, location});
}

MuErrCode Folder::CreateFolder(Name const & name, FolderEntry * reserved) {
    static ReportLine exists(Level::Warning,
                             "Creating folder \"%\" in folder \"%\": folder already exists");
    static Outcome outcomes[] = {
        {NoError, {Level::Info, "Creating folder \"%\" in folder \"%\""}},
        {ErrTargetExists,
         {Level::Error, "Creating folder \"%\" in folder \"%\": entry with "
                        "different type already exists (OS errors: %)"}},
        {ErrDeviceFull,
         {Level::Error, "Creating folder \"%\" in folder \"%\": device is full (OS errors: %)"}},
        {ErrFolderAccessDenied,
         {Level::Error, "Creating folder \"%\" in folder \"%\": access denied (OS errors: %)"}},
        {Error,
         {Level::Error, "Creating folder \"%\" in folder \"%\": unknown error (OS errors: %)"}},
        {Error, {Level::Error, "Creating folder \"%\" in folder \"%\": internal error"}},
    };
    if (Mu::IsNull(name))
        return Error;
    if (status != NoError)
        return status;
    FolderEntry::CreateStatus const result = entry->CreateFolder(name, reserved);
    if (IsTakenBy(EntryType::Folder, *entry, result, name))
        return ReportTaken(exists, name, location);
    return ReportOutcome(outcomes, result, {name, location});
}

MuErrCode Folder::CreateLink(Name const & name, Location const & target) {
    static ReportLine exists(Level::Warning,
                             "Creating link \"%\" in folder \"%\": link already exists");
    static Outcome outcomes[] = {
        {NoError, {Level::Info, "Creating link \"%\" in folder \"%\""}},
        {ErrTargetExists,
         {Level::Error, "Creating link \"%\" in folder \"%\": entry with "
                        "different type already exists (OS errors: %)"}},
        {ErrDeviceFull,
         {Level::Error, "Creating link \"%\" in folder \"%\": device is full (OS errors: %)"}},
        {ErrFolderAccessDenied,
         {Level::Error, "Creating link \"%\" in folder \"%\": access denied (OS errors: %)"}},
        {Error,
         {Level::Error, "Creating link \"%\" in folder \"%\": unknown error (OS errors: %)"}},
        {Error, {Level::Error, "Creating link \"%\" in folder \"%\": internal error"}},
    };
    if (Mu::IsNull(name) || Mu::IsNull(target))
        return Error;
    if (status != NoError)
        return status;
    FolderEntry::CreateStatus const result = entry->CreateLink(name, target);
    if (IsTakenBy(EntryType::Link, *entry, result, name))
        return ReportTaken(exists, name, location);
    return ReportOutcome(outcomes, result, {name, location});
}

MuErrCode Folder::GetLocation(Location * result) const {
    if (result == nullptr)
        return Error;
    if (status == NoError)
        *result = location;
    return status;
}

void Append(Mu::FastLogger::LogComposer & composer, Folder const & folder) {
    Append(composer, folder.location); // that of a folder that failed is the one most asked for
}

} // namespace IO
