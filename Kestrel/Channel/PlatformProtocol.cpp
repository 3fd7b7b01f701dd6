#include <Kestrel/Channel/PlatformProtocol.h>

#include <Kestrel/Channel/BinProtocol.h>
#include <Kestrel/Channel/Internal/BinPlatformProtocolImp.h>
#include <Kestrel/Channel/Internal/Recode.h>

namespace IO {

namespace {

constinit BinPlatformIProtocolImp<Mu::BigEndianMacSign, HostSign> fromBigEndianMac;
constinit BinPlatformIProtocolImp<Mu::WindowsSign, HostSign> fromWindows;
constinit BinPlatformIProtocolImp<Mu::LittleEndianMacSign, HostSign> fromLittleEndianMac;

constinit BinPlatformOProtocolImp<HostSign, Mu::BigEndianMacSign> toBigEndianMac;
constinit BinPlatformOProtocolImp<HostSign, Mu::WindowsSign> toWindows;
constinit BinPlatformOProtocolImp<HostSign, Mu::LittleEndianMacSign> toLittleEndianMac;

BinPlatformIProtocol * FindIProtocol(Mu::PlatformSign sign) {
    switch (sign) {
    case Mu::BigEndianMacSign: return &fromBigEndianMac;
    case Mu::WindowsSign: return &fromWindows;
    case Mu::LittleEndianMacSign: return &fromLittleEndianMac;
    }
    return nullptr;
}

BinPlatformOProtocol * FindOProtocol(Mu::PlatformSign sign) {
    switch (sign) {
    case Mu::BigEndianMacSign: return &toBigEndianMac;
    case Mu::WindowsSign: return &toWindows;
    case Mu::LittleEndianMacSign: return &toLittleEndianMac;
    }
    return nullptr;
}

// The platform of a protocol: HostSign for the standard one; Error for one of no platform.
template <typename Platform, typename Protocol>
MuErrCode GetProtocolPlatform(Protocol & protocol, Protocol & standard, Mu::PlatformSign * sign) {
    *sign = HostSign;
    if (&protocol == &standard)
        return NoError;
    auto * const platform = dynamic_cast<Platform *>(&protocol);
    return platform != nullptr ? platform->GetPlatform(sign) : Error;
}

} // namespace

BinPlatformIProtocol::~BinPlatformIProtocol() = default;

BinPlatformOProtocol::~BinPlatformOProtocol() = default;

MuErrCode SetPlatformIProtocol(Mu::IChannel & channel, Mu::PlatformSign sign) {
    BinPlatformIProtocol * const protocol = FindIProtocol(sign);
    if (protocol == nullptr)
        return Error;
    channel.SetInputProtocol(*protocol);
    return NoError;
}

MuErrCode SetPlatformOProtocol(Mu::OChannel & channel, Mu::PlatformSign sign) {
    BinPlatformOProtocol * const protocol = FindOProtocol(sign);
    if (protocol == nullptr)
        return Error;
    channel.SetOutputProtocol(*protocol);
    return NoError;
}

MuErrCode GetChannelIProtocolPlatform(Mu::IChannel & channel, Mu::PlatformSign * sign) {
    Mu::IProtocol & standard = binIProtocol;
    return GetProtocolPlatform<BinPlatformIProtocol>(channel.GetInputProtocol(), standard, sign);
}

MuErrCode GetChannelOProtocolPlatform(Mu::OChannel & channel, Mu::PlatformSign * sign) {
    Mu::OProtocol & standard = binOProtocol;
    return GetProtocolPlatform<BinPlatformOProtocol>(channel.GetOutputProtocol(), standard, sign);
}

} // namespace IO
