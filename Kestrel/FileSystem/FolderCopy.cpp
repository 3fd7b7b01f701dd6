#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/Folder.h>
#include <Kestrel/FileSystem/FolderEntry.h>
#include <Kestrel/FileSystem/Internal/KeptFolder.h>
#include <Kestrel/FileSystem/Internal/Report.h>
#include <Kestrel/FileSystem/Internal/TransferStep.h>
#include <Kestrel/Root/Log/Quietly.h>
#include <Kestrel/Root/Memory/Memory.h>

namespace IO {

using Level = ReportLine::Level;

namespace {

MuErrCode CopyEntryWithReadWrite(Folder const & source, Name const & from, Folder & target,
                                 Name const & to);

// Converts the status of a file to that of a copy.
MuErrCode ToCopyCode(MuErrCode status) {
    switch (status) {
    case NoError: return NoError;
    case EOO: return ErrDeviceFull;
    case ErrFileAccessDenied: return ErrFolderAccessDenied;
    default: return Error;
    }
}

MuErrCode Pump(File & source, File & target) {
    char buffer[16384];
    for (;;) {
        unsigned int got = 0;
        MuErrCode const read = source.ReadBin(buffer, sizeof buffer, &got);
        if (read != NoError && read != EOI)
            return Error;
        if (MuErrCode const written = target.WriteBin(buffer, got, nullptr); written != NoError)
            return ToCopyCode(written);
        if (!TransferScope::Add(got))
            return Error;
        if (read == EOI)
            return NoError;
    }
}

MuErrCode CopyFileWithReadWrite(Folder const & source, Name const & from, Folder & target,
                                Name const & to) {
    constexpr auto retry = AccessDeniedTreatment::RetryPrivate;
    File in(source, from);
    if (!KeptFolder::Lend(source, from, in))
        return Error;
    if (MuErrCode const opened = in.Open(File::OpenMode::ReadOnly, retry); opened != NoError)
        return ToCopyCode(opened);
    // In a step of its own, so that a file created by someone else meanwhile is not written to.
    if (MuErrCode const created = target.CreateFile(to); created != NoError)
        return created == ErrTargetExists ? created : Error;
    File out(target, to);
    if (!KeptFolder::Lend(target, to, out))
        return Error;
    if (MuErrCode const opened = out.Open(File::OpenMode::WriteOnly, retry); opened != NoError)
        return ToCopyCode(opened);
    MuErrCode const pumped = Pump(in, out);
    // The last bytes reach the device only here, so this may find it full, too.
    MuErrCode const closed = out.Close();
    return pumped != NoError ? pumped : ToCopyCode(closed);
}

struct FolderCopyState {
    Folder & target;
    MuErrCode failure;
};

bool CopyEntryWithReadWriteCallback(Folder const & folder, Name const & name, bool, void * data) {
    FolderCopyState & state = *static_cast<FolderCopyState *>(data);
    TransferStep const step(TransferStep::below, name.ToString());
    state.failure =
        step.IsEnded() ? Error : CopyEntryWithReadWrite(folder, name, state.target, name);
    if (state.failure == ErrTargetExists)
        state.failure = Error; // the target of the copy itself is new
    return state.failure == NoError;
}

MuErrCode CopyFolderWithReadWrite(Folder const & source, Name const & from, Folder & target,
                                  Name const & to) {
    Folder const in(source, from);
    if (MuErrCode const created = target.CreateFolder(to); created != NoError)
        return created == ErrTargetExists ? created : Error;
    Folder out(target, to);
    if (out.GetStatus() != NoError)
        return out.GetStatus();
    KeptFolder const kept(target, to, out);
    if (!kept.IsThere() || !KeptFolder::Lend(source, from, in))
        return Error;
    FolderCopyState state{out, NoError};
    MuErrCode const enumerated = in.Enumerate(CopyEntryWithReadWriteCallback, &state);
    return enumerated != NoError ? enumerated : state.failure;
}

MuErrCode CopyEntryWithReadWrite(Folder const & source, Name const & from, Folder & target,
                                 Name const & to) {
    EntryType type;
    if (MuErrCode const asked = source.GetType(from, &type); asked != NoError)
        return asked;
    switch (type) {
    case EntryType::File: return CopyFileWithReadWrite(source, from, target, to);
    case EntryType::Folder: return CopyFolderWithReadWrite(source, from, target, to);
    default: return Error; // a link is meaningless in another file system
    }
}

// Deletes what a copy has created, unless it is complete; also when memory runs out, or the thread
// is asked to stop, in its middle.
class HalfMadeEntry {
public:
    HalfMadeEntry(Folder & folder, Name const & name) : folder(folder), name(name) {}
    ~HalfMadeEntry() {
        if (!isWhole)
            Remove();
    }
    HalfMadeEntry(HalfMadeEntry const &) = delete;
    HalfMadeEntry & operator=(HalfMadeEntry const &) = delete;
    void SetWhole() { isWhole = true; }

private:
    // Leftovers are visible to everyone; there is no better way to report them.
    void Remove() noexcept {
        Mu::Quietly([this] {
            TransferPause const pause;
            folder.Delete(name, DataSafety::KeepProtected, AccessDeniedTreatment::RetryPrivate);
        });
    }

    Folder & folder;
    Name const & name;
    bool isWhole = false;
};

bool LiesIn(Folder const & target, Folder const & source, Name const & from) {
    Location place, top;
    target.GetLocation(&place);
    source.GetLocation(&top);
    if (top.AppendToLocal(from) == ErrMemoryFull)
        Mu::ThrowOutOfMemory();
    return top == place || top.IsAncestorOf(place);
}

MuErrCode CopyBetweenFileSystems(Folder const & source, Name const & from, Folder & target,
                                 Name const & to) {
    bool contained = false;
    if (MuErrCode const asked = source.Contains(from, &contained); asked != NoError)
        return asked;
    if (!contained)
        return ErrSourceNotFound;
    if (MuErrCode const asked = target.Contains(to, &contained); asked != NoError)
        return asked;
    if (contained)
        return ErrTargetExists;
    // One system may be mounted in the other, so that the copy would find itself.
    if (LiesIn(target, source, from))
        return Error;
    KeptFolder const keptSource(source);
    KeptFolder const keptTarget(target);
    if (!keptSource.IsThere() || !keptTarget.IsThere())
        return Error;
    TransferStep const step(&source, source, from);
    TransferWhole const whole; // a copy that lacks a failed entry is incomplete
    HalfMadeEntry made(target, to);
    MuErrCode const copied =
        step.IsEnded() ? Error : CopyEntryWithReadWrite(source, from, target, to);
    if (copied == NoError || copied == ErrTargetExists)
        made.SetWhole(); // or it is not ours
    return copied;
}

// Converts the code of a copy by reading and writing to the status of an entry.
FolderEntry::CopyStatus ToCopyStatus(MuErrCode code) {
    using Status = FolderEntry::CopyStatus;
    switch (code) {
    case NoError: return Status::Done;
    case ErrSourceNotFound: return Status::EntryNotFound;
    case ErrTargetExists: return Status::TargetExists;
    case ErrDeviceFull: return Status::DeviceFull;
    case ErrFolderAccessDenied: return Status::AccessDenied;
    default: return Status::Other;
    }
}

} // namespace

MuErrCode Folder::Copy(Name const & from, Folder & target, Name const & to) const {
    if (Mu::IsNull(from) || Mu::IsNull(target) || Mu::IsNull(to))
        return Error;
    if (status != NoError)
        return status;
    if (target.status != NoError)
        return target.status;
    if (!(location != target.location))
        return Error;
    return const_cast<Folder *>(this)->Copy(from, target, to); // this is not the target
}

MuErrCode Folder::Copy(Name const & from, Folder & target, Name const & to) {
    static Outcome outcomes[] = {
        {NoError, {Level::Info, "Copying entry \"%\" in folder \"%\" to \"%\" in folder \"%\""}},
        {ErrSourceNotFound,
         {Level::Error, "Copying entry \"%\" in folder \"%\" to \"%\" in folder "
                        "\"%\": source is not found (OS errors: %)"}},
        {ErrTargetExists,
         {Level::Error, "Copying entry \"%\" in folder \"%\" to \"%\" in folder "
                        "\"%\": target already exists (OS errors: %)"}},
        {ErrDeviceFull,
         {Level::Error, "Copying entry \"%\" in folder \"%\" to \"%\" in folder "
                        "\"%\": device is full (OS errors: %)"}},
        {ErrFolderAccessDenied,
         {Level::Error, "Copying entry \"%\" in folder \"%\" to \"%\" in "
                        "folder \"%\": access denied (OS errors: %)"}},
        {Error,
         {Level::Error, "Copying entry \"%\" in folder \"%\" to \"%\" in folder \"%\": "
                        "unknown error (OS errors: %)"}},
    };
    if (Mu::IsNull(from) || Mu::IsNull(target) || Mu::IsNull(to))
        return Error;
    if (status != NoError)
        return status;
    if (target.status != NoError)
        return target.status;
    FolderEntry::CopyStatus const result =
        TransferStep::IsOver()     ? FolderEntry::CopyStatus::Other
        : IsSameFileSystem(target) ? entry->Copy(from, *target.entry, to)
                                   : ToCopyStatus(CopyBetweenFileSystems(*this, from, target, to));
    return ReportOutcome(outcomes, result, {from, location, to, target.location});
}

MuErrCode Folder::Copy(Name const & from, Name const & to) {
    static Outcome outcomes[] = {
        {NoError, {Level::Info, "Copying entry \"%\" to \"%\" in folder \"%\""}},
        {ErrSourceNotFound,
         {Level::Error, "Copying entry \"%\" to \"%\" in folder \"%\": entry is "
                        "not found (OS errors: %)"}},
        {ErrTargetExists,
         {Level::Error, "Copying entry \"%\" to \"%\" in folder \"%\": target "
                        "already exists (OS errors: %)"}},
        {ErrDeviceFull,
         {Level::Error, "Copying entry \"%\" to \"%\" in folder \"%\": device is "
                        "full (OS errors: %)"}},
        {ErrFolderAccessDenied,
         {Level::Error, "Copying entry \"%\" to \"%\" in folder \"%\": "
                        "access denied (OS errors: %)"}},
        {Error,
         {Level::Error, "Copying entry \"%\" to \"%\" in folder \"%\": unknown error (OS "
                        "errors: %)"}},
        {Error, {Level::Error, "Copying entry \"%\" to \"%\" in folder \"%\": internal error"}},
    };
    if (Mu::IsNull(from) || Mu::IsNull(to))
        return Error;
    if (status != NoError)
        return status;
    FolderEntry::CopyStatus const result =
        TransferStep::IsOver() ? FolderEntry::CopyStatus::Other : entry->Copy(from, *entry, to);
    return ReportOutcome(outcomes, result, {from, to, location});
}

} // namespace IO
