#pragma once

#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Export.h>

namespace Mu {

class Guid;
class OChannel;
class Object;

/// Converts typed values to the bytes of a channel.
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
    /// A comment in the data, for protocols that support it. This one does nothing.
    virtual MuErrCode Note(OChannel & channel, unsigned int kind, unsigned int length,
                           char const * text);

    /// Whether this object writes every number as its bytes, low byte first and in the width of its
    /// Mu::PlainForm, so that a channel may do that itself.
    bool IsPlain() const { return plain == this; }

protected:
    struct Plain {};
    /// For an object of exactly this class, which is plain as a whole. Derived classes use the
    /// other constructor, and copies are not plain either.
    constexpr explicit OProtocol(Plain) : plain(this) {}

private:
    OProtocol const * plain = nullptr;
};

} // namespace Mu
