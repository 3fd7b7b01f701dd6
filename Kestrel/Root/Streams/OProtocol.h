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
};

} // namespace Mu
