#pragma once

#include <Kestrel/Channel/BinProtocol.h>
#include <Kestrel/Channel/OChannelAdapter.h>

namespace IO {

/// Writes into a block of memory that grows by doubling, up to a limit.
///
/// Starts with a block of its own or one of the caller, for example on the stack. A caller's block
/// is abandoned at the first growth, and the channel then owns another one; GetDestination returns
/// the current one. Bytes reach the block only by a flush, which GetDestination does.
///
/// Memory:  the block, and the adapter's 16384 bytes, which come from a cache: with a sufficient
///          block of the caller, nothing is allocated.
/// Threads: one at a time.
/// Failure: EOO at the limit, after writing what fits. ErrMemoryFull if a block could not be
///          allocated; all bytes are lost then.
class KESTREL_API MemoryOChannel : public OChannelAdapter, public OutputBuffer::BinOutput {
public:
    static constexpr unsigned int DefaultInitialSize = 1024;
    static constexpr unsigned int NoLimit = 0xFFFFFFFF;

    /// Who owns the block. A block whose ownership is passed must come from BMAllocatePtr.
    enum OwnershipType : unsigned int { LeaveWithCaller = 0, TakeOwnership = 1, PassOwnership = 2 };

    /// Allocates a block; sizes of 0 mean DefaultInitialSize and NoLimit. GetStatus returns whether
    /// that succeeded. The block has the requested size even if it is above the limit.
    explicit MemoryOChannel(unsigned int initialSize = 0, unsigned int maxSize = 0);
    /// Uses the given block, from its start.
    MemoryOChannel(char * destination, unsigned int capacity, unsigned int maxSize,
                   OwnershipType ownership);
    /// Flushes, then frees the block if the channel owns it.
    ~MemoryOChannel() override;

    // Both flush into the current block before they replace it, and return the new GetStatus.
    MuErrCode SetDestination(unsigned int initialSize, unsigned int maxSize);
    MuErrCode SetDestination(char * destination, unsigned int capacity, unsigned int maxSize,
                             OwnershipType ownership);

    /// The block with everything that was written; null after a failed allocation. With
    /// PassOwnership the caller must free it by BMKillPtr if the channel would have; the channel
    /// may still write to it until then. Without, it is valid until the next write.
    char * GetDestination(OwnershipType ownership);
    // Kept: it flushes, as otherwise the block would not contain what was written.
    char const * GetDestination() const;

    unsigned int GetDataSize() const;
    /// Flushes, then sets how much of the block counts as written: writing continues there. Always
    /// NoError.
    // Kept: the size is not checked against the block. Bytes past the block's old size are zero
    // once writing continues and the block has grown.
    MuErrCode SetDataSize(unsigned int size);
    /// ErrMemoryFull: there is no block.
    MuErrCode GetStatus() const { return destination == nullptr ? ErrMemoryFull : NoError; }

    /// The position of the next byte, from the start of the block. Always NoError.
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
