#pragma once

#include <Kestrel/Channel/BinProtocol.h>
#include <Kestrel/Channel/IChannelAdapter.h>

namespace IO {

/// Reads a block of memory.
///
/// The caller owns the block, which must outlive the channel, or passes ownership with
/// TakeOwnership: then it must come from BMAllocatePtr, and is freed by BMKillPtr.
///
/// Memory:  the adapter's ring of 4096 bytes, allocated by the first read that is shorter than it.
/// Threads: one at a time.
/// Failure: EOI past the last byte; otherwise as for InputBuffer.
class KESTREL_API MemoryIChannel : public IChannelAdapter, public InputBuffer::BinInput {
public:
    /// The owner of the block.
    enum OwnershipType : unsigned int { LeaveWithCaller = 0, TakeOwnership = 1, PassOwnership = 2 };

    /// The channel is at its end until SetSource.
    MemoryIChannel();
    MemoryIChannel(char const * source, unsigned int size,
                   OwnershipType ownership = LeaveWithCaller);
    ~MemoryIChannel() override;

    /// Reads the block from its start, and clears failures. Frees an earlier block if it is owned.
    void SetSource(char const * source, unsigned int size,
                   OwnershipType ownership = LeaveWithCaller);
    /// Removes the block, and frees it if it is owned; the channel is at its end then.
    void RemoveSource();
    /// Reads the same block from its start, and clears failures.
    void ResetSource();

    char const * GetSource() const { return source; }
    unsigned int GetDataLength() const { return sourceSize; }

    MuErrCode GetInputPosition(unsigned long long * position) const override;
    using IChannelAdapter::GetAvailable;
    /// The rest of the block. Always NoError.
    MuErrCode GetAvailable(unsigned long long * available) const override;
    void SetDefaultInputProtocol() override;

private:
    MuErrCode InternalRead(char * destination, unsigned int count, unsigned int * read) override;
    void FreeSource();

    char const * source = nullptr;
    unsigned int sourceSize = 0;
    bool ownsSource = false;
    unsigned int position = 0; // number of bytes that the ring has received, <= sourceSize
};

} // namespace IO
