#include <Kestrel/Location/Address.h>

#include <Kestrel/Location/Internal/AddressTree.h>
#include <Kestrel/Location/Internal/Guard.h>
#include <Kestrel/Root/Objects/Frame.h>
#include <Kestrel/Root/Streams/IChannel.h>
#include <Kestrel/Root/Streams/OChannel.h>

#include <algorithm>

namespace IO {

MuErrCode Address::Write(Mu::OChannel & channel) const {
    return Write(channel, 0xFFFFFFFFu);
}

MuErrCode Address::Write(Mu::OChannel & channel, unsigned int tailCount) const {
    if (Mu::IsNull(channel))
        return Error;
    return WithoutException([&] {
        MuErrCode status = NoError;
        {
            Mu::OutputFrame const frame(channel, GetClassInfo());
            if (node != NoNode) {
                unsigned int const length = GetLength();
                unsigned int const tail = std::min(length, tailCount);
                status = WriteNames(channel, length - tail, tail);
                if (status == NoError)
                    status = WriteNames(channel, 0, length - tail);
            }
        }
        return status != NoError ? status : channel.GetOutputStatus();
    });
}

// The number of names, then the names.
MuErrCode Address::WriteNames(Mu::OChannel & channel, unsigned int from, unsigned int count) const {
    MuErrCode status = channel.Write(count);
    Name name;
    for (unsigned int i = 0; i < count && status == NoError; ++i) {
        status = GetName(from + i, &name);
        if (status == NoError)
            status = channel.Write(name);
    }
    return status;
}

MuErrCode Address::Read(Mu::IChannel & channel) {
    if (Mu::IsNull(channel))
        return Error;
    Clear();
    Mu::InputFrame const frame(channel, GetClassInfo());
    if (frame.GetStatus() != NoError)
        return frame.GetStatus();
    if (frame.GetSubVersion() != 0 && frame.GetDataLength() == 0) {
        Release();
        return NoError;
    }
    unsigned int count = 0;
    MuErrCode status = channel.Read(count);
    if (status == NoError)
        status = ReadNames(channel, count);
    if (status != NoError || frame.GetSubVersion() < 2)
        return status;
    return ReadHead(channel);
}

// The number is untrusted; reading ends at the first name that is missing.
MuErrCode Address::ReadNames(Mu::IChannel & channel, unsigned int count) {
    MuErrCode status = NoError;
    Name name;
    for (; count != 0 && status == NoError; --count) {
        status = channel.Read(name);
        if (status == NoError)
            status = Append(name);
    }
    return status;
}

// The names in front of those already read.
MuErrCode Address::ReadHead(Mu::IChannel & channel) {
    unsigned int count = 0;
    MuErrCode status = channel.Read(count);
    if (status != NoError || count == 0)
        return status;
    Address const tail(std::move(*this));
    Clear();
    status = ReadNames(channel, count);
    if (status != NoError)
        return status;
    node = AddressTree::Turn()->AppendPath(node, tail.node, 0, true);
    return GetStatus();
}

} // namespace IO
