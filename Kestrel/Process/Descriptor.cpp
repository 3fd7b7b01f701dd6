#include <Kestrel/Process/Descriptor.h>

#include <Kestrel/Root/Objects/ClassInfo.h>
#include <Kestrel/Root/Streams/IChannel.h>
#include <Kestrel/Root/Streams/OChannel.h>

namespace IO::Process {

Mu::ClassInfo const & Descriptor::GetClassInfoStatic() {
    static Mu::ClassInfo const classInfo("IO::Process::Descriptor");
    return classInfo;
}

Mu::ClassInfo const & Descriptor::GetClassInfo() const {
    return GetClassInfoStatic();
}

Descriptor * Descriptor::Clone() const {
    return new Descriptor(*this);
}

Descriptor::Descriptor() {}
Descriptor::Descriptor(Descriptor const & other) = default;
Descriptor & Descriptor::operator=(Descriptor const & other) = default;
Descriptor::~Descriptor() = default;

MuErrCode Descriptor::Read(Mu::IChannel & channel) {
    MuErrCode status = channel.Read(processId);
    if (status == NoError)
        status = channel.Read(parentProcessId);
    if (status == NoError)
        status = channel.Read(name);
    if (status == NoError)
        status = channel.Read(path);
    return status;
}

MuErrCode Descriptor::Write(Mu::OChannel & channel) const {
    MuErrCode status = channel.Write(processId);
    if (status == NoError)
        status = channel.Write(parentProcessId);
    if (status == NoError)
        status = channel.Write(name);
    if (status == NoError)
        status = channel.Write(path);
    return status;
}

} // namespace IO::Process
