#include <Kestrel/Channel/SubIChannel.h>

#include <algorithm>

namespace IO {

SubIChannel::SubIChannel(Mu::IChannel * source, unsigned int length)
    : IChannelAdapter(source->GetInputProtocol()), sourceChannel(source), dataLength(length) {
    SetBinInput(*this);
}

SubIChannel::~SubIChannel() = default;

MuErrCode SubIChannel::GetInputPosition(unsigned long long * position) const {
    // Bytes pushed back before the start leave the position at 0.
    *position = consumed - std::min(consumed, GetDataSizeInInputBuffer());
    return NoError;
}

MuErrCode SubIChannel::GetAvailable(unsigned long long * available) const {
    *available =
        static_cast<unsigned long long>(GetDataSizeInInputBuffer()) + dataLength - consumed;
    return NoError;
}

void SubIChannel::SetDefaultInputProtocol() {
    SetInputProtocol(sourceChannel->GetInputProtocol());
}

// Kept: all requested bytes are reported as read and counted as consumed, however many arrived. A
// window that its source cannot fill is as long as declared, and the status shows that its tail is
// invalid: zeros, not earlier content of the memory.
MuErrCode SubIChannel::InternalRead(char * destination, unsigned int count, unsigned int * read) {
    unsigned int const part = std::min(count, dataLength - consumed);
    *read = part;
    if (part == 0)
        return count != 0 ? EOI : NoError;
    unsigned int arrived = 0;
    MuErrCode const status = sourceChannel->ReadBin(destination, part, &arrived);
    std::fill(destination + std::min(arrived, part), destination + part, '\0');
    consumed += part;
    if (status != NoError)
        return status;
    return part != count ? EOI : NoError;
}

} // namespace IO
