#pragma once

#include <Kestrel/Channel/BinProtocol.h>
#include <Kestrel/Channel/OChannelAdapter.h>

namespace IO {

/// Writes into a block of memory that grows by doubling, up to a limit.
///
/// Begins on a block of its own or on a caller's, say on the stack. A caller's block is left behind
/// at the first growth, and from then on the channel owns one; ask GetDestination where the bytes
/// are. They reach the block only with a flush, which GetDestination does.
///
/// Memory:  the block, and the adapter's 16384 bytes, which come from a cache: over a caller's
///          block that suffices, nothing is allocated.
/// Threads: one at a time.
/// Failure: EOO at the limit, with what fits written. ErrMemoryFull when a block could not be had;
///          all bytes are gone then.
class KESTREL_API MemoryOChannel : public OChannelAdapter, public OutputBuffer::BinOutput {
public:
    static constexpr unsigned int DefaultInitialSize = 1024;
    static constexpr unsigned int NoLimit = 0xFFFFFFFF;

    /// The owner of the block. A block that is handed over must come from BMAllocatePtr.
    enum OwnershipType : unsigned int { LeaveWithCaller = 0, TakeOwnership = 1, PassOwnership = 2 };

    /// On a block of its own; sizes of 0 mean DefaultInitialSize and NoLimit. GetStatus says
    /// whether the block could be had. The block is as large as asked for even above the limit.
    explicit MemoryOChannel(unsigned int initialSize = 0, unsigned int maxSize = 0);
    /// On the given block, from its start.
    MemoryOChannel(char * destination, unsigned int capacity, unsigned int maxSize,
                   OwnershipType ownership);
    /// Flushes, then frees the block if the channel owns it.
    ~MemoryOChannel() override;

    // Both flush into the block that is left and return the new GetStatus.
    MuErrCode SetDestination(unsigned int initialSize, unsigned int maxSize);
    MuErrCode SetDestination(char * destination, unsigned int capacity, unsigned int maxSize,
                             OwnershipType ownership);

    /// The block, with everything written in it; null after a failed allocation. With PassOwnership
    /// the caller frees it by BMKillPtr if the channel would have; it is the channel's to write
    /// into only until then. Without, it is valid until the next write.
    char * GetDestination(OwnershipType ownership);
    // Kept: the flush happens here as well, or the block would not hold what was written.
    char const * GetDestination() const;

    unsigned int GetDataSize() const;
    /// Flushes, then sets how much of the block counts as written: writing continues from there.
    /// Always NoError.
    // Kept: the size is not checked against the block. What the block did not hold reads as zero
    // once writing goes on and the block has grown.
    MuErrCode SetDataSize(unsigned int size);
    /// ErrMemoryFull: there is no block.
    MuErrCode GetStatus() const { return destination == nullptr ? ErrMemoryFull : NoError; }

    /// The position of the next byte, counted from the start of the block. Always NoError.
    MuErrCode GetOutputPosition(unsigned long long * position) const override;
    void SetDefaultOutputProtocol() override;

private:
    MuErrCode InternalWrite(char const * source, unsigned int count,
                            unsigned int * written) override;
    MuErrCode Init(unsigned int initialSize, unsigned int maxSize);
    void Use(char * block, unsigned int size, unsigned int limit, OwnershipType ownership);
    void FreeDestination();
    bool Grow(unsigned int needed);
    char * ResizeDestination(unsigned int size, unsigned int held);

    char * destination = nullptr;
    unsigned int writtenSize = 0; // bytes that have reached the block
    unsigned int maxSize = 0;
    unsigned int capacity = 0; // the block's size
    bool ownsDestination = false;
};

} // namespace IO
