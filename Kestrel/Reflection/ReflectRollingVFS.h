#pragma once

#include <Kestrel/FileSystem/RollingVFS.h>
#include <Kestrel/Reflection/RemoteReflectionVFS.h>
#include <Kestrel/Root/Containers/Array.h>
#include <Kestrel/Root/Text/String.h>

namespace IO {

/// Claims the locations of the scheme "reflect", and shows the inside of the process that each
/// names: `reflect://localhost:37770/Kestrel/AddressTree`.
///
///     IO::ReflectRollingVFS processes;
///     IO::fileSystem.Mount(processes);
///     IO::Folder const folder(IO::Location("reflect://localhost:37770/"));
///
/// A location without a port refers to the first port of ReflectionService; one without a host, or
/// with a user, is not claimed. The disk has no such locations, and is not accessed. Everything
/// else is documented with RemoteReflectionVFS. Note that two locations that differ only in the
/// port are equal.
///
/// Memory:  as for RemoteReflectionVFS, for each of the `MostProcesses` most recently used ones.
/// Threads: as for RemoteReflectionVFS.
/// Failure: as for RemoteReflectionVFS.
class KESTREL_API ReflectRollingVFS : public RollingVFS {
public:
    static constexpr unsigned int MostProcesses = 16;

    explicit ReflectRollingVFS(RemoteReflectionLimits const & limits = RemoteReflectionLimits());
    /// To be called after Unmount.
    ~ReflectRollingVFS() override;
    ReflectRollingVFS(ReflectRollingVFS const &) = delete;
    ReflectRollingVFS & operator=(ReflectRollingVFS const &) = delete;

    ConnectStatus Connect(Location * location, FolderEntry ** entry) override;
    ConnectStatus Connect(Location * location, FileEntry ** entry) override;
    void Disconnect(FolderEntry * entry) override;
    void Disconnect(FileEntry * entry) override;
    bool Serves(Location const & location) override;

private:
    struct Process {
        Mu::String host;
        unsigned short port;
        Mu::Ref<RemoteTree> tree;
    };

    template <typename Entry>
    ConnectStatus ConnectAny(Location const & location, Entry ** entry);
    Mu::Ref<RemoteTree> Find(Location const & location);

    RemoteReflectionLimits const limits;
    Mu::Array<Process> processes; // the most recently used is last
};

} // namespace IO
