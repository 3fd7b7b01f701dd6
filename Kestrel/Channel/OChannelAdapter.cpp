#include <Kestrel/Channel/OChannelAdapter.h>

namespace IO {

OChannelAdapter::OChannelAdapter(Mu::OProtocol & protocol) : Mu::OChannel(protocol) {}

OChannelAdapter::~OChannelAdapter() = default;

MuErrCode OChannelAdapter::DirectOutputAccess(unsigned int offset, char ** data,
                                              unsigned int * available) {
    unsigned int there = 0;
    MuErrCode const status = buffer.DirectAccess(offset, data, &there);
    if (available != nullptr)
        *available = there;
    return status;
}

MuErrCode OChannelAdapter::GetOutputPosition(unsigned long long * position) const {
    *position = buffer.GetWrittenBytes() + buffer.GetDataSize();
    if (buffer.IsBufferingEnabled())
        *position -= GetOffset();
    return NoError;
}

MuErrCode OChannelAdapter::Flush() {
    return buffer.Flush();
}

MuErrCode OChannelAdapter::PushMark() {
    return buffer.PushMark();
}

MuErrCode OChannelAdapter::PopMark() {
    return buffer.PopMark();
}

unsigned int OChannelAdapter::GetOffset() const {
    return buffer.GetOffset();
}

void OChannelAdapter::ResetOffset() {
    buffer.ResetOffset();
}

MuErrCode OChannelAdapter::GetOutputStatus() const {
    return buffer.GetStatus();
}

void OChannelAdapter::ResetOutputStatus() {
    buffer.ResetOutputStatus();
}

} // namespace IO
