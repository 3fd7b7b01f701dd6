#include <Kestrel/FileSystem/Folder.h>

#include <Kestrel/FileSystem/EntryEnumerator.h>
#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/FolderEntry.h>
#include <Kestrel/FileSystem/Internal/FileTimes.h>
#include <Kestrel/FileSystem/Internal/FoundFile.h>
#include <Kestrel/FileSystem/Internal/Report.h>
#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Root/Streams/OChannel.h>

namespace IO {

using Level = ReportLine::Level;

namespace {

/// Passes what a file system finds to a callback, as far as the mask selects it.
template <typename AnyFolder, typename AnyCallback>
class FolderEntryEnumerator : public EntryEnumerator {
public:
    FolderEntryEnumerator(AnyFolder & folder, AnyCallback callback, bool resolve, unsigned int mask,
                          void * data)
        : folder(folder), callback(callback), resolve(resolve), mask(mask), data(data) {}

    bool EntryFound(Name const & name, bool isFolder) override {
        if (isFolder)
            return CallFor(Folder::Folders, name, true);
        if (!resolve && Wants(Folder::Files) && Wants(Folder::Links))
            return callback(folder, name, false, data); // the type makes no difference
        if (!Wants(Folder::Files) && !Wants(Folder::Links))
            return true;
        return CallForType(name);
    }

    // Mounted file systems appear as folders of the folder they are mounted in.
    void AddMountPoints() {
        if (Wants(Folder::Folders))
            fileSystem.EnumerateVirtualMountPoints(MountPointFound, this);
    }

private:
    bool Wants(unsigned int kind) const { return (mask & kind) != 0; }
    bool CallFor(unsigned int kind, Name const & name, bool isFolder) {
        return !Wants(kind) || callback(folder, name, isFolder, data);
    }

    bool CallForType(Name const & name) {
        EntryType type;
        if ((resolve ? folder.GetResolvedType(name, &type) : folder.GetType(name, &type)) !=
            NoError)
            return CallFor(Folder::Untyped, name, false);
        switch (type) {
        case EntryType::Folder: return CallFor(Folder::Folders, name, true);
        case EntryType::Link: return CallFor(Folder::Links, name, false);
        default: return CallFor(Folder::Files, name, false);
        }
    }

    static bool MountPointFound(Location const & mountPoint, void * data) {
        FolderEntryEnumerator & self = *static_cast<FolderEntryEnumerator *>(data);
        Location above;
        self.folder.GetLocation(&above);
        // Kept: the root of the computer is above all networks, too, as for IsAncestorOf.
        if (mountPoint.GetLocalLength() != above.GetLocalLength() + 1 ||
            !above.IsAncestorOf(mountPoint))
            return true;
        Name name;
        if (mountPoint.GetLastLocalName(&name) != NoError)
            Mu::ThrowOutOfMemory(); // it has a last name, and the list is incomplete without it
        return self.callback(self.folder, name, true, self.data);
    }

    AnyFolder & folder;
    AnyCallback callback;
    bool resolve;
    unsigned int mask;
    void * data;
};

} // namespace

template <typename AnyFolder, typename AnyCallback>
MuErrCode Folder::EnumerateWith(AnyFolder & folder, AnyCallback callback, LinkProcessing links,
                                unsigned int mask, void * data) {
    static Outcome failures[] = {
        {ErrFolderAccessDenied,
         {Level::Error, "Enumerating folder \"%\" in folder \"%\": access denied (OS errors: %)"}},
        {Error,
         {Level::Error, "Enumerating folder \"%\" in folder \"%\": unknown error (OS errors: %)"}},
        {Error,
         {Level::Error, "Enumerating folder \"%\" in folder \"%\": internal error (OS errors: %)"}},
    };
    if (callback == nullptr)
        return Error;
    if (folder.status != NoError)
        return folder.status;
    FolderEntryEnumerator<AnyFolder, AnyCallback> enumerator(
        folder, callback, links == LinkProcessing::Resolve, mask, data);
    switch (folder.entry->Enumerate(enumerator)) {
    case FolderEntry::EnumerateStatus::Done: enumerator.AddMountPoints(); return NoError;
    case FolderEntry::EnumerateStatus::Stopped: return NoError;
    case FolderEntry::EnumerateStatus::AccessDenied:
        return ReportOutcome(failures, 0, {EntryOf{folder.location}});
    case FolderEntry::EnumerateStatus::Other:
        return ReportOutcome(failures, 1, {EntryOf{folder.location}});
    }
    return ReportOutcome(failures, 2, {EntryOf{folder.location}});
}

MuErrCode Folder::Enumerate(Callback callback, LinkProcessing links, unsigned int mask,
                            void * data) {
    return EnumerateWith(*this, callback, links, mask, data);
}

MuErrCode Folder::Enumerate(ConstCallback callback, LinkProcessing links, unsigned int mask,
                            void * data) const {
    return EnumerateWith(*this, callback, links, mask, data);
}

MuErrCode Folder::Enumerate(Callback callback, void * data) {
    return EnumerateWith(*this, callback, LinkProcessing::ReportLinks, Everything, data);
}

MuErrCode Folder::Enumerate(ConstCallback callback, void * data) const {
    return EnumerateWith(*this, callback, LinkProcessing::ReportLinks, Everything, data);
}

bool Folder::GetFoundFile(Name const & name, unsigned long long * length,
                          int * modificationTime) const {
    return GetFoundFile(name, length, modificationTime, nullptr);
}

bool Folder::GetFoundFile(Name const & name, unsigned long long * length, int * modificationTime,
                          bool * isDevice) const {
    FoundFile const found(*this);
    if (Mu::IsNull(name))
        return false;
    if (length == nullptr && modificationTime == nullptr && isDevice == nullptr)
        return found.IsCertain(name);
    FindData const * const data = found.Look(name);
    int time = 0;
    if (data == nullptr || (modificationTime != nullptr &&
                            FromFileTime(data->lastWriteTime, &time) != FSEntry::TimeStatus::Done))
        return false;
    if (length != nullptr)
        *length = data->size;
    if (modificationTime != nullptr)
        *modificationTime = time;
    if (isDevice != nullptr)
        *isDevice = (data->attributes & FileAttribute::Device) != 0;
    return true;
}

namespace {

struct EntryCounter {
    Folder::CountMode mode;
    unsigned int count;

    static bool Found(Folder const & folder, Name const & name, bool isFolder, void * data) {
        EntryCounter & counter = *static_cast<EntryCounter *>(data);
        counter.count += counter.Counts(folder, name, isFolder) ? 1 : 0;
        return true;
    }

    bool Counts(Folder const & folder, Name const & name, bool isFolder) const {
        if (mode == Folder::CountMode::Entries)
            return true;
        if (mode == Folder::CountMode::Folders)
            return isFolder;
        EntryType type;
        return !isFolder && (folder.GetFoundFile(name, nullptr, nullptr) ||
                             (folder.GetType(name, &type) == NoError && type == EntryType::File));
    }
};

} // namespace

MuErrCode Folder::Count(CountMode mode, unsigned int * count) const {
    if (count == nullptr)
        return Error;
    EntryCounter counter{mode, 0};
    MuErrCode const enumerated = Enumerate(EntryCounter::Found, &counter);
    *count = counter.count;
    return enumerated;
}

MuErrCode Folder::CountFiles(unsigned int * count) const {
    return Count(CountMode::Files, count);
}

MuErrCode Folder::CountFolders(unsigned int * count) const {
    return Count(CountMode::Folders, count);
}

MuErrCode Folder::CountEntries(unsigned int * count) const {
    return Count(CountMode::Entries, count);
}

MuErrCode Folder::IsEmpty(bool * empty) const {
    if (empty == nullptr)
        return Error;
    unsigned int count = 0;
    MuErrCode const counted = CountEntries(&count);
    *empty = count == 0;
    return counted;
}

namespace {

bool PrintContentCallback(Folder const &, Name const & name, bool, void * data) {
    Mu::OChannel & channel = *static_cast<Mu::OChannel *>(data);
    channel << static_cast<char const *>(name.ToString().ToCStr()) << "\n";
    return channel.GetOutputStatus() == NoError;
}

} // namespace

MuErrCode Folder::PrintContent(Mu::OChannel & channel) const {
    if (Mu::IsNull(channel))
        return Error;
    MuErrCode const enumerated = Enumerate(PrintContentCallback, &channel);
    return enumerated != NoError ? enumerated : channel.GetOutputStatus();
}

} // namespace IO
