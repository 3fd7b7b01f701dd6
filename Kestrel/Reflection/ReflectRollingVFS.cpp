#include <Kestrel/Reflection/ReflectRollingVFS.h>

#include <Kestrel/Reflection/Internal/RemoteEntries.h>
#include <Kestrel/Reflection/ReflectionService.h>

namespace IO {

constexpr unsigned int ReflectRollingVFS::MostProcesses; // for hosts built without optimisation

ReflectRollingVFS::ReflectRollingVFS(RemoteReflectionLimits const & limits) : limits(limits) {}

ReflectRollingVFS::~ReflectRollingVFS() = default;

bool ReflectRollingVFS::Serves(Location const & location) {
    return location.GetStatus() == NoError && location.GetNetworkLength() != 0 &&
           location.GetNetworkModel() == Location::SchemeModel &&
           location.GetScheme() == "reflect" && location.GetUserName().IsEmpty() &&
           location.GetPassword().IsEmpty();
}

namespace {

void Check(MuErrCode status) {
    if (status != NoError) // the location is healthy, and the index below its length
        Mu::ThrowOutOfMemory();
}

Mu::UniString GetHost(Location const & location) {
    Mu::UniString host;
    Name label;
    for (unsigned int i = location.GetNetworkLength(); i-- > 0;) {
        Check(location.GetNetworkName(i, &label));
        host.Append(label.ToString());
        if (i != 0)
            host.Append(".");
    }
    return host;
}

RelativeLocation GetPlace(Location const & location) {
    RelativeLocation place;
    Name name;
    for (unsigned int i = 0; i < location.GetLocalLength(); ++i) {
        Check(location.GetLocalName(i, &name));
        Check(place.Append(name));
    }
    return place;
}

} // namespace

// The process of a location, which becomes the most recently used one.
Mu::Ref<RemoteTree> ReflectRollingVFS::Find(Location const & location) {
    Mu::String const host(GetHost(location).ToCStr().GetText());
    unsigned short const port =
        location.GetPort() != 0 ? location.GetPort() : ReflectionService::FirstPort;
    unsigned int index = 0;
    while (index < processes.GetSize() &&
           !(processes[index].port == port && processes[index].host == host))
        ++index;
    Mu::Ref<RemoteTree> const tree = index < processes.GetSize()
                                         ? processes[index].tree
                                         : Mu::Ref(new RemoteTree(host, port, limits));
    if (index < processes.GetSize())
        processes.Delete(index);
    else if (index == MostProcesses)
        processes.Delete(0);
    processes.Push({host, port, tree});
    return tree;
}

template <typename Entry>
ReflectRollingVFS::ConnectStatus ReflectRollingVFS::ConnectAny(Location const & location,
                                                               Entry ** entry) {
    return Serves(location) ? ConnectRemote({*this, Find(location), GetPlace(location)}, entry)
                            : ConnectStatus::Other;
}

ReflectRollingVFS::ConnectStatus ReflectRollingVFS::Connect(Location * location,
                                                            FolderEntry ** entry) {
    return ConnectAny(*location, entry);
}

ReflectRollingVFS::ConnectStatus ReflectRollingVFS::Connect(Location * location,
                                                            FileEntry ** entry) {
    return ConnectAny(*location, entry);
}

void ReflectRollingVFS::Disconnect(FolderEntry * entry) {
    delete entry;
}

void ReflectRollingVFS::Disconnect(FileEntry * entry) {
    delete entry;
}

} // namespace IO
