#include <Kestrel/IPC/ApplicationList.h>

#include <Kestrel/FileSystem/File.h>
#include <Kestrel/IPC/Setup.h>

namespace IO::IPC {

Location ApplicationList::DatFileLocation() {
    Location location = Setup::Instance().GetDataFolderLocation();
    static_cast<void>(location.AppendToLocal(Name("IPC.11.dat")));
    return location;
}

MuErrCode ApplicationList::Read() {
    File file(DatFileLocation(), File::OnNotFound::Report);
    MuErrCode const status =
        file.Open(File::OpenMode::ReadOnly, AccessDeniedTreatment::RetryPrivate);
    return status == NoError ? Read(file) : status;
}

MuErrCode ApplicationList::Write() {
    File file(DatFileLocation(), File::OnNotFound::Create);
    MuErrCode status = file.Open(File::OpenMode::WriteOnly, AccessDeniedTreatment::RetryPrivate);
    if (status == NoError)
        status = Write(file);
    MuErrCode const closed = file.Close();
    return status == NoError ? closed : status;
}

} // namespace IO::IPC
