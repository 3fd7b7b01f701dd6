#include <Kestrel/FileSystem/Folder.h>

#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/FolderEntry.h>
#include <Kestrel/FileSystem/Internal/FileTimes.h>
#include <Kestrel/FileSystem/Internal/Report.h>
#include <Kestrel/FileSystem/Internal/WinFolderEntry.h>
#include <Kestrel/Location/Internal/OSErrors.h>

namespace IO {

using Level = ReportLine::Level;

MuErrCode Folder::Contains(Name const & name, bool * contained) const {
    if (Mu::IsNull(name) || contained == nullptr)
        return Error;
    if (status != NoError)
        return status;
    EntryType type;
    FolderEntry::GetTypeStatus const result = entry->GetType(name, &type);
    ClearOSErrors();
    switch (result) {
    case FolderEntry::GetTypeStatus::Done:
    case FolderEntry::GetTypeStatus::AccessDenied: *contained = true; return NoError;
    case FolderEntry::GetTypeStatus::EntryNotFound: *contained = false; return NoError;
    default: return Error;
    }
}

namespace {

MuErrCode ToEntryCode(FolderEntry::GetTypeStatus result) {
    ClearOSErrors();
    switch (result) {
    case FolderEntry::GetTypeStatus::Done: return NoError;
    case FolderEntry::GetTypeStatus::AccessDenied: return ErrFolderAccessDenied;
    case FolderEntry::GetTypeStatus::EntryNotFound: return ErrEntryNotFound;
    default: return Error;
    }
}

} // namespace

MuErrCode Folder::GetType(Name const & name, EntryType * type) const {
    if (Mu::IsNull(name) || type == nullptr)
        return Error;
    return status != NoError ? status : ToEntryCode(entry->GetType(name, type));
}

// Of an entry of another file system, only its existence can be determined.
MuErrCode Folder::GetDiskUse(Name const & name, DiskUse * use) const {
    if (Mu::IsNull(name) || use == nullptr)
        return Error;
    *use = {};
    if (status != NoError)
        return status;
    EntryType type;
    auto const * const own = dynamic_cast<WinFolderEntry const *>(entry);
    return ToEntryCode(own != nullptr ? own->GetDiskUse(name, use) : entry->GetType(name, &type));
}

namespace {

// The type of a link's target; a further link there remains a link.
MuErrCode GetTargetType(Location const & link, EntryType * type) {
    Location target;
    if (!fileSystem.ResolveLocation(link, &target))
        return Error;
    if (target.IsRoot()) {
        *type = EntryType::Folder;
        return NoError;
    }
    Name name;
    if (MuErrCode const moved = target.MoveLastLocalName(&name); moved != NoError)
        return moved;
    Folder const parent(target, Folder::OnNotFound::Report);
    switch (parent.GetStatus()) {
    case NoError: return parent.GetType(name, type);
    case ErrFolderNotFound: return ErrEntryNotFound;
    case ErrFolderAccessDenied: return ErrFolderAccessDenied;
    default: return Error;
    }
}

} // namespace

MuErrCode Folder::GetResolvedType(Name const & name, EntryType * type) const {
    MuErrCode const asked = GetType(name, type);
    if (asked != NoError || *type != EntryType::Link)
        return asked;
    Location const link(location, name);
    MuErrCode const result = GetTargetType(link, type);
    Location target;
    auto const * const own = dynamic_cast<WinFolderEntry const *>(entry);
    bool const isBeyond =
        result == Error && own != nullptr && own->ResolveBeyond(name, link, &target, type);
    ClearOSErrors();
    return isBeyond ? NoError : result;
}

int Folder::GenerateUnusedName(Name * name, char const * base) {
    if (base == nullptr)
        return Error;
    return GenerateUnusedName(name, Mu::UniString(base, MuMachineCharCode));
}

int Folder::GenerateUnusedName(Name * name, Mu::UniString const & base) {
    if (name == nullptr || Mu::IsNull(base))
        return Error;
    if (status != NoError)
        return status;
    FolderEntry::GenUNStatus const result = entry->GenerateUnusedName(name, base);
    ClearOSErrors(); // a free name is one that the system did not find
    return static_cast<int>(result);
}

int Folder::GenerateUnusedName(Name * name) {
    return GenerateUnusedName(name, Mu::UniString());
}

int Folder::GenerateUnusedNameFromString(Name * name, Mu::UniString const & base,
                                         Mu::UniString const & extension, unsigned short maxLength,
                                         unsigned int * counter) {
    if (name == nullptr || Mu::IsNull(base) || Mu::IsNull(extension))
        return Error;
    if (status != NoError)
        return status;
    FolderEntry::GenUNStatus const result =
        entry->GenerateUnusedNameFromString(name, base, extension, maxLength, counter);
    ClearOSErrors();
    return static_cast<int>(result);
}

namespace {

// The codes and lines for the statuses of a property; the first argument of each is the operation.

constinit Outcome timeFailures[] = {
    {ErrFolderAccessDenied,
     {Level::Error, "% of folder \"%\" in folder \"%\": access denied (OS errors: %)"}},
    {ErrFolderInvalidTime,
     {Level::Error,
      "% of folder \"%\" in folder \"%\": invalid time is encountered (OS errors: %)"}},
    {Error, {Level::Error, "% of folder \"%\" in folder \"%\": unknown error (OS errors: %)"}},
    {Error, {Level::Error, "% of folder \"%\" in folder \"%\": internal error (OS errors: %)"}},
};

constinit Outcome failures[] = {
    {ErrFolderAccessDenied,
     {Level::Error, "% of folder \"%\" in folder \"%\": access denied (OS errors: %)"}},
    {Error, {Level::Error, "% of folder \"%\" in folder \"%\": unknown error (OS errors: %)"}},
    {Error, {Level::Error, "% of folder \"%\" in folder \"%\": internal error (OS errors: %)"}},
};

} // namespace

MuErrCode Folder::SetCreationTime(int const & time) {
    if (Mu::IsNull(time))
        return Error;
    return status != NoError ? status
                             : ReportFailure(timeFailures, entry->SetCreationTime(time),
                                             {"Setting creation time", EntryOf{location}});
}

MuErrCode Folder::SetModificationTime(int const & time) {
    if (Mu::IsNull(time))
        return Error;
    return status != NoError ? status
                             : ReportFailure(timeFailures, entry->SetModificationTime(time),
                                             {"Setting modification time", EntryOf{location}});
}

MuErrCode Folder::SetTime(TimeKind kind, long long seconds) {
    return status != NoError
               ? status
               : ReportFailure(timeFailures, WriteEntryTime<WinFolderEntry>(*entry, kind, seconds),
                               {kind == TimeKind::Creation ? "Setting creation time"
                                                           : "Setting modification time",
                                EntryOf{location}});
}

MuErrCode Folder::GetTime(TimeKind kind, long long * seconds) const {
    if (seconds == nullptr)
        return Error;
    return status != NoError
               ? status
               : ReportFailure(timeFailures, ReadEntryTime<WinFolderEntry>(*entry, kind, seconds),
                               {kind == TimeKind::Creation ? "Querying creation time"
                                                           : "Querying modification time",
                                EntryOf{location}});
}

MuErrCode Folder::GetCreationTime(int * time) const {
    if (time == nullptr)
        return Error;
    return status != NoError ? status
                             : ReportFailure(timeFailures, entry->GetCreationTime(time),
                                             {"Querying creation time", EntryOf{location}});
}

MuErrCode Folder::GetModificationTime(int * time) const {
    if (time == nullptr)
        return Error;
    return status != NoError ? status
                             : ReportFailure(timeFailures, entry->GetModificationTime(time),
                                             {"Querying modification time", EntryOf{location}});
}

MuErrCode Folder::GetDiskUse(DiskUse * use) const {
    if (use == nullptr)
        return Error;
    *use = {};
    auto const * const own = dynamic_cast<WinFolderEntry const *>(entry);
    return status != NoError || own == nullptr
               ? status
               : ReportFailure(failures, own->GetDiskUse(use),
                               {"Querying disk use", EntryOf{location}});
}

MuErrCode Folder::GetFreeSpace(unsigned long long * space) const {
    if (space == nullptr)
        return Error;
    return status != NoError ? status
                             : ReportFailure(failures, entry->GetFreeSpace(space),
                                             {"Querying free space", EntryOf{location}});
}

// False is a result and no failure, so that no line reports it.

bool Folder::IsReadable() const {
    bool const isReadable = status == NoError && entry->IsReadable();
    ClearOSErrors();
    return isReadable;
}

bool Folder::IsWriteable() const {
    bool const isWriteable = status == NoError && entry->IsWriteable();
    ClearOSErrors();
    return isWriteable;
}

namespace {

MuErrCode ToVolumeCode(FSEntry::AttributeStatus result) {
    ClearOSErrors();
    switch (result) {
    case FSEntry::AttributeStatus::Done: return NoError;
    case FSEntry::AttributeStatus::AccessDenied: return ErrFolderAccessDenied;
    default: return Error;
    }
}

} // namespace

MuErrCode Folder::IsOnLocalVolume(bool * local) const {
    if (local == nullptr)
        return Error;
    return status != NoError ? status : ToVolumeCode(entry->IsOnLocalVolume(local));
}

MuErrCode Folder::IsOnFixedVolume(bool * fixed) const {
    if (fixed == nullptr)
        return Error;
    return status != NoError ? status : ToVolumeCode(entry->IsOnFixedVolume(fixed));
}

} // namespace IO
