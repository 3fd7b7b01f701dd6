#pragma once

#include <Kestrel/Channel/OChannelAdapter.h>
#include <Kestrel/Root/Memory/Ref.h>
#include <Kestrel/Root/Streams/BinaryChannel.h>

namespace IO {

/// Writes to a raw sink, such as a socket, buffered and through a protocol.
///
/// Memory:  the adapter's block of 16384 bytes, and a small one for the shared reference.
/// Threads: one at a time.
/// Failure: what the sink throws as a MuException becomes this channel's status; other exceptions
///          pass through.
class KESTREL_API OChannelAdapterForOBinaryChannel : public OChannelAdapter,
                                                     public OutputBuffer::BinOutput {
public:
    /// The sink must outlive this channel.
    explicit OChannelAdapterForOBinaryChannel(Mu::OBinaryChannel & channel);
    /// Keeps the sink alive. Throws Mu::NullReferenceException for an empty reference and
    /// Mu::OutOfMemoryException.
    explicit OChannelAdapterForOBinaryChannel(
        Mu::Ref<Mu::OBinaryChannel, Mu::AtomicCounter> const & channel);
    /// Flushes. The result is lost: flush before to get it.
    ~OChannelAdapterForOBinaryChannel() override;

    void SetDefaultOutputProtocol() override;

private:
    MuErrCode InternalWrite(char const * source, unsigned int count,
                            unsigned int * written) override;

    Mu::OBinaryChannel * binaryChannel;
    Mu::Ref<Mu::OBinaryChannel, Mu::AtomicCounter> * channelRef = nullptr; // owned; may be null
};

} // namespace IO
