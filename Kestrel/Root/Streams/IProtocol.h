#pragma once

#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Export.h>

namespace Mu {

class Guid;
class IChannel;
class Object;

/// Reads typed values from the bytes of a channel.
///
/// Stateless: one instance serves all channels of the process, from any thread.
class KESTREL_API IProtocol {
public:
    IProtocol() = default;
    virtual ~IProtocol();
    virtual MuErrCode Read(IChannel & channel, Guid & value);
    virtual MuErrCode Read(IChannel & channel, Object & value) = 0;
    /// A text after its length; `text` must have space for it and for a terminating zero, which
    /// cannot be checked here. For untrusted input, use IO::ReadText.
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

    /// Whether this object reads every number as its bytes, low byte first and in the width of its
    /// Mu::PlainForm, so that a channel may do that itself.
    bool IsPlain() const { return plain == this; }

protected:
    struct Plain {};
    /// For an object of exactly this class, which is plain as a whole. Derived classes use the
    /// other constructor, and copies are not plain either.
    constexpr explicit IProtocol(Plain) : plain(this) {}

private:
    IProtocol const * plain = nullptr;
};

} // namespace Mu
