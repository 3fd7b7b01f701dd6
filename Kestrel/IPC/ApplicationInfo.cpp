#include <Kestrel/IPC/ApplicationInfo.h>

#include <Kestrel/Root/Objects/ClassInfo.h>
#include <Kestrel/Root/Streams/IChannel.h>
#include <Kestrel/Root/Streams/OChannel.h>

namespace IO::IPC {

Mu::ClassInfo const & ApplicationInfo::GetClassInfoStatic() {
    static Mu::ClassInfo const classInfo("IO::IPC::ApplicationInfo");
    return classInfo;
}

Mu::ClassInfo const & ApplicationInfo::GetClassInfo() const {
    return GetClassInfoStatic();
}

ApplicationInfo * ApplicationInfo::Clone() const {
    return new ApplicationInfo(*this);
}

ApplicationInfo::ApplicationInfo() = default;
ApplicationInfo::ApplicationInfo(ApplicationInfo const & other) = default;
ApplicationInfo & ApplicationInfo::operator=(ApplicationInfo const & other) = default;
ApplicationInfo::~ApplicationInfo() = default;

void ApplicationInfo::Set(Mu::String const & newName, unsigned int newVersion,
                          Location const & newPath) {
    name = newName;
    version = static_cast<int>(newVersion);
    path = newPath;
}

MuErrCode ApplicationInfo::Read(Mu::IChannel & channel) {
    MuErrCode status = channel.Read(name);
    unsigned int number = 0;
    if (status == NoError)
        status = channel.Read(number);
    if (status == NoError) {
        version = static_cast<int>(number);
        status = channel.Read(path);
    }
    return status;
}

MuErrCode ApplicationInfo::Write(Mu::OChannel & channel) const {
    MuErrCode status = channel.Write(name);
    if (status == NoError)
        status = channel.Write(static_cast<unsigned int>(version));
    if (status == NoError)
        status = channel.Write(path);
    return status;
}

} // namespace IO::IPC
