#pragma once

#include <Kestrel/Channel/BinProtocol.h>
#include <Kestrel/Channel/IChannelAdapter.h>

namespace IO {

/// Reads a block of memory.
///
/// The block stays the caller's and must outlive the channel, or is handed over with TakeOwnership:
/// it must come from BMAllocatePtr then, and is freed by BMKillPtr.
///
/// Memory:  the adapter's ring of 4096 bytes, taken by the first read that is shorter than it.
/// Threads: one at a time.
/// Failure: EOI behind the last byte; otherwise those of InputBuffer.
class KESTREL_API MemoryIChannel : public IChannelAdapter, public InputBuffer::BinInput {
public:
    /// The owner of the block.
    enum OwnershipType : unsigned int { LeaveWithCaller = 0, TakeOwnership = 1, PassOwnership = 2 };

    /// At its end, until SetSource.
    MemoryIChannel();
    MemoryIChannel(char const * source, unsigned int size,
                   OwnershipType ownership = LeaveWithCaller);
    ~MemoryIChannel() override;

    /// Reads that block from its start, healthy again. An owned earlier block is freed.
    void SetSource(char const * source, unsigned int size,
                   OwnershipType ownership = LeaveWithCaller);
    /// At its end and without a block; an owned one is freed.
    void RemoveSource();
    /// Reads the same block from its start, healthy again.
    void ResetSource();

    char const * GetSource() const { return source; }
    unsigned int GetDataLength() const { return sourceSize; }

    MuErrCode GetInputPosition(unsigned long long * position) const override;
    using IChannelAdapter::GetAvailable;
    /// What is left of the block. Always NoError.
    MuErrCode GetAvailable(unsigned long long * available) const override;
    void SetDefaultInputProtocol() override;

private:
    MuErrCode InternalRead(char * destination, unsigned int count, unsigned int * read) override;
    void FreeSource();

    char const * source = nullptr;
    unsigned int sourceSize = 0;
    bool ownsSource = false;
    unsigned int position = 0; // bytes that the ring has got, <= sourceSize
};

} // namespace IO
