#include <Kestrel/Channel/ReadText.h>

#include <Kestrel/Channel/Internal/Recode.h>
#include <Kestrel/Channel/PlatformProtocol.h>
#include <Kestrel/Root/Streams/IChannel.h>

namespace IO {

namespace {

MuErrCode ReadLength(Mu::IChannel & channel, unsigned int capacity, unsigned int * length) {
    MuErrCode const status = channel.Read(*length);
    if (status != NoError) {
        *length = 0;
        return Mu::IChannel::ConvertObjectReadError(status);
    }
    return *length < capacity ? NoError : Error;
}

MuErrCode ReadBytes(Mu::IChannel & channel, char * text, unsigned int * length) {
    unsigned int read = 0;
    MuErrCode status = channel.ReadBin(text, *length, &read);
    if (status == NoError && read < *length)
        status = EOI; // the source stopped without a status
    if (status != NoError) {
        *length = 0;
        status = Mu::IChannel::ConvertObjectReadError(status);
    }
    text[*length] = '\0';
    return status;
}

} // namespace

MuErrCode ReadText(Mu::IChannel & channel, char * text, unsigned int capacity,
                   unsigned int * length) {
    unsigned int size = 0;
    unsigned int & count = length != nullptr ? *length : size;
    count = 0;
    if (text == nullptr || capacity == 0)
        return Error;
    text[0] = '\0';
    Mu::PlatformSign sign = HostSign;
    MuErrCode status = GetChannelIProtocolPlatform(channel, &sign);
    if (status == NoError)
        status = ReadLength(channel, capacity, &count);
    if (status == NoError)
        status = ReadBytes(channel, text, &count);
    if (status == NoError)
        Recode(sign, text, count, HostSign);
    return status;
}

} // namespace IO
