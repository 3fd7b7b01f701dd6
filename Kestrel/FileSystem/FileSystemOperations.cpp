#include <Kestrel/FileSystem/FileSystem.h>

#include <Kestrel/FileSystem/Folder.h>
#include <Kestrel/FileSystem/Internal/PathText.h>
#include <Kestrel/FileSystem/Internal/Report.h>
#include <Kestrel/Location/Internal/OSErrors.h>

#include <iterator>

namespace IO {

namespace {

using Level = ReportLine::Level;
using Treatment = AccessDeniedTreatment;

// Calls the operation with the folder of the entry at `location`, and the entry's name in it. On a
// folder that does not connect, the operation returns the folder's status.
template <typename Operation>
MuErrCode OnParent(Location const & location, Operation const & operation) {
    if (Mu::IsNull(location) || location.IsRoot())
        return Error;
    Location parent(location);
    Name name;
    MuErrCode const status = parent.MoveLastLocalName(&name);
    if (status != NoError)
        return status;
    Folder folder(parent, Folder::OnNotFound::Report);
    return operation(folder, name);
}

struct Translation {
    MuErrCode from;
    MuErrCode to;
};

constexpr Translation connectTranslations[] = {
    {ErrFolderNotFound, ErrFSEntryNotFound},
    {ErrNotAFolder, ErrFSNotAFolder},
    {ErrFolderAccessDenied, ErrFSAccessDenied},
};

constexpr Translation typeTranslations[] = {
    {NoError, NoError},
    {ErrFolderAccessDenied, ErrFSAccessDenied},
    {ErrEntryNotFound, ErrFSEntryNotFound},
};

constexpr Translation createTranslations[] = {
    {NoError, NoError},
    {ErrFolderAccessDenied, ErrFSAccessDenied},
    {ErrDeviceFull, ErrFSDeviceFull},
};

template <std::size_t count>
MuErrCode Translate(Translation const (&table)[count], MuErrCode code) {
    for (Translation const & row : table)
        if (row.from == code)
            return row.to;
    return Error;
}

// The common part of GetType and GetResolvedType.
template <typename Query>
MuErrCode QueryType(Location const & location, EntryType * type, Query const & query) {
    if (Mu::IsNull(location) || type == nullptr || location.GetStatus() != NoError)
        return Error;
    if (location.IsRoot()) {
        *type = EntryType::Folder;
        return NoError;
    }
    return Translate(typeTranslations, OnParent(location, query));
}

// Ensures that the folder at `location` contains a folder of this name. Names of dots always exist,
// and folders created behind them would be elsewhere.
MuErrCode CreateTreeLevel(Location const & location, Name const & name) {
    if (PathText const text = name.ToString(); text == u"." || text == u"..")
        return Error;
    Folder folder(location, Folder::OnNotFound::Report);
    if (folder.GetStatus() != NoError)
        return Translate(connectTranslations, folder.GetStatus());
    EntryType type;
    MuErrCode const status = folder.GetType(name, &type);
    if (status == ErrEntryNotFound)
        return Translate(createTranslations, folder.CreateFolder(name, nullptr));
    if (status != NoError)
        return Translate(typeTranslations, status);
    return type == EntryType::Folder ? NoError : ErrFSNotAFolder;
}

// By id. Only failures are reported with these texts.
constexpr char const * specialLocationTexts[] = {
    "System",
    "ApplicationFile",
    "ApplicationFolder",
    "CurrentFolder",
    "UserLocalSettings",
    "UserLocalData",
    "UserLocalCache",
    "UserLocalLog",
    "UserRoamingSettings",
    "CommonLocalSettings",
    "Desktop",
    "TemporaryFolder",
    "UserDocuments",
    "CommonDocuments",
    "CommonLocalData",
    "CommonLocalLogs",
    "UserHome",
    "SharedComponents",
};

} // namespace

MuErrCode FileSystem::CreateFile(Location const & location) {
    return OnParent(location, [](Folder & folder, Name const & name) {
        return folder.CreateFile(name, nullptr);
    });
}

MuErrCode FileSystem::CreateFolder(Location const & location) {
    return OnParent(location, [](Folder & folder, Name const & name) {
        return folder.CreateFolder(name, nullptr);
    });
}

MuErrCode FileSystem::CreateFolderTree(Location const & base, RelativeLocation const & relative) {
    if (Mu::IsNull(base) || Mu::IsNull(relative) || base.GetStatus() != NoError ||
        relative.GetStatus() != NoError)
        return Error;
    Location location(base);
    Name name;
    for (unsigned int i = 0; i < relative.GetLength(); ++i) {
        MuErrCode status = relative.GetName(i, &name);
        if (status == NoError)
            status = CreateTreeLevel(location, name);
        if (status == NoError)
            status = location.AppendToLocal(name);
        if (status != NoError)
            return status;
    }
    return NoError;
}

MuErrCode FileSystem::CreateFolderTree(Location const & location) {
    if (Mu::IsNull(location))
        return Error;
    Location machine(location);
    machine.ClearLocal();
    RelativeLocation path;
    if (location.GetDifference(machine, &path) != NoError)
        return Error;
    return CreateFolderTree(machine, path);
}

MuErrCode FileSystem::Rename(Location const & location, Name const & to, Treatment treatment) {
    return OnParent(location, [&](Folder & folder, Name const & name) {
        return folder.Rename(name, to, treatment);
    });
}

MuErrCode FileSystem::Move(Location const & source, Location const & target, DataSafety safety) {
    return OnParent(source, [&](Folder & folder, Name const & from) {
        return OnParent(target, [&](Folder & targetFolder, Name const & to) {
            return folder.Move(from, targetFolder, to, safety);
        });
    });
}

MuErrCode FileSystem::Copy(Location const & source, Location const & target) {
    return OnParent(source, [&](Folder & folder, Name const & from) {
        return OnParent(target, [&](Folder & targetFolder, Name const & to) {
            return folder.Copy(from, targetFolder, to);
        });
    });
}

MuErrCode FileSystem::Delete(Location const & location, DataSafety safety, Treatment treatment) {
    return OnParent(location, [&](Folder & folder, Name const & name) {
        return folder.Delete(name, safety, treatment);
    });
}

MuErrCode FileSystem::GetType(Location const & location, EntryType * type) {
    return QueryType(location, type, [&](Folder & folder, Name const & name) {
        return folder.GetType(name, type);
    });
}

MuErrCode FileSystem::GetResolvedType(Location const & location, EntryType * type) {
    EntryType resolved;
    MuErrCode const status = QueryType(location, type == nullptr ? nullptr : &resolved,
                                       [&](Folder & folder, Name const & name) {
                                           return folder.GetResolvedType(name, &resolved);
                                       });
    if (status != NoError)
        return status;
    // A link that leads to another link is neither of the two possible results.
    if (resolved == EntryType::Link)
        return Error;
    *type = resolved;
    return NoError;
}

MuErrCode FileSystem::EstimateResolvedType(Location const & location, EntryType * type) {
    using Status = NativeFileSystem::EstimateStatus;
    static Outcome failures[] = {
        {ErrFSAccessDenied,
         {Level::Error, "Estimation of the resolved type of the location \"%\" has failed: access "
                        "denied (OS errors: %)"}},
        {ErrFSEntryNotFound,
         {Level::Error, "Estimation of the resolved type of the location \"%\" has failed: entry "
                        "is not found (OS errors: %)"}},
        {Error,
         {Level::Error, "Estimation of the resolved type of the location \"%\" has failed: unknown "
                        "error (OS errors: %)"}},
        {Error,
         {Level::Error, "Estimation of the resolved type of the location \"%\" has failed: "
                        "internal error (OS errors: %)"}},
    };
    MuErrCode const code = GetType(location, type);
    if (code != NoError || *type != EntryType::Link)
        return code;
    NativeFileSystem * const native = NativeFileSystem::Get();
    if (native == nullptr)
        return Error;
    Status const status = native->EstimateResolvedType(location, type);
    if (status == Status::Done) {
        ClearOSErrors();
        return NoError;
    }
    return ReportOutcome(failures, static_cast<unsigned int>(status) - 1, {location});
}

MuErrCode FileSystem::Contains(Location const & location, bool * contained) {
    if (Mu::IsNull(location) || contained == nullptr || location.GetStatus() != NoError)
        return Error;
    if (location.IsRoot()) {
        *contained = true;
        return NoError;
    }
    return OnParent(location, [&](Folder & folder, Name const & name) {
        return folder.Contains(name, contained);
    });
}

bool FileSystem::IsOnLine(Location const & location) {
    NativeFileSystem * const native = NativeFileSystem::Get();
    bool const isOnLine = native != nullptr && !Mu::IsNull(location) && native->IsOnLine(location);
    ClearOSErrors(); // a drive without a medium is no failure
    return isOnLine;
}

bool FileSystem::ResolveLocation(Location const & from, Location * to) {
    static ReportLine failed(Level::Error,
                             "Resolvation of the location \"%\" has failed (OS errors: %)");
    NativeFileSystem * const native = NativeFileSystem::Get();
    if (native == nullptr || Mu::IsNull(from) || to == nullptr)
        return false;
    if (native->ResolveLocation(from, to)) {
        ClearOSErrors(); // the target need not exist
        return true;
    }
    Report(failed, {from});
    return false;
}

bool FileSystem::ResolveLocation(Location * location) {
    if (location == nullptr)
        return false;
    Location const from(*location);
    return ResolveLocation(from, location);
}

MuErrCode FileSystem::GetSpecialLocation(SpecLocId id, Location * location) {
    static ReportLine line(Level::Error,
                           "Query of the special location \"%\" has failed (OS errors: %)");
    unsigned int const row = static_cast<unsigned int>(id);
    NativeFileSystem * const native = NativeFileSystem::Get();
    if (row >= std::size(specialLocationTexts) || location == nullptr || native == nullptr)
        return Error;
    if (native->GetSpecialLocation(id, location)) {
        ClearOSErrors(); // of places that were queried before the one that exists
        return NoError;
    }
    Report(line, {specialLocationTexts[row]});
    return Error;
}

} // namespace IO
