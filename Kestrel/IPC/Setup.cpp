#include <Kestrel/IPC/Setup.h>

#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/Folder.h>

namespace IO::IPC {

// Hosts built without optimisation take the addresses.
constexpr unsigned int Setup::DefaultPortBegin;
constexpr unsigned int Setup::DefaultPortEnd;

Setup & Setup::Instance() {
    static Setup setup;
    return setup;
}

unsigned int Setup::GetPortBegin() const {
    if (portBegin == 0)
        ObtainPortLimits();
    return portBegin;
}

unsigned int Setup::GetPortEnd() const {
    if (portEnd == 0)
        ObtainPortLimits();
    return portEnd;
}

void Setup::ObtainPortLimits() const {
    portBegin = DefaultPortBegin;
    portEnd = DefaultPortEnd;
}

Location Setup::GetDataFolderLocation() const {
    if (isDataFolderKnown)
        return dataFolder;
    Location folder;
    static_cast<void>(fileSystem.GetSpecialLocation(SpecLocId::UserHome, &folder));
    for (char const * const name : {"Brightmoor", "IPC Data"}) {
        static_cast<void>(folder.AppendToLocal(Name(name)));
        Folder const made(folder, Folder::OnNotFound::Create);
    }
    dataFolder = folder;
    isDataFolderKnown = true;
    return folder;
}

void Setup::SetDataFolderLocation(Location const & folder) {
    dataFolder = folder;
    isDataFolderKnown = true;
}

} // namespace IO::IPC
