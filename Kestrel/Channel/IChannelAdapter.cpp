#include <Kestrel/Channel/IChannelAdapter.h>

namespace IO {

/// The scope of one operation on the buffer: nothing is read in line meanwhile.
class IChannelAdapter::Turn {
public:
    explicit Turn(IChannelAdapter & channel) : channel(channel) {
        channel.NoteReading();
        channel.inputWindow.Close();
    }
    ~Turn() {
        char const * begin;
        char const * end;
        channel.buffer.GetReady(&begin, &end);
        channel.OpenInputWindow(
            begin, end, channel.inLineType != nullptr && typeid(channel) == *channel.inLineType);
    }
    Turn(Turn const &) = delete;
    Turn & operator=(Turn const &) = delete;

private:
    IChannelAdapter & channel;
};

IChannelAdapter::IChannelAdapter(Mu::IProtocol & protocol) : Mu::IChannel(protocol) {}

IChannelAdapter::~IChannelAdapter() = default;

MuErrCode IChannelAdapter::ReadRest(char * destination, unsigned int count, unsigned int * read) {
    unsigned int ignored;
    read = read != nullptr ? read : &ignored;
    if (inputWindow.Take(destination, count)) {
        *read = count;
        return NoError;
    }
    Turn const turn(*this);
    return buffer.Get(destination, count, read);
}

MuErrCode IChannelAdapter::CopyBin(char * destination, unsigned int count, unsigned int * copied) {
    if (inputWindow.Copy(destination, count)) {
        if (copied != nullptr)
            *copied = count;
        return NoError;
    }
    Turn const turn(*this);
    unsigned int got = 0;
    MuErrCode const status = buffer.Copy(destination, count, &got);
    if (copied != nullptr)
        *copied = got;
    return status;
}

MuErrCode IChannelAdapter::Look(unsigned int offset, char * c) {
    if (inputWindow.Look(offset, c))
        return NoError;
    Turn const turn(*this);
    return buffer.Look(offset, c);
}

MuErrCode IChannelAdapter::PushBack(char c) {
    return Mu::IChannel::PushBack(c);
}

MuErrCode IChannelAdapter::PushBack(char const * source, unsigned int count) {
    Turn const turn(*this);
    return buffer.PushBack(source, count);
}

MuErrCode IChannelAdapter::Skip(unsigned long long count, unsigned long long * skipped) {
    if (inputWindow.Skip(count)) {
        if (skipped != nullptr)
            *skipped = count;
        return NoError;
    }
    Turn const turn(*this);
    unsigned long long done = 0;
    MuErrCode const status = buffer.Skip(count, &done);
    if (skipped != nullptr)
        *skipped = done;
    return status;
}

MuErrCode IChannelAdapter::DirectInputAccess(unsigned int size, char ** data,
                                             unsigned int * available) {
    Turn const turn(*this);
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
    Turn const turn(*this);
    buffer.ResetInputStatus();
}

void IChannelAdapter::ResetInputBuffer() {
    Turn const turn(*this);
    buffer.Reset();
}

} // namespace IO
