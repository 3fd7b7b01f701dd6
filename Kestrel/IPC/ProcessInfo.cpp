#include <Kestrel/IPC/ProcessInfo.h>

#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/Internal/Absence.h>
#include <Kestrel/IPC/CommunicatorPool.h>
#include <Kestrel/IPC/Internal/ServicesLock.h>
#include <Kestrel/IPC/Server.h>
#include <Kestrel/IPC/Setup.h>
#include <Kestrel/Root/Objects/ClassInfo.h>

namespace IO::IPC {

namespace {

MuErrCode DeleteIfThere(Location const & location) {
    bool isThere = true;
    MuErrCode const status = fileSystem.Contains(location, &isThere);
    if (status != NoError || !isThere)
        return status == NoError && !IsCertainlyAbsent(location) ? Error : status;
    return fileSystem.Delete(location, DataSafety::IgnoreProtection,
                             AccessDeniedTreatment::RetryPrivate);
}

} // namespace

Mu::ClassInfo const & ProcessInfo::GetClassInfoStatic() {
    static Mu::ClassInfo const classInfo("IO::IPC::ProcessInfo");
    return classInfo;
}

Mu::ClassInfo const & ProcessInfo::GetClassInfo() const {
    return GetClassInfoStatic();
}

ProcessInfo * ProcessInfo::Clone() const {
    return new ProcessInfo(*this);
}

ProcessInfo::ProcessInfo() = default;
ProcessInfo::ProcessInfo(Process::Descriptor const & descriptor) : descriptor(descriptor) {}
ProcessInfo::ProcessInfo(ProcessInfo const & other) = default;
ProcessInfo & ProcessInfo::operator=(ProcessInfo const & other) = default;
ProcessInfo::~ProcessInfo() = default;

MuErrCode ProcessInfo::Read(Mu::IChannel & channel) {
    MuErrCode status = descriptor.Read(channel);
    bool areServersKnown = false;
    if (status == NoError)
        status = channel.Read(areServersKnown);
    if (status != NoError)
        return status;
    servers.reset();
    if (areServersKnown)
        status = servers.emplace().Read(channel);
    return status;
}

MuErrCode ProcessInfo::Write(Mu::OChannel & channel) const {
    MuErrCode status = descriptor.Write(channel);
    if (status == NoError)
        status = channel.Write(servers.has_value());
    if (status == NoError && servers)
        status = servers->Write(channel);
    return status;
}

ProcessInfo::ServerSet const & ProcessInfo::GetServerSet() const {
    if (!servers)
        static_cast<void>(ObtainServerSet());
    return *servers;
}

// The file.

Location ProcessInfo::GetFileBeside(char const * ending) const {
    Location location = Setup::Instance().GetDataFolderLocation();
    if (location.GetLocalLength() != 0)
        static_cast<void>(location.AppendToLocal(
            Name(Mu::UniString::Printf("%li%s", static_cast<long>(descriptor.processId), ending))));
    return location;
}

Location ProcessInfo::GetInfoFileLoc(bool isLock) const {
    return GetFileBeside(isLock ? ".lock" : "");
}

// The same for the process itself and for others.
Name ProcessInfo::GetProgramName() const {
    Name name;
    static_cast<void>(descriptor.path.GetLastLocalName(&name));
    return name;
}

MuErrCode ProcessInfo::ReadIsOfAnotherProgram(bool * isOther) const {
    Location const location = GetFileBeside(".name");
    PatientFile turn;
    MuErrCode status = turn.Open(location, File::OnNotFound::FailQuietly, File::OpenMode::ReadOnly);
    // If it is missing, the servers are those of a program that does not write it.
    if (status == ErrFileNotFound && IsCertainlyAbsent(location))
        return NoError;
    Mu::UniString name;
    if (status == NoError)
        status = turn.Get().Read(name);
    *isOther = Name(name) != GetProgramName();
    return status;
}

MuErrCode ProcessInfo::WriteProgramName() const {
    PatientFile turn;
    MuErrCode status =
        turn.Open(GetFileBeside(".name"), File::OnNotFound::Create, File::OpenMode::WriteOnly);
    if (status == NoError)
        status = turn.Get().Write(GetProgramName().ToString());
    return status == NoError ? turn.Get().Close() : status;
}

MuErrCode ProcessInfo::WriteServicesFile() const {
    ServicesLock const lock(GetInfoFileLoc(true));
    if (lock.GetStatus() != NoError)
        return Error;
    Location const location = GetInfoFileLoc(false);
    auto const running = CommunicatorPool::Instance().GetServers();
    if (running.IsEmpty())
        return DeleteIfThere(location) == NoError &&
                       DeleteIfThere(GetFileBeside(".name")) == NoError
                   ? NoError
                   : Error;
    // The file may still be open in a child of the process that wrote it before.
    PatientFile turn;
    if (turn.Open(location, File::OnNotFound::Create, File::OpenMode::WriteOnly) != NoError)
        return Error;
    File & file = turn.Get();
    file.Write(running.GetSize());
    for (Server const * const server : running)
        server->Write(file);
    MuErrCode const written = file.GetOutputStatus();
    // The name comes last: if the servers cannot be written, those of an earlier program with this
    // number must not appear under it.
    return file.Close() == NoError && written == NoError && WriteProgramName() == NoError ? NoError
                                                                                          : Error;
}

MuErrCode ProcessInfo::ObtainServerSet() const {
    ServerSet & found = servers.emplace();
    ServicesLock const lock(GetInfoFileLoc(true));
    if (lock.GetStatus() != NoError)
        return Error;
    Location const location = GetInfoFileLoc(false);
    PatientFile turn;
    MuErrCode const opened =
        turn.Open(location, File::OnNotFound::Report, File::OpenMode::ReadOnly);
    if (opened != NoError)
        return opened == ErrFileNotFound && IsCertainlyAbsent(location) ? NoError : Error;
    File & file = turn.Get();
    bool isOther = false;
    MuErrCode status = ReadIsOfAnotherProgram(&isOther);
    if (isOther)
        return status == NoError ? NoError : Error;
    unsigned int count = 0;
    if (status == NoError)
        status = file.Read(count);
    for (; status == NoError && count > 0; --count) {
        ServerInfo server;
        status = server.Read(file);
        if (status == NoError)
            found.Insert(std::move(server));
    }
    return status == NoError ? NoError : Error;
}

} // namespace IO::IPC
