#include <Kestrel/FileSystem/ReplacingFile.h>

#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/Internal/TransferStep.h>
#include <Kestrel/Root/Log/Quietly.h>
#include <Kestrel/Root/Memory/Memory.h>

namespace IO {

// Delegates to the other constructor, so that the destructor removes what was created before memory
// runs out.
ReplacingFile::ReplacingFile(Location const & target) : ReplacingFile() {
    if (!Mu::IsNull(target))
        status = Open(target);
    if (!file) // one that accepts no data
        file.emplace(Mu::IsNull(target) ? Location() : target, File::OnNotFound::FailQuietly);
}

ReplacingFile::~ReplacingFile() {
    Mu::Quietly([this] { Discard(); });
}

MuErrCode ReplacingFile::Open(Location place) {
    bool replaces = false;
    {
        File old(place, File::OnNotFound::FailQuietly);
        if (old.GetStatus() != NoError && old.GetStatus() != ErrFileNotFound)
            return old.GetStatus();
        replaces = old.GetStatus() == NoError;
        if (replaces) {
            (void)old.GetLocation(&place); // the target of a link
            // Replacing it requires permission to write to it.
            MuErrCode const opened = old.Open(File::OpenMode::WriteOnly);
            if (opened != NoError)
                return opened;
        }
    }
    constexpr int mostLinks = 40;
    for (int i = 0; i < mostLinks; ++i) {
        if (MuErrCode const parted = place.MoveLastLocalName(&target); parted != NoError)
            return parted;
        folder.emplace(place);
        if (folder->GetStatus() != NoError)
            return folder->GetStatus();
        EntryType type;
        if (replaces || folder->GetType(target, &type) != NoError || type != EntryType::Link)
            return Make(replaces);
        // A broken link: what it leads to is created.
        if (!fileSystem.ResolveLocation(Location(place, target), &place))
            break;
    }
    return ErrFileNotFound;
}

MuErrCode ReplacingFile::Make(bool replaces) {
    MuErrCode made = ErrTargetExists;
    while (made == ErrTargetExists) { // another program was faster
        if (folder->GenerateUnusedName(&name) != 0)
            return ErrFileCreationFailed;
        made = replaces ? folder->CreateFileLike(name, target) : folder->CreateFile(name);
    }
    if (made != NoError)
        return made;
    isMade = true;
    file.emplace(*folder, name);
    MuErrCode const opened = file->Open(File::OpenMode::WriteOnly);
    if (opened != NoError)
        Discard();
    return opened;
}

MuErrCode ReplacingFile::Commit(AccessDeniedTreatment treatment) {
    if (status != NoError)
        return status;
    status = file->GetOutputStatus();
    if (status == NoError)
        status = file->Flush();
    MuErrCode const closed = file->Close();
    if (status == NoError)
        status = closed;
    if (status == NoError)
        status = folder->Replace(name, target, treatment);
    MuErrCode const committed = status;
    if (status == NoError)
        isMade = false;
    else
        Discard();
    status = committed == NoError ? Error : committed;
    return committed;
}

void ReplacingFile::Discard() {
    if (!isMade)
        return;
    isMade = false;
    if (file)
        file->Close();
    TransferPause const pause; // whatever has ended, this is deleted
    folder->Delete(name, DataSafety::KeepProtected);
}

} // namespace IO
