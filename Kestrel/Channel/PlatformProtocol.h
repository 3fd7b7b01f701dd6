#pragma once

#include <Kestrel/Root/Streams/IProtocol.h>
#include <Kestrel/Root/Streams/OProtocol.h>
#include <Kestrel/Root/Text/PlatformConversion.h>

namespace Mu {
class IChannel;
class OChannel;
} // namespace Mu

namespace IO {

/// The common base of the protocols that read the binary format of a platform.
///
/// The format is that of BinIProtocol, with multi-byte values byte-swapped and 8-bit texts
/// converted if the platform differs from Windows. A reader detects the writer's platform by a mark
/// in the data, a 16-bit value that is the same in both byte orders, and calls
/// SetPlatformIProtocol.
///
/// Memory:  none.
/// Threads: any number at once; there is no state.
/// Failure: as for BinIProtocol.
class KESTREL_API BinPlatformIProtocol : public Mu::IProtocol {
public:
    ~BinPlatformIProtocol() override;
    /// The platform whose format is read. NoError.
    virtual MuErrCode GetPlatform(Mu::PlatformSign * sign) = 0;
};

/// The common base of the protocols that write the binary format of a platform.
///
/// Memory:  a temporary copy of each text that is converted. Mu::OutOfMemoryException on shortage.
/// Threads: any number at once; there is no state.
/// Failure: otherwise as for BinOProtocol.
class KESTREL_API BinPlatformOProtocol : public Mu::OProtocol {
public:
    ~BinPlatformOProtocol() override;
    /// The platform whose format is written. NoError.
    virtual MuErrCode GetPlatform(Mu::PlatformSign * sign) = 0;
};

/// Makes the channel read the platform's format. Error: the sign is none of the three; the channel
/// keeps its protocol.
KESTREL_API MuErrCode SetPlatformIProtocol(Mu::IChannel & channel, Mu::PlatformSign sign);
/// Makes the channel write the platform's format. Error: as for SetPlatformIProtocol.
KESTREL_API MuErrCode SetPlatformOProtocol(Mu::OChannel & channel, Mu::PlatformSign sign);

/// The platform whose format the channel reads: WindowsSign for binIProtocol, too. Error: the
/// protocol is not one of the library's binary ones; `*sign` is WindowsSign then.
KESTREL_API MuErrCode GetChannelIProtocolPlatform(Mu::IChannel & channel, Mu::PlatformSign * sign);
/// The platform whose format the channel writes. Error: as for GetChannelIProtocolPlatform.
KESTREL_API MuErrCode GetChannelOProtocolPlatform(Mu::OChannel & channel, Mu::PlatformSign * sign);

} // namespace IO
