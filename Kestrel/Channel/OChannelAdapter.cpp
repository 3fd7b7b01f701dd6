#include <Kestrel/Channel/OChannelAdapter.h>

namespace IO {

/// The scope of one operation on the buffer: nothing is written in line meanwhile.
class OChannelAdapter::Turn {
public:
    explicit Turn(OChannelAdapter & channel) : channel(channel) {
        channel.NoteWriting();
        channel.outputWindow.Close();
    }
    ~Turn() {
        char * begin;
        char * end;
        channel.buffer.GetRoom(&begin, &end);
        channel.OpenOutputWindow(
            begin, end, channel.inLineType != nullptr && typeid(channel) == *channel.inLineType);
    }
    Turn(Turn const &) = delete;
    Turn & operator=(Turn const &) = delete;

private:
    OChannelAdapter & channel;
};

OChannelAdapter::OChannelAdapter(Mu::OProtocol & protocol) : Mu::OChannel(protocol) {}

OChannelAdapter::~OChannelAdapter() = default;

MuErrCode OChannelAdapter::WriteRest(char const * source, unsigned int count) {
    if (outputWindow.Put(source, count))
        return NoError;
    Turn const turn(*this);
    return buffer.Put(source, count);
}

MuErrCode OChannelAdapter::DirectOutputAccess(unsigned int offset, char ** data,
                                              unsigned int * available) {
    Turn const turn(*this);
    unsigned int there = 0;
    MuErrCode const status = buffer.DirectAccess(offset, data, &there);
    if (available != nullptr)
        *available = there;
    return status;
}

MuErrCode OChannelAdapter::GetOutputPosition(unsigned long long * position) const {
    *position = buffer.GetWrittenBytes() + GetDataSizeInOutputBuffer();
    if (buffer.IsBufferingEnabled())
        *position -= GetOffset();
    return NoError;
}

MuErrCode OChannelAdapter::Flush() {
    Turn const turn(*this);
    return buffer.Flush();
}

MuErrCode OChannelAdapter::PushMark() {
    Turn const turn(*this);
    return buffer.PushMark();
}

MuErrCode OChannelAdapter::PopMark() {
    Turn const turn(*this);
    return buffer.PopMark();
}

unsigned int OChannelAdapter::GetOffset() const {
    NoteWriting();
    return buffer.GetOffset();
}

void OChannelAdapter::ResetOffset() {
    Turn const turn(*this);
    buffer.ResetOffset();
}

MuErrCode OChannelAdapter::GetOutputStatus() const {
    return buffer.GetStatus();
}

void OChannelAdapter::ResetOutputStatus() {
    Turn const turn(*this);
    buffer.ResetOutputStatus();
}

void OChannelAdapter::DisableOutputBuffering() {
    Turn const turn(*this);
    buffer.DisableBuffering();
}

void OChannelAdapter::ResetOutputBuffer() {
    Turn const turn(*this);
    buffer.Reset();
}

} // namespace IO
