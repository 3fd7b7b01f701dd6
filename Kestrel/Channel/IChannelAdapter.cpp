#include <Kestrel/Channel/IChannelAdapter.h>

namespace IO {

IChannelAdapter::IChannelAdapter(Mu::IProtocol & protocol) : Mu::IChannel(protocol) {}

IChannelAdapter::~IChannelAdapter() = default;

MuErrCode IChannelAdapter::CopyBin(char * destination, unsigned int count, unsigned int * copied) {
    unsigned int got = 0;
    MuErrCode const status = buffer.Copy(destination, count, &got);
    if (copied != nullptr)
        *copied = got;
    return status;
}

MuErrCode IChannelAdapter::Look(unsigned int offset, char * c) {
    return buffer.Look(offset, c);
}

MuErrCode IChannelAdapter::PushBack(char c) {
    return Mu::IChannel::PushBack(c);
}

MuErrCode IChannelAdapter::PushBack(char const * source, unsigned int count) {
    return buffer.PushBack(source, count);
}

MuErrCode IChannelAdapter::Skip(unsigned long long count, unsigned long long * skipped) {
    unsigned long long done = 0;
    MuErrCode const status = buffer.Skip(count, &done);
    if (skipped != nullptr)
        *skipped = done;
    return status;
}

MuErrCode IChannelAdapter::DirectInputAccess(unsigned int size, char ** data,
                                             unsigned int * available) {
    unsigned int there = 0;
    MuErrCode const status = buffer.DirectAccess(size, data, &there);
    if (available != nullptr)
        *available = there;
    return status;
}

MuErrCode IChannelAdapter::GetInputStatus() const {
    return buffer.GetStatus();
}

void IChannelAdapter::ResetInputStatus() {
    buffer.ResetInputStatus();
}

} // namespace IO
