#include <Kestrel/FileSystem/Folder.h>

#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/FolderEntry.h>
#include <Kestrel/FileSystem/Internal/AccessDenied.h>
#include <Kestrel/FileSystem/Internal/KeptFolder.h>
#include <Kestrel/FileSystem/Internal/Report.h>
#include <Kestrel/FileSystem/Internal/TransferStep.h>
#include <Kestrel/FileSystem/Internal/WinFolderEntry.h>

namespace IO {

using Level = ReportLine::Level;

namespace {

/// The loop of an operation that may be denied: `attempt` is repeated while it returns `denied` and
/// another attempt is worthwhile.
template <typename Status, typename Attempt>
Status Retry(Location const & location, AccessDeniedTreatment treatment, Status denied,
             Attempt attempt) {
    unsigned int counter;
    fileSystem.InitAccessDeniedCounter(&counter);
    for (;;) {
        Status const result = attempt();
        if (result != denied || fileSystem.ProcessAccessDenied(location, treatment, &counter) !=
                                    FileSystem::AccessDeniedAction::Retry)
            return result;
    }
}

using MoveStatus = FolderEntry::MoveStatus;

MoveStatus ToMoveStatus(FolderEntry::ExchangeStatus status) {
    switch (status) {
    case FolderEntry::ExchangeStatus::Done: return MoveStatus::Done;
    case FolderEntry::ExchangeStatus::EntryNotFound: return MoveStatus::EntryNotFound;
    case FolderEntry::ExchangeStatus::DeviceFull: return MoveStatus::DeviceFull;
    case FolderEntry::ExchangeStatus::AccessDenied: return MoveStatus::AccessDenied;
    default: return MoveStatus::Other;
    }
}

// File systems other than the platform's have no such step: the two entries exchange their names,
// and then the old one is deleted.
MoveStatus ReplaceEntry(FolderEntry & entry, Name const & from, Name const & to) {
    if (WinFolderEntry * const native = dynamic_cast<WinFolderEntry *>(&entry))
        return native->Replace(from, to);
    MoveStatus const moved = entry.Move(from, entry, to, true);
    EntryType old;
    if (moved != MoveStatus::TargetExists)
        return moved;
    if (entry.GetType(to, &old) != FolderEntry::GetTypeStatus::Done || old == EntryType::Folder)
        return MoveStatus::AccessDenied;
    Name aside;
    Name now;
    // In this order, so that the old one never has the name of the new one, which may be deleted
    // after a failure.
    MoveStatus const exchanged = ToMoveStatus(entry.Exchange(to, from, true, &aside, &now));
    if (exchanged == MoveStatus::Done)
        (void)entry.Delete(aside, true); // the new one has its name even if this fails
    return exchanged;
}

} // namespace

template <typename Attempt>
MuErrCode Folder::RenameBy(Attempt const & attempt, Name const & from, Name const & to,
                           AccessDeniedTreatment treatment) {
    static ReportLine expectedDenied(Level::Info, "Renaming entry \"%\" to \"%\" in folder \"%\": "
                                                  "access denied (OS errors: %)");
    static Outcome outcomes[] = {
        {NoError, {Level::Info, "Renaming entry \"%\" to \"%\" in folder \"%\""}},
        {ErrSourceNotFound,
         {Level::Error, "Renaming entry \"%\" to \"%\" in folder \"%\": entry "
                        "is not found (OS errors: %)"}},
        {ErrTargetExists,
         {Level::Error, "Renaming entry \"%\" to \"%\" in folder \"%\": target "
                        "already exists (OS errors: %)"}},
        {ErrDeviceFull,
         {Level::Error, "Renaming entry \"%\" to \"%\" in folder \"%\": device is "
                        "full (OS errors: %)"}},
        {ErrFolderAccessDenied,
         {Level::Error, "Renaming entry \"%\" to \"%\" in folder \"%\": "
                        "access denied (OS errors: %)"}},
        {Error,
         {Level::Error, "Renaming entry \"%\" to \"%\" in folder \"%\": unknown error (OS "
                        "errors: %)"}},
        {Error, {Level::Error, "Renaming entry \"%\" to \"%\" in folder \"%\": internal error"}},
    };
    if (Mu::IsNull(from) || Mu::IsNull(to))
        return Error;
    if (status != NoError)
        return status;
    Location const subject(location, from);
    constexpr auto denied = FolderEntry::MoveStatus::AccessDenied;
    auto const result = Retry(subject, treatment, denied, attempt);
    if (result == denied && !IsDenialAnError(subject, treatment)) {
        Report(expectedDenied, {from, to, location});
        return ErrFolderAccessDenied;
    }
    return ReportOutcome(outcomes, result, {from, to, location});
}

MuErrCode Folder::Rename(Name const & from, Name const & to, AccessDeniedTreatment treatment) {
    return RenameBy([&] { return entry->Move(from, *entry, to, true); }, from, to, treatment);
}

MuErrCode Folder::Replace(Name const & from, Name const & to, AccessDeniedTreatment treatment) {
    return RenameBy([&] { return ReplaceEntry(*entry, from, to); }, from, to, treatment);
}

MuErrCode Folder::Exchange(Name const & a, Name const & b, AccessDeniedTreatment treatment) {
    static ReportLine expectedDenied(Level::Info,
                                     "Exchanging entry \"%\" with \"%\" in folder \"%\": access "
                                     "denied (OS errors: %)");
    static Outcome outcomes[] = {
        {NoError, {Level::Info, "Exchanging entry \"%\" with \"%\" in folder \"%\""}},
        {ErrSourceNotFound,
         {Level::Error, "Exchanging entry \"%\" with \"%\" in folder \"%\": "
                        "entry is not found (OS errors: %)"}},
        {ErrDeviceFull,
         {Level::Error, "Exchanging entry \"%\" with \"%\" in folder \"%\": device "
                        "is full (OS errors: %)"}},
        {ErrFolderAccessDenied,
         {Level::Error, "Exchanging entry \"%\" with \"%\" in folder "
                        "\"%\": access denied (OS errors: %)"}},
        {Error,
         {Level::Error, "Exchanging entry \"%\" with \"%\" in folder \"%\": unknown error "
                        "(OS errors: %)"}},
        {Error,
         {Level::Error, "Exchanging entry \"%\" with \"%\" in folder \"%\": internal error"}},
    };
    if (Mu::IsNull(a) || Mu::IsNull(b))
        return Error;
    if (status != NoError)
        return status;
    Location const subject(location, a);
    constexpr auto denied = FolderEntry::ExchangeStatus::AccessDenied;
    Name nowA(a);
    Name nowB(b);
    auto const result = Retry(subject, treatment, denied, [&] {
        Name const fromA(nowA); // the names after the last attempt
        Name const fromB(nowB);
        return entry->Exchange(fromA, fromB, true, &nowA, &nowB);
    });
    if (result == denied && !IsDenialAnError(subject, treatment)) {
        Report(expectedDenied, {a, b, location});
        return ErrFolderAccessDenied;
    }
    return ReportOutcome(outcomes, result, {a, b, location});
}

MuErrCode Folder::Delete(Name const & name, DataSafety safety, AccessDeniedTreatment treatment) {
    static ReportLine expectedDenied(
        Level::Info, "Deleting entry \"%\" in folder \"%\": access denied (OS errors: %)");
    static Outcome outcomes[] = {
        {NoError, {Level::Info, "Deleting entry \"%\" in folder \"%\""}},
        {ErrEntryNotFound,
         {Level::Warning, "Deleting entry \"%\" in folder \"%\": entry is not "
                          "found (OS errors: %)"}},
        {ErrFolderAccessDenied,
         {Level::Error, "Deleting entry \"%\" in folder \"%\": access denied (OS errors: %)"}},
        {Error,
         {Level::Error, "Deleting entry \"%\" in folder \"%\": unknown error (OS errors: %)"}},
        {Error, {Level::Error, "Deleting entry \"%\" in folder \"%\": internal error"}},
    };
    if (Mu::IsNull(name))
        return Error;
    if (status != NoError)
        return status;
    Location const subject(location, name);
    constexpr auto denied = FolderEntry::DeleteStatus::AccessDenied;
    auto const result = Retry(subject, treatment, denied, [&] {
        return TransferStep::IsOver() ? FolderEntry::DeleteStatus::Other
                                      : entry->Delete(name, safety == DataSafety::IgnoreProtection);
    });
    if (result == denied && !IsDenialAnError(subject, treatment)) {
        Report(expectedDenied, {name, location});
        return ErrFolderAccessDenied;
    }
    return ReportOutcome(outcomes, result, {name, location});
}

namespace {

struct DeleteAllState {
    DataSafety safety;
    AccessDeniedTreatment treatment;
    MuErrCode failure;
};

bool DeleteAllCallback(Folder & folder, Name const & name, bool, void * data) {
    DeleteAllState & state = *static_cast<DeleteAllState *>(data);
    TransferStep step(data, folder, name);
    MuErrCode const failure = folder.Delete(name, state.safety, state.treatment);
    if (state.failure == NoError)
        state.failure = failure;
    return failure == NoError || step.Skips(failure);
}

} // namespace

MuErrCode Folder::DeleteAll(DataSafety safety, AccessDeniedTreatment treatment) {
    if (status != NoError)
        return status;
    DeleteAllState state{safety, treatment, NoError};
    MuErrCode const enumerated = Enumerate(DeleteAllCallback, &state);
    return enumerated != NoError ? enumerated : state.failure;
}

bool Folder::IsSameFileSystem(Folder const & other) const {
    return entry->GetOwnerFileSystem() == other.entry->GetOwnerFileSystem();
}

namespace {

MuErrCode ReportMove(FolderEntry::MoveStatus result, Name const & from, Location const & source,
                     Name const & to, Location const & target) {
    static Outcome outcomes[] = {
        {NoError, {Level::Info, "Moving entry \"%\" in folder \"%\" to \"%\" in folder \"%\""}},
        {ErrSourceNotFound,
         {Level::Error, "Moving entry \"%\" in folder \"%\" to \"%\" in folder "
                        "\"%\": entry is not found (OS errors: %)"}},
        {ErrTargetExists,
         {Level::Error, "Moving entry \"%\" in folder \"%\" to \"%\" in folder "
                        "\"%\": target already exists (OS errors: %)"}},
        {ErrDeviceFull,
         {Level::Error, "Moving entry \"%\" in folder \"%\" to \"%\" in folder "
                        "\"%\": device is full (OS errors: %)"}},
        {ErrFolderAccessDenied,
         {Level::Error, "Moving entry \"%\" in folder \"%\" to \"%\" in "
                        "folder \"%\": access denied (OS errors: %)"}},
        {Error,
         {Level::Error, "Moving entry \"%\" in folder \"%\" to \"%\" in folder \"%\": "
                        "unknown error (OS errors: %)"}},
        {Error,
         {Level::Error, "Moving entry \"%\" in folder \"%\" to \"%\" in folder \"%\": "
                        "internal error"}},
    };
    return ReportOutcome(outcomes, result, {from, source, to, target});
}

} // namespace

MuErrCode Folder::Move(Name const & from, Folder & target, Name const & to, DataSafety safety) {
    if (Mu::IsNull(from) || Mu::IsNull(target) || Mu::IsNull(to))
        return Error;
    if (status != NoError)
        return status;
    if (target.status != NoError)
        return target.status;
    if (!IsSameFileSystem(target))
        return MoveBetweenFileSystems(from, target, to);
    FolderEntry::MoveStatus const moved =
        TransferStep::IsOver()
            ? FolderEntry::MoveStatus::Other
            : entry->Move(from, *target.entry, to, safety == DataSafety::IgnoreProtection);
    return ReportMove(moved, from, location, to, target.location);
}

// Both folders are held from the copying to the deletion, so that exactly what was copied is
// deleted.
MuErrCode Folder::MoveBetweenFileSystems(Name const & from, Folder & target, Name const & to) {
    KeptFolder const keptSource(*this);
    KeptFolder const keptTarget(target);
    if (!keptSource.IsThere() || !keptTarget.IsThere())
        return ReportMove(FolderEntry::MoveStatus::Other, from, location, to, target.location);
    if (!target.IsWriteable())
        return ReportMove(FolderEntry::MoveStatus::AccessDenied, from, location, to,
                          target.location);
    constexpr auto keep = DataSafety::KeepProtected;
    constexpr auto retry = AccessDeniedTreatment::RetryPrivate;
    TransferWhole const whole;
    MuErrCode const copied = Copy(from, target, to);
    if (copied != NoError)
        return copied; // Copy has removed what it created, and kept what existed before
    TransferPause const pause;
    MuErrCode const deleted = Delete(from, keep, retry);
    if (deleted == NoError)
        return ReportMove(FolderEntry::MoveStatus::Done, from, location, to, target.location);
    target.Delete(to, keep, retry);
    return deleted == ErrEntryNotFound ? ErrSourceNotFound : deleted;
}

} // namespace IO
