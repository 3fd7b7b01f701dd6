#pragma once

#include <Kestrel/Channel/IChannelAdapter.h>

namespace IO {

/// Reads a window of fixed length of another channel, from its current position.
///
/// Reading ahead never reads a byte past the window. After the window was read to its end, the
/// source is positioned right behind it; before that, it is ahead of this channel by the buffered
/// bytes.
///
/// Memory:  the adapter's ring of 4096 bytes.
/// Threads: one at a time, which must be the source's.
/// Failure: EOI at the end of the window; failures of the source are passed on.
class KESTREL_API SubIChannel : public IChannelAdapter, public InputBuffer::BinInput {
public:
    /// The source must outlive this channel, which adopts its current protocol.
    SubIChannel(Mu::IChannel * source, unsigned int length);
    ~SubIChannel() override;

    Mu::IChannel * GetSource() const { return sourceChannel; }
    /// The length of the window.
    unsigned int GetDataLength() const { return dataLength; }

    /// Counted from the start of the window.
    MuErrCode GetInputPosition(unsigned long long * position) const override;
    using IChannelAdapter::GetAvailable;
    /// The rest of the window. Always NoError.
    MuErrCode GetAvailable(unsigned long long * available) const override;
    /// Adopts the current protocol of the source.
    void SetDefaultInputProtocol() override;

private:
    MuErrCode InternalRead(char * destination, unsigned int count, unsigned int * read) override;

    Mu::IChannel * sourceChannel; // not owned
    unsigned int dataLength;
    unsigned int consumed = 0; // bytes requested from the source, <= dataLength
};

} // namespace IO
