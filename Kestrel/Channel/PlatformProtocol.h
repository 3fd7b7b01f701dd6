#pragma once

#include <Kestrel/Root/Streams/IProtocol.h>
#include <Kestrel/Root/Streams/OProtocol.h>
#include <Kestrel/Root/Text/PlatformConversion.h>

namespace Mu {
class IChannel;
class OChannel;
} // namespace Mu

namespace IO {

/// What the protocols that read a given platform's binary form have in common: they say which.
///
/// The form is that of BinIProtocol, with multi-byte values byte-swapped and 8-bit texts recoded
/// where the platform differs from Windows. A reader finds the writer's mark in the data, a 16-bit
/// value that reads alike in both byte orders, and switches the channel with SetPlatformIProtocol.
///
/// Memory:  none.
/// Threads: any number at once; there is no state.
/// Failure: as BinIProtocol.
class KESTREL_API BinPlatformIProtocol : public Mu::IProtocol {
public:
    ~BinPlatformIProtocol() override;
    /// The platform whose form is read. NoError.
    virtual MuErrCode GetPlatform(Mu::PlatformSign * sign) = 0;
};

/// What the protocols that write a given platform's binary form have in common: they say which.
///
/// Memory:  a text takes a copy of itself for the time of its writing, so that the caller's stays
///          as it is. A shortage is thrown as Mu::OutOfMemoryException.
/// Threads: any number at once; there is no state.
/// Failure: otherwise as BinOProtocol.
class KESTREL_API BinPlatformOProtocol : public Mu::OProtocol {
public:
    ~BinPlatformOProtocol() override;
    /// The platform whose form is written. NoError.
    virtual MuErrCode GetPlatform(Mu::PlatformSign * sign) = 0;
};

/// Lets the channel read what was written in that platform's form.
/// Error: the sign is none of the three; the channel keeps its protocol.
KESTREL_API MuErrCode SetPlatformIProtocol(Mu::IChannel & channel, Mu::PlatformSign sign);
/// Lets the channel write in that platform's form. Error: as SetPlatformIProtocol.
KESTREL_API MuErrCode SetPlatformOProtocol(Mu::OChannel & channel, Mu::PlatformSign sign);

/// The platform whose form the channel reads: WindowsSign for binIProtocol too.
/// Error: the protocol is no binary one of the library's; `*sign` is WindowsSign then.
KESTREL_API MuErrCode GetChannelIProtocolPlatform(Mu::IChannel & channel, Mu::PlatformSign * sign);
/// The platform whose form the channel writes. Error: as GetChannelIProtocolPlatform.
KESTREL_API MuErrCode GetChannelOProtocolPlatform(Mu::OChannel & channel, Mu::PlatformSign * sign);

} // namespace IO
