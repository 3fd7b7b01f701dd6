#pragma once

#include <Kestrel/Channel/IChannelAdapter.h>

namespace IO {

/// Reads a window of fixed length of another channel, from its present position.
///
/// Reading ahead never takes a byte behind the window. Behind a window that was read to its end the
/// source stands right; before that, it stands behind what this channel holds in its buffer.
///
/// Memory:  the adapter's ring of 4096 bytes.
/// Threads: one at a time, which must be the source's.
/// Failure: EOI at the end of the window; a failure of the source as it is.
class KESTREL_API SubIChannel : public IChannelAdapter, public InputBuffer::BinInput {
public:
    /// The source must outlive this channel. Its current protocol is taken.
    SubIChannel(Mu::IChannel * source, unsigned int length);
    ~SubIChannel() override;

    Mu::IChannel * GetSource() const { return sourceChannel; }
    /// The length of the window.
    unsigned int GetDataLength() const { return dataLength; }

    /// Counted from the start of the window.
    MuErrCode GetInputPosition(unsigned long long * position) const override;
    using IChannelAdapter::GetAvailable;
    /// What is left of the window. Always NoError.
    MuErrCode GetAvailable(unsigned long long * available) const override;
    /// The protocol that the source has now.
    void SetDefaultInputProtocol() override;

private:
    MuErrCode InternalRead(char * destination, unsigned int count, unsigned int * read) override;

    Mu::IChannel * sourceChannel; // not owned
    unsigned int dataLength;
    unsigned int consumed = 0; // bytes requested from the source, <= dataLength
};

} // namespace IO
