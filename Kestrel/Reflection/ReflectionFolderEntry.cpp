#include <Kestrel/Reflection/ReflectionFolderEntry.h>

#include <Kestrel/Channel/MemoryOChannel.h>
#include <Kestrel/Location/RelativeLocation.h>
#include <Kestrel/Reflection/Internal/MemoryFolderEntry.h>
#include <Kestrel/Reflection/Internal/ReflectionFileEntry.h>
#include <Kestrel/Reflection/Reflectable.h>
#include <Kestrel/Root/Errors/Exceptions.h>

#include <algorithm>
#include <memory>

namespace IO {

ReflectionFolderEntry::ReflectionFolderEntry(Reflectable const & reflectable)
    : reflectable(&reflectable) {}

ReflectionFolderEntry::~ReflectionFolderEntry() = default;

ReflectionFolderEntry * ReflectionFolderEntry::New(Reflectable const & reflectable) {
    try {
        return new ReflectionFolderEntry(reflectable);
    } catch (Mu::OutOfMemoryException const &) {
        return nullptr;
    }
}

int ReflectionFolderEntry::GetStatus() const {
    return isValid ? location.GetStatus() : Error;
}

void ReflectionFolderEntry::SetContext(BaseFileSystem & fileSystem, Location const & where) {
    if (owner != nullptr || Mu::IsNull(fileSystem))
        return;
    owner = &fileSystem;
    location = where;
}

VFSFolderEntry::ConnectStatus ReflectionFolderEntry::Connect(RelativeLocation const & below,
                                                             VFSFileEntry ** entry) {
    if (Mu::IsNull(below) || below.IsEmpty() || entry == nullptr || !isValid)
        return ConnectStatus::Other;
    char room[1024];
    MemoryOChannel channel(room, sizeof room, 0, MemoryOChannel::LeaveWithCaller);
    channel.SetOutputProtocol(Mu::textOProtocol);
    if (!reflectable->GetContent(below, channel))
        return ConnectStatus::Other;
    char const * const content = channel.GetDestination();
    if (content == nullptr)
        Mu::ThrowOutOfMemory();
    Location where(location);
    if (where.AppendToLocal(below) != NoError)
        return ConnectStatus::Other;
    auto file = std::make_unique<ReflectionFileEntry>(content, channel.GetDataSize());
    file->SetContext(*owner, where);
    file->Connect(entry);
    static_cast<void>(file.release()); // now owned by the connection
    return ConnectStatus::Connected;
}

VFSFolderEntry::ConnectStatus ReflectionFolderEntry::Connect(RelativeLocation const & below,
                                                             VFSFolderEntry ** entry) {
    if (Mu::IsNull(below) || below.IsEmpty())
        return ConnectStatus::Other;
    return ConnectSnapshot(below, entry);
}

VFSFolderEntry::ConnectStatus ReflectionFolderEntry::Connect(VFSFolderEntry ** entry) {
    return ConnectSnapshot(RelativeLocation(), entry);
}

VFSFolderEntry::ConnectStatus ReflectionFolderEntry::ConnectSnapshot(RelativeLocation const & below,
                                                                     VFSFolderEntry ** entry) {
    Location where(location);
    if (entry == nullptr || !isValid || where.AppendToLocal(below) != NoError)
        return ConnectStatus::Other;
    std::unique_ptr<MemoryFolderEntry> snapshot(MemoryFolderEntry::New(false));
    if (snapshot == nullptr)
        return ConnectStatus::Other;
    snapshot->SetContext(*owner, where);
    Mu::Array<Name> folders;
    Mu::Array<Name> files;
    if (!reflectable->GetChildren(below, &folders, &files))
        return ConnectStatus::Other;
    for (Name const & name : folders)
        if (snapshot->AddFolderEntry(name, nullptr) != CreateStatus::Done)
            return ConnectStatus::Other;
    // Kept: at most as many files as there are folders, and none without a folder.
    for (unsigned int i = 0; i < std::min(folders.GetSize(), files.GetSize()); ++i)
        if (snapshot->AddFileEntry(files[i], nullptr) != CreateStatus::Done)
            return ConnectStatus::Other;
    if (ConnectStatus const status = snapshot->Connect(entry); status != ConnectStatus::Connected)
        return status;
    static_cast<void>(snapshot.release()); // now owned by the connection
    return ConnectStatus::Connected;
}

namespace {

template <typename Kind>
void GiveBack(RelativeLocation const & below, Kind * entry) {
    if (!Mu::IsNull(below) && !below.IsEmpty() && entry != nullptr && entry->IsConnected())
        DisconnectAndDelete(entry);
}

} // namespace

void ReflectionFolderEntry::Disconnect(RelativeLocation const & below, VFSFolderEntry * entry) {
    GiveBack(below, entry);
}

void ReflectionFolderEntry::Disconnect(RelativeLocation const & below, VFSFileEntry * entry) {
    GiveBack(below, entry);
}

} // namespace IO
