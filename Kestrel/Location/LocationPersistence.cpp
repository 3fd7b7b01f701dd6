#include <Kestrel/Location/Location.h>

#include <Kestrel/Location/Internal/Guard.h>
#include <Kestrel/Location/Internal/LentAddress.h>
#include <Kestrel/Location/Internal/LocationExtra.h>
#include <Kestrel/Location/Internal/ValidatorTable.h>
#include <Kestrel/Location/LocationResolver.h>
#include <Kestrel/Root/Objects/ClassInfo.h>
#include <Kestrel/Root/Objects/Frame.h>
#include <Kestrel/Root/Streams/IChannel.h>
#include <Kestrel/Root/Streams/OChannel.h>

namespace IO {

namespace {

// The codes in files include two obsolete kinds of networks: 1 and 3.
constexpr Location::NetworkModel ModelOfCode[] = {
    Location::FlatModel, Location::FlatModel, Location::HierarchicalModel, Location::SmbModel,
    Location::SmbModel,  Location::NullModel, Location::UnknownModel,      Location::SchemeModel,
};

constexpr unsigned int HierarchicalCode = 2;
constexpr unsigned int UnknownCode = 6;

Location::NetworkModel ToModel(unsigned int code) {
    return code < std::size(ModelOfCode) ? ModelOfCode[code] : Location::UnknownModel;
}

// Forms before sub-version 2 have no schemes of URLs.
unsigned int ToCode(Location::NetworkModel model, unsigned int subVersion) {
    switch (model) {
    case Location::FlatModel: return 0;
    case Location::HierarchicalModel: return HierarchicalCode;
    case Location::SmbModel: return 4;
    case Location::NullModel: return 5;
    case Location::UnknownModel: return UnknownCode;
    case Location::SchemeModel: return subVersion < 2 ? HierarchicalCode : 7;
    }
    return UnknownCode;
}

// Only the last name of a flat network counts: it is where readers of the oldest form expect it.
unsigned int GetTailCount(Location::NetworkModel model) {
    return model == Location::FlatModel || model == Location::SmbModel ? 1 : 0xFFFFFFFFu;
}

} // namespace

Mu::ClassInfo const & Location::GetClassInfoStatic() {
    static Mu::ClassInfo const classInfo("IO::Location", Mu::ClassProperty(Mu::ClassVersion(1, 2)));
    return classInfo;
}

Mu::ClassInfo const & Location::GetClassInfo() const {
    return GetClassInfoStatic();
}

bool Location::HasPlatformBlock(unsigned int subVersion) const {
    return !IsLocal() || networkModel == UnknownModel || subVersion != 0;
}

MuErrCode Location::Write(Mu::OChannel & channel) const {
    if (Mu::IsNull(channel))
        return Error;
    bool const isHealthy = GetStatus() == NoError;
    MuErrCode written = NoError;
    {
        Mu::OutputFrame const frame(channel, GetClassInfoStatic());
        if (isHealthy)
            written = WriteFields(channel, frame.GetSubVersion());
    } // the end of the frame is written, too
    if (written != NoError)
        return written;
    return isHealthy ? channel.GetOutputStatus() : NoError;
}

// A failure of the channel remains in its status; a failure to read a name is returned.
MuErrCode Location::WriteFields(Mu::OChannel & channel, unsigned int subVersion) const {
    MuErrCode written = Lend(network)->Write(channel, GetTailCount(GetNetworkModel()));
    if (written == NoError)
        written = channel.Write(*Lend(local));
    if (written != NoError)
        return written;
    (void)channel.Write(ToCode(GetNetworkModel(), subVersion));
    if (HasPlatformBlock(subVersion)) {
        (void)channel.WriteUShort(RunningPlatform);
        LocationResolver * const resolver = LocationResolver::GetInstance();
        written = resolver != nullptr ? resolver->WritePDI(channel, *this)
                                      : LocationResolver::WriteNoPDI(channel);
    }
    for (Mu::UniString const * text : {&GetScheme(), &GetUserName(), &GetPassword()})
        if (written == NoError && subVersion >= 2)
            written = channel.Write(*text);
    return written == NoError && subVersion >= 2 ? channel.Write(port) : written;
}

MuErrCode Location::Read(Mu::IChannel & channel) {
    if (Mu::IsNull(channel))
        return Error;
    Clear();
    Mu::InputFrame frame(channel, GetClassInfoStatic());
    if (frame.GetStatus() != NoError)
        return frame.GetStatus();
    if (frame.GetSubVersion() != 0 && frame.GetDataLength() == 0) {
        status = Error;
        return NoError;
    }
    return ReadFields(channel, frame.GetSubVersion());
}

MuErrCode Location::ReadFields(Mu::IChannel & channel, unsigned int subVersion) {
    unsigned int code = 0;
    MuErrCode result = channel.Read(*Lend(network));
    if (result == NoError)
        result = channel.Read(*Lend(local));
    if (result == NoError)
        result = channel.Read(code);
    if (result != NoError)
        return result;
    networkModel = static_cast<unsigned char>(ToModel(code));
    if (HasPlatformBlock(subVersion)) {
        result = ReadPlatformBlock(channel);
        if (result == NoError)
            result = channel.GetInputStatus();
        if (result != NoError)
            return result;
    }
    if (subVersion >= 2)
        result = ReadURLFields(channel);
    // Kept: from here on, the end of the input inside a value is EOI, too, and not Error.
    MuErrCode const arrived = channel.GetInputStatus();
    return arrived != NoError ? arrived : result;
}

MuErrCode Location::ReadURLFields(Mu::IChannel & channel) {
    Mu::UniString text;
    for (Mu::UniString Extra::*which : {&Extra::scheme, &Extra::userName, &Extra::password}) {
        MuErrCode result = channel.Read(text);
        if (result == NoError)
            result = WithoutException([&] {
                SetText(which, text);
                return NoError;
            });
        if (result != NoError)
            return result;
    }
    return channel.Read(port);
}

MuErrCode Location::ReadPlatformBlock(Mu::IChannel & channel) {
    unsigned short sign = 0;
    MuErrCode const result = channel.Read(sign);
    if (result != NoError)
        return result;
    LocationResolver * const resolver = LocationResolver::GetInstance();
    return sign == RunningPlatform && resolver != nullptr ? resolver->ReadPDI(channel, *this)
                                                          : LocationResolver::SkipPDI(channel);
}

} // namespace IO
