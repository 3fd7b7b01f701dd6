#include <Kestrel/IPC/ServerInfo.h>

#include <Kestrel/Root/Objects/ClassInfo.h>
#include <Kestrel/Root/Streams/IChannel.h>
#include <Kestrel/Root/Streams/OChannel.h>

namespace IO::IPC {

Mu::ClassInfo const & ServerInfo::GetClassInfoStatic() {
    static Mu::ClassInfo const classInfo("IO::IPC::ServerInfo");
    return classInfo;
}

Mu::ClassInfo const & ServerInfo::GetClassInfo() const {
    return GetClassInfoStatic();
}

ServerInfo * ServerInfo::Clone() const {
    return new ServerInfo(*this);
}

ServerInfo::ServerInfo() = default;
ServerInfo::ServerInfo(ServerInfo const & other) = default;
ServerInfo & ServerInfo::operator=(ServerInfo const & other) = default;
ServerInfo::~ServerInfo() = default;

MuErrCode ServerInfo::Read(Mu::IChannel & channel) {
    if (MuErrCode const status = channel.Read(port); status != NoError)
        return status;
    services.Clear();
    unsigned int count = 0;
    MuErrCode status = channel.Read(count);
    for (; status == NoError && count > 0; --count) {
        Mu::UniString name;
        status = channel.Read(name);
        if (status == NoError)
            services.Insert(std::move(name));
    }
    if (status != NoError)
        port = 0;
    return status;
}

MuErrCode ServerInfo::Write(Mu::OChannel & channel) const {
    MuErrCode status = channel.Write(port);
    if (status == NoError)
        status = channel.Write(services.GetSize());
    for (Mu::UniString const & name : services)
        if (status == NoError)
            status = channel.Write(name);
    return status;
}

} // namespace IO::IPC
