#pragma once

#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Export.h>

namespace Mu {

class Guid;
class IChannel;
class Object;

/// How typed values are read from the bytes of a channel.
///
/// Stateless: one instance serves all channels of the process, from any thread.
class KESTREL_API IProtocol {
public:
    IProtocol() = default;
    virtual ~IProtocol();
    virtual MuErrCode Read(IChannel & channel, Guid & value);
    virtual MuErrCode Read(IChannel & channel, Object & value) = 0;
    /// A text with its length in front; `text` must have room for it and for a zero byte, which
    /// nothing here can check. For bytes from outside, use IO::ReadText.
    virtual MuErrCode Read(IChannel & channel, char * text) = 0;
    virtual MuErrCode Read(IChannel & channel, long double & value) = 0;
    virtual MuErrCode Read(IChannel & channel, double & value) = 0;
    virtual MuErrCode Read(IChannel & channel, float & value) = 0;
    virtual MuErrCode Read(IChannel & channel, unsigned long long & value) = 0;
    virtual MuErrCode Read(IChannel & channel, long long & value) = 0;
    virtual MuErrCode Read(IChannel & channel, unsigned long & value) = 0;
    virtual MuErrCode Read(IChannel & channel, long & value) = 0;
    virtual MuErrCode Read(IChannel & channel, unsigned int & value) = 0;
    virtual MuErrCode Read(IChannel & channel, int & value) = 0;
    virtual MuErrCode Read(IChannel & channel, unsigned short & value) = 0;
    virtual MuErrCode Read(IChannel & channel, short & value) = 0;
    virtual MuErrCode Read(IChannel & channel, unsigned char & value) = 0;
    virtual MuErrCode Read(IChannel & channel, char & value) = 0;
    virtual MuErrCode Read(IChannel & channel, bool & value) = 0;

    /// Whether this object is known to read every number as its bytes, low byte first and in the
    /// width of its Mu::PlainForm: a channel then does that itself where it can.
    bool IsPlain() const { return plain == this; }

protected:
    struct Plain {};
    /// For an object of a class that is plain as a whole. What derives from that class is made by the
    /// other constructor, and a copy is not plain either.
    constexpr explicit IProtocol(Plain) : plain(this) {}

private:
    IProtocol const * plain = nullptr;
};

} // namespace Mu
