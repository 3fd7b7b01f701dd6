#pragma once

#include <Kestrel/Root/Streams/OChannel.h>

namespace Mu {

/// Converts each value to readable text: numbers in decimal, the shortest that reads back the same;
/// pointers in hexadecimal; objects by their Print. See textOProtocol.
class TextOProtocol final : public OProtocol {
public:
    MuErrCode Write(OChannel & channel, Guid const & value) override;
    MuErrCode Write(OChannel & channel, Object const & value) override;
    /// Null is Error.
    MuErrCode Write(OChannel & channel, char const * text) override;
    MuErrCode Write(OChannel & channel, void const * pointer) override;
    MuErrCode Write(OChannel & channel, long double value) override;
    MuErrCode Write(OChannel & channel, double value) override;
    MuErrCode Write(OChannel & channel, float value) override;
    MuErrCode Write(OChannel & channel, unsigned long long value) override;
    MuErrCode Write(OChannel & channel, long long value) override;
    MuErrCode Write(OChannel & channel, unsigned long value) override;
    MuErrCode Write(OChannel & channel, long value) override;
    MuErrCode Write(OChannel & channel, unsigned int value) override;
    MuErrCode Write(OChannel & channel, int value) override;
    MuErrCode Write(OChannel & channel, unsigned short value) override;
    MuErrCode Write(OChannel & channel, short value) override;
    /// The character, as for char.
    MuErrCode Write(OChannel & channel, unsigned char value) override;
    MuErrCode Write(OChannel & channel, char value) override;
    MuErrCode Write(OChannel & channel, bool value) override;
};

} // namespace Mu
