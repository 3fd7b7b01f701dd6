#include <Kestrel/FileSystem/Folder.h>

#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/FolderEntry.h>
#include <Kestrel/FileSystem/Internal/Connection.h>
#include <Kestrel/FileSystem/Internal/Make.h>
#include <Kestrel/FileSystem/Internal/Report.h>
#include <Kestrel/FileSystem/Internal/WinFolderEntry.h>
#include <Kestrel/Location/Internal/OSErrors.h>
#include <Kestrel/Root/Log/Quietly.h>

#include <optional>

namespace IO {

// Hosts compiled without optimisation take the addresses.
constexpr unsigned int Folder::Files;
constexpr unsigned int Folder::Folders;
constexpr unsigned int Folder::Links;
constexpr unsigned int Folder::Untyped;
constexpr unsigned int Folder::Everything;

using Level = ReportLine::Level;

namespace {

constexpr ConnectionKind kind{
    "folder",      ErrFSFolderNotFound,   ErrFSNotAFolder,        ErrFolderNotFound,
    ErrNotAFolder, ErrFolderAccessDenied, ErrFolderCreationFailed};

// Whether the existing entry of that name is of the kind that was to be created.
bool IsTakenBy(EntryType wanted, FolderEntry & folder, FolderEntry::CreateStatus result,
               Name const & name) {
    EntryType found;
    return result == FolderEntry::CreateStatus::AlreadyExists &&
           folder.GetType(name, &found) == FolderEntry::GetTypeStatus::Done && found == wanted;
}

// The result of creating an entry, whose kind is the first argument of each line.
MuErrCode ReportCreation(EntryType type, FolderEntry & folder, FolderEntry::CreateStatus result,
                         Name const & name, Location const & location) {
    static ReportLine exists(Level::Warning, "Creating % \"%\" in folder \"%\": % already exists");
    static Outcome outcomes[] = {
        {NoError, {Level::Info, "Creating % \"%\" in folder \"%\""}},
        {ErrTargetExists,
         {Level::Error, "Creating % \"%\" in folder \"%\": entry with different type already "
                        "exists (OS errors: %)"}},
        {ErrDeviceFull,
         {Level::Error, "Creating % \"%\" in folder \"%\": device is full (OS errors: %)"}},
        {ErrFolderAccessDenied,
         {Level::Error, "Creating % \"%\" in folder \"%\": access denied (OS errors: %)"}},
        {Error, {Level::Error, "Creating % \"%\" in folder \"%\": unknown error (OS errors: %)"}},
        {Error, {Level::Error, "Creating % \"%\" in folder \"%\": internal error"}},
    };
    static constexpr char const * words[] = {"file", "folder", "link"};
    char const * const word = words[static_cast<unsigned int>(type)];
    if (!IsTakenBy(type, folder, result, name))
        return ReportOutcome(outcomes, result, {word, name, location});
    Report(exists, {word, name, location, word});
    return ErrTargetExists;
}

} // namespace

Folder::Folder(Location const & location, OnNotFound onNotFound) : location(location) {
    ConnectOrCreate(onNotFound, nullptr, nullptr);
}

Folder::Folder(Folder const & folder, Name const & name) : location(folder.location, name) {
    ConnectOrCreate(OnNotFound::Report, nullptr, &folder);
}

Folder::Folder(Folder & folder, Name const & name, OnNotFound onNotFound)
    : location(folder.location, name) {
    ConnectOrCreate(onNotFound, &folder, &folder);
}

Folder::Folder(Folder const & folder, Name const & name, Found) : location(folder.location, name) {
    if (!ConnectFound(folder, name))
        ConnectOrCreate(OnNotFound::Report, nullptr, &folder);
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

void Folder::ConnectOrCreate(OnNotFound onNotFound, Folder * parent, Folder const * in) {
    std::optional<Location> own;
    if (parent != nullptr && onNotFound == OnNotFound::Create)
        own = location;
    status = Connect(in);
    if (status == ErrFolderNotFound && onNotFound == OnNotFound::Create) {
        status = ErrFolderCreationFailed;
        ClearOSErrors(); // that none existed is no failure now
        if (own)
            location = *own; // not where a broken link of that name leads
        // Another creator may have been faster; the folder exists in any case.
        MuErrCode const created = CreateInParent(parent);
        if (created == NoError || created == ErrTargetExists)
            status = Connect(in);
    }
    ReportConnection(kind, status, location, onNotFound == OnNotFound::FailQuietly);
}

MuErrCode Folder::Connect(Folder const * in) {
    MuErrCode const connected = fileSystem.Connect(&location, &entry);
    if (connected != NoError)
        entry = nullptr; // not ours to release, whatever a file system left there
    MuErrCode const result = GetConnectionStatus(kind, connected);
    return result == kind.notFound && in != nullptr
               ? ConnectBeyond(kind, in->entry, &location, &entry)
               : result;
}

bool Folder::ConnectFound(Folder const & folder, Name const & name) {
    auto const * const above = dynamic_cast<WinFolderEntry const *>(folder.entry);
    if (above == nullptr || location.GetStatus() != NoError)
        return false;
    entry = above->ConnectFound(name);
    if (entry != nullptr)
        status = NoError;
    return entry != nullptr;
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
    if (Mu::IsNull(name))
        return Error;
    return status != NoError ? status
                             : ReportCreation(EntryType::File, *entry,
                                              entry->CreateFile(name, reserved), name, location);
}

MuErrCode Folder::CreateFileLike(Name const & name, Name const & model) {
    if (Mu::IsNull(name) || Mu::IsNull(model))
        return Error;
    if (status != NoError)
        return status;
    WinFolderEntry * const native = dynamic_cast<WinFolderEntry *>(entry);
    return ReportCreation(EntryType::File, *entry,
                          native != nullptr ? native->CreateFileLike(name, model)
                                            : entry->CreateFile(name, nullptr),
                          name, location);
}

MuErrCode Folder::CreateFolder(Name const & name, FolderEntry * reserved) {
    if (Mu::IsNull(name))
        return Error;
    return status != NoError ? status
                             : ReportCreation(EntryType::Folder, *entry,
                                              entry->CreateFolder(name, reserved), name, location);
}

MuErrCode Folder::CreateLink(Name const & name, Location const & target) {
    if (Mu::IsNull(name) || Mu::IsNull(target))
        return Error;
    return status != NoError ? status
                             : ReportCreation(EntryType::Link, *entry,
                                              entry->CreateLink(name, target), name, location);
}

MuErrCode Folder::GetLocation(Location * result) const {
    if (result == nullptr)
        return Error;
    if (status == NoError)
        *result = location;
    return status;
}

void Append(Mu::FastLogger::LogComposer & composer, Folder const & folder) {
    Append(composer, folder.location); // also of a failed folder, whose location is needed most
}

} // namespace IO
