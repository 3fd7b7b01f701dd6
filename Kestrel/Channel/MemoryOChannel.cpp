#include <Kestrel/Channel/MemoryOChannel.h>

#include <Kestrel/Channel/BinProtocol.h>
#include <Kestrel/Root/Memory/Memory.h>

#include <algorithm>

namespace IO {

// Hosts compiled without optimisation take the addresses.
constexpr unsigned int MemoryOChannel::DefaultInitialSize;
constexpr unsigned int MemoryOChannel::NoLimit;

MemoryOChannel::MemoryOChannel(unsigned int initialSize, unsigned int maxSize)
    : OChannelAdapter(binOProtocol) {
    SetBinOutput(*this);
    (void)Init(initialSize, maxSize); // GetStatus reports it
}

MemoryOChannel::MemoryOChannel(char * destination, unsigned int capacity, unsigned int maxSize,
                               OwnershipType ownership)
    : OChannelAdapter(binOProtocol) {
    SetBinOutput(*this);
    Use(destination, capacity, maxSize, ownership);
}

MemoryOChannel::~MemoryOChannel() {
    (void)Flush(); // into the block, which a caller may own
    FreeDestination();
}

MuErrCode MemoryOChannel::Init(unsigned int initialSize, unsigned int limit) {
    unsigned int const size = initialSize != 0 ? initialSize : DefaultInitialSize;
    char * const block = BMAllocatePtr(size, 0, 0);
    if (block == nullptr) {
        FreeDestination();
        return ErrMemoryFull;
    }
    Use(block, size, limit, TakeOwnership);
    return NoError;
}

void MemoryOChannel::Use(char * block, unsigned int size, unsigned int limit,
                         OwnershipType ownership) {
    destination = block;
    writtenSize = 0;
    maxSize = limit != 0 ? limit : NoLimit;
    capacity = size;
    ownsDestination = ownership == TakeOwnership;
}

// Without a block, nothing is written and nothing fits.
void MemoryOChannel::FreeDestination() {
    if (ownsDestination)
        BMKillPtr(&destination);
    destination = nullptr;
    writtenSize = 0;
    maxSize = 0;
    capacity = 0;
    ownsDestination = false;
}

MuErrCode MemoryOChannel::SetDestination(unsigned int initialSize, unsigned int limit) {
    (void)Flush(); // the status belongs to the earlier block and is discarded with it
    FreeDestination();
    MuErrCode const status = Init(initialSize, limit);
    ResetOutputBuffer();
    return status;
}

MuErrCode MemoryOChannel::SetDestination(char * block, unsigned int size, unsigned int limit,
                                         OwnershipType ownership) {
    (void)Flush();
    if (block != destination)
        FreeDestination();
    Use(block, size, limit, ownership);
    ResetOutputBuffer();
    return GetStatus();
}

char * MemoryOChannel::GetDestination(OwnershipType ownership) {
    (void)Flush(); // a failure sticks in the channel
    if (ownership == PassOwnership)
        ownsDestination = false;
    return destination;
}

char const * MemoryOChannel::GetDestination() const {
    (void)const_cast<MemoryOChannel *>(this)->Flush();
    return destination;
}

unsigned int MemoryOChannel::GetDataSize() const {
    unsigned long long const size =
        static_cast<unsigned long long>(writtenSize) + GetDataSizeInOutputBuffer();
    return static_cast<unsigned int>(std::min<unsigned long long>(size, maxSize));
}

MuErrCode MemoryOChannel::SetDataSize(unsigned int size) {
    (void)Flush();
    writtenSize = size;
    return NoError;
}

MuErrCode MemoryOChannel::GetOutputPosition(unsigned long long * position) const {
    *position = static_cast<unsigned long long>(writtenSize) + GetDataSizeInOutputBuffer();
    if (IsOutputBufferingEnabled())
        *position -= GetOffset();
    return NoError;
}

void MemoryOChannel::SetDefaultOutputProtocol() {
    SetOutputProtocol(binOProtocol);
}

MuErrCode MemoryOChannel::InternalWrite(char const * source, unsigned int count,
                                        unsigned int * written) {
    *written = 0;
    if (destination == nullptr)
        return ErrMemoryFull;
    // SetDataSize may have exceeded the limit.
    unsigned int const part = std::min(count, maxSize - std::min(writtenSize, maxSize));
    if (part > 0) {
        if (writtenSize + part > capacity && !Grow(writtenSize + part))
            return ErrMemoryFull;
        CopyBytes(destination + writtenSize, source, part);
        writtenSize += part;
    }
    *written = part;
    return part != count ? EOO : NoError;
}

// Kept: the doubling is computed in 32 bits, so that from 2 GiB on the block grows by what is
// needed.
bool MemoryOChannel::Grow(unsigned int needed) {
    unsigned int const size = std::min(std::max(needed, capacity * 2), maxSize);
    unsigned int const held = std::min(writtenSize, capacity); // SetDataSize may have exceeded it
    char * const block = ResizeDestination(size, held);
    if (block == nullptr) {
        FreeDestination();
        return false;
    }
    BNFillMemory(block + held, writtenSize - held, 0);
    destination = block;
    capacity = size;
    ownsDestination = true;
    return true;
}

// An owned block may be enlarged in place, which saves copying a large one.
char * MemoryOChannel::ResizeDestination(unsigned int size, unsigned int held) {
    if (ownsDestination)
        return static_cast<char *>(Mu::ReallocateOperator(destination, size));
    char * const block = BMAllocatePtr(size, 0, 0);
    if (block != nullptr)
        CopyBytes(block, destination, held);
    return block;
}

} // namespace IO
