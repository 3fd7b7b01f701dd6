#pragma once

#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Export.h>

namespace Mu {

class Guid;
class OChannel;
class Object;

/// How typed values are turned into the bytes of a channel.
///
/// Stateless: one instance serves all channels of the process, from any thread.
class KESTREL_API OProtocol {
public:
    OProtocol() = default;
    virtual ~OProtocol();
    virtual MuErrCode Write(OChannel & channel, Guid const & value);
    virtual MuErrCode Write(OChannel & channel, Object const & value) = 0;
    virtual MuErrCode Write(OChannel & channel, char const * text) = 0;
    virtual MuErrCode Write(OChannel & channel, void const * pointer) = 0;
    virtual MuErrCode Write(OChannel & channel, long double value) = 0;
    virtual MuErrCode Write(OChannel & channel, double value) = 0;
    virtual MuErrCode Write(OChannel & channel, float value) = 0;
    virtual MuErrCode Write(OChannel & channel, unsigned long long value) = 0;
    virtual MuErrCode Write(OChannel & channel, long long value) = 0;
    virtual MuErrCode Write(OChannel & channel, unsigned long value) = 0;
    virtual MuErrCode Write(OChannel & channel, long value) = 0;
    virtual MuErrCode Write(OChannel & channel, unsigned int value) = 0;
    virtual MuErrCode Write(OChannel & channel, int value) = 0;
    virtual MuErrCode Write(OChannel & channel, unsigned short value) = 0;
    virtual MuErrCode Write(OChannel & channel, short value) = 0;
    virtual MuErrCode Write(OChannel & channel, unsigned char value) = 0;
    virtual MuErrCode Write(OChannel & channel, char value) = 0;
    virtual MuErrCode Write(OChannel & channel, bool value) = 0;
    /// A remark beside the data, for protocols that keep any. This one keeps none.
    virtual MuErrCode Note(OChannel & channel, unsigned int kind, unsigned int length,
                           char const * text);

    /// Whether this object is known to write every number as its bytes, low byte first and in the
    /// width of its Mu::PlainForm: a channel then does that itself where it can.
    bool IsPlain() const { return plain == this; }

protected:
    struct Plain {};
    /// For an object of a class that is plain as a whole. What derives from that class is made by the
    /// other constructor, and a copy is not plain either.
    constexpr explicit OProtocol(Plain) : plain(this) {}

private:
    OProtocol const * plain = nullptr;
};

} // namespace Mu
