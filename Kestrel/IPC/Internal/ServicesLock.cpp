#include <Kestrel/IPC/Internal/ServicesLock.h>

#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/Root/Log/Quietly.h>

namespace IO::IPC {

ServicesLock::ServicesLock(Location const & location) : location(location) {
    if (location.GetLocalLength() != 0 &&
        file.Open(location, File::OnNotFound::Create, File::OpenMode::WriteOnly) == NoError)
        status = NoError;
}

ServicesLock::~ServicesLock() {
    if (status != NoError)
        return;
    Mu::Quietly([this] {
        file.Close();
        // Fails if the next process already has it open, which will delete it.
        static_cast<void>(fileSystem.Delete(location, DataSafety::KeepProtected,
                                            AccessDeniedTreatment::RetryPrivate));
    });
}

} // namespace IO::IPC
