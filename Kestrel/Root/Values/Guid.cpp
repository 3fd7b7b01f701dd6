#include <Kestrel/Root/Values/Guid.h>

#include <Kestrel/Root/Streams/IChannel.h>
#include <Kestrel/Root/Streams/OChannel.h>

namespace Mu {

// Hosts built without optimisation take the addresses.
constexpr unsigned int Guid::TextSize;

namespace {

char * PutHex(char * text, unsigned long long value, unsigned int digits) {
    for (unsigned int shift = 4 * digits; shift > 0; shift -= 4)
        *text++ = "0123456789abcdef"[value >> (shift - 4) & 0xF];
    return text;
}

} // namespace

void Guid::ConvertToString(char * text) const {
    text = PutHex(text, data1, 8);
    *text++ = '-';
    text = PutHex(text, data2, 4);
    *text++ = '-';
    text = PutHex(text, data3, 4);
    *text++ = '-';
    for (unsigned int i = 0; i < sizeof(data4); ++i) {
        if (i == 2)
            *text++ = '-';
        text = PutHex(text, data4[i], 2);
    }
    *text = 0;
}

MuErrCode Guid::ReadStructured(IChannel & channel) {
    if (IsNull(channel))
        return Error;
    MuErrCode status = channel.Read(data1);
    if (status != NoError)
        return status;
    status = channel.Read(data2);
    if (status == NoError)
        status = channel.Read(data3);
    for (unsigned int i = 0; i < sizeof(data4) && status == NoError; ++i)
        status = channel.Read(data4[i]);
    return IChannel::ConvertObjectReadError(status);
}

MuErrCode Guid::WriteStructured(OChannel & channel) const {
    if (IsNull(channel))
        return Error;
    MuErrCode status = channel.Write(data1);
    if (status == NoError)
        status = channel.Write(data2);
    if (status == NoError)
        status = channel.Write(data3);
    for (unsigned int i = 0; i < sizeof(data4) && status == NoError; ++i)
        status = channel.Write(data4[i]);
    return status;
}

unsigned int Guid::GenerateHashValue() const {
    unsigned int hash = data1 * 16777619u ^ (data2 | static_cast<unsigned int>(data3) << 16);
    for (unsigned char byte : data4)
        hash = hash * 16777619u ^ byte;
    return hash;
}

} // namespace Mu
