#include <Kestrel/Channel/OutputBuffer.h>

#include <Kestrel/Root/Memory/Memory.h>

#include <algorithm>

namespace IO {

// Hosts compiled without optimisation take the addresses.
constexpr unsigned int OutputBuffer::DefaultBlockSize;

namespace {

constinit OutputBuffer::BinOutput nullOutput;

// Short-lived channels are created in large numbers, so the blocks that nearly all of them use are
// kept for reuse. Creating the cache may throw, as may its Allocate.
Mu::CachedAllocator & BlockCache() {
    static Mu::CachedAllocator cache(10, OutputBuffer::DefaultBlockSize);
    return cache;
}

char * AllocateBlock(unsigned int size) {
    if (size != OutputBuffer::DefaultBlockSize)
        return static_cast<char *>(Mu::NewArrayOperator(size));
    try {
        return static_cast<char *>(BlockCache().Allocate(size, nullptr));
    } catch (Mu::OutOfMemoryException const &) {
        return nullptr;
    }
}

void FreeBlock(char * block, unsigned int size) {
    if (size != OutputBuffer::DefaultBlockSize)
        Mu::DeleteArrayOperator(block);
    else
        BlockCache().Free(block, size);
}

} // namespace

MuErrCode OutputBuffer::BinOutput::InternalWrite(char const *, unsigned int,
                                                 unsigned int * written) {
    *written = 0;
    return EOO;
}

OutputBuffer::OutputBuffer(BinOutput * output, unsigned int blockSize)
    : blockSize(blockSize != 0 ? blockSize : DefaultBlockSize),
      binOutput(output != nullptr ? output : &nullOutput) {}

OutputBuffer::~OutputBuffer() {
    DeleteBuffer();
}

// Data that fits into the block, but is too long to be stored in line.
MuErrCode OutputBuffer::PutMany(char const * source, unsigned int count) {
    std::memcpy(writePtr, source, count);
    writePtr += count;
    return status;
}

MuErrCode OutputBuffer::PutRest(char const * source, unsigned int count) {
    if (!bufferingEnabled)
        WriteData(source, count);
    else if (!rewound)
        PutAtTheEnd(source, count);
    else if (count > GetOffset())
        status = Error;
    else
        CopyToBuffer(source, count);
    return status;
}

void OutputBuffer::PutAtTheEnd(char const * source, unsigned int count) {
    if (count > GetFreeSpace() && marks.IsEmpty()) {
        (void)Flush(); // a failure sticks, and the rest does nothing then
        if (count > GetFreeSpace()) {
            WriteData(source, count);
            return;
        }
    }
    CopyToBuffer(source, count);
}

void OutputBuffer::CopyToBuffer(char const * source, unsigned int count) {
    if (status != NoError)
        return;
    InitializeBuffer();
    while (count > 0 && status == NoError) {
        if (writePtr == blockEnd && !StepToNextBlock())
            return;
        unsigned int const room = static_cast<unsigned int>(blockEnd - writePtr);
        unsigned int const part = std::min(count, room);
        CopyBytes(writePtr, source, part);
        writePtr += part;
        source += part;
        count -= part;
    }
}

// Kept: stepping into the last block while rewound opens it to its full end and not to the end of
// the data. Only the slow path of Put checks whether an overwrite stays inside.
bool OutputBuffer::StepToNextBlock() {
    if (currentBlock + 1 == GetBlockCount() && !AppendBlock())
        return false;
    ++currentBlock;
    writePtr = blocks[currentBlock];
    blockEnd = writePtr + blockSize;
    return true;
}

// Positions have 32 bits, so a chain beyond them counts as out of memory.
bool OutputBuffer::AppendBlock() {
    unsigned long long const size = (GetBlockCount() + 1ull) * blockSize;
    char * block = size <= 0xFFFFFFFFu ? AllocateBlock(blockSize) : nullptr;
    try {
        if (block != nullptr)
            blocks.Push(block);
    } catch (Mu::OutOfMemoryException const &) {
        FreeBlock(block, blockSize);
        block = nullptr;
    }
    if (block == nullptr)
        status = ErrMemoryFull;
    return block != nullptr;
}

void OutputBuffer::InitializeBuffer() {
    if (blocks.IsEmpty() && AppendBlock())
        ReturnToFirstBlock();
}

void OutputBuffer::ReinitializeBuffer() {
    if (blocks.IsEmpty()) {
        InitializeBuffer();
        return;
    }
    FreeBlocksFrom(1);
    ReturnToFirstBlock();
}

void OutputBuffer::ReturnToFirstBlock() {
    currentBlock = 0;
    writePtr = blocks[0];
    blockEnd = writePtr + blockSize;
    rewound = false;
}

void OutputBuffer::DeleteBuffer() {
    FreeBlocksFrom(0);
    currentBlock = 0;
    writePtr = nullptr;
    blockEnd = nullptr;
    rewound = false;
}

void OutputBuffer::FreeBlocksFrom(unsigned int first) {
    while (GetBlockCount() > first) {
        FreeBlock(blocks.GetLast(), blockSize);
        blocks.DeleteLast();
    }
}

// Kept: all of `count` is added, whatever the sink reports as written. The number is the position
// of the writer in its stream, not what arrived.
void OutputBuffer::WriteData(char const * source, unsigned int count) {
    if (status != NoError || count == 0)
        return;
    unsigned int written = 0;
    status = binOutput->InternalWrite(source, count, &written);
    writtenBytes += count;
}

MuErrCode OutputBuffer::Flush() {
    if (status != NoError)
        return status;
    if (IsInMarkMode())
        return Error;
    if (!blocks.IsEmpty()) {
        for (unsigned int i = 0; i < currentBlock; ++i)
            WriteData(blocks[i], blockSize);
        char const * const block = blocks[currentBlock];
        WriteData(block, static_cast<unsigned int>(writePtr - block));
        ReinitializeBuffer();
    }
    return status;
}

MuErrCode OutputBuffer::PushMark() {
    if (status != NoError)
        return status;
    if (!bufferingEnabled)
        return Error;
    try {
        marks.Push(GetWritePosition());
    } catch (Mu::OutOfMemoryException const &) {
        status = ErrMemoryFull;
    }
    return status;
}

MuErrCode OutputBuffer::PopMark() {
    if (status != NoError)
        return status;
    if (!bufferingEnabled || marks.IsEmpty())
        return Error;
    unsigned int const position = marks.Pop();
    if (!rewound) {
        rewound = true;
        endPtr = writePtr;
    }
    if (blocks.IsEmpty()) {
        currentBlock = 0;
        writePtr = nullptr;
        blockEnd = nullptr;
        return status;
    }
    unsigned int const last = GetBlockCount() - 1;
    // The end of the last block is not the start of a block behind it.
    currentBlock = std::min(position / blockSize, last);
    writePtr = blocks[currentBlock] + (position - currentBlock * blockSize);
    blockEnd = currentBlock == last ? endPtr : blocks[currentBlock] + blockSize;
    return status;
}

// 0 also for a write position past the end of the data.
unsigned int OutputBuffer::GetOffset() const {
    if (!rewound || !bufferingEnabled)
        return 0;
    unsigned int const size = GetDataSize();
    return size - std::min(size, GetWritePosition());
}

void OutputBuffer::ResetOffset() {
    if (status != NoError || !bufferingEnabled)
        return;
    if (rewound) {
        writePtr = endPtr;
        currentBlock = blocks.IsEmpty() ? 0 : GetBlockCount() - 1;
        blockEnd = blocks.IsEmpty() ? nullptr : blocks[currentBlock] + blockSize;
        rewound = false;
    }
    if (marks.IsEmpty() && currentBlock >= 2)
        (void)Flush(); // a failure sticks
}

MuErrCode OutputBuffer::DirectAccess(unsigned int offset, char ** data, unsigned int * available) {
    *data = nullptr;
    *available = 0;
    if (status != NoError)
        return status;
    unsigned int const toEnd = GetOffset();
    if (!rewound || offset > toEnd)
        return Error;
    if (blocks.IsEmpty())
        return status;
    unsigned int const position = GetWritePosition() + offset; // <= GetDataSize(), unless past it
    unsigned int const block = std::min(position / blockSize, GetBlockCount() - 1);
    unsigned int const inBlock = position - block * blockSize;
    *data = blocks[block] + inBlock;
    *available = std::min(blockSize - inBlock, toEnd - offset);
    return status;
}

unsigned int OutputBuffer::GetDataSize() const {
    if (blocks.IsEmpty())
        return 0;
    char const * const end = rewound ? endPtr : writePtr;
    return blockSize * (GetBlockCount() - 1) + static_cast<unsigned int>(end - blocks.GetLast());
}

unsigned int OutputBuffer::GetWritePosition() const {
    if (blocks.IsEmpty())
        return 0;
    return blockSize * currentBlock + static_cast<unsigned int>(writePtr - blocks[currentBlock]);
}

unsigned int OutputBuffer::GetFreeSpace() {
    InitializeBuffer();
    if (rewound && !blocks.IsEmpty())
        return blockSize - static_cast<unsigned int>(endPtr - blocks.GetLast());
    return static_cast<unsigned int>(blockEnd - writePtr);
}

void OutputBuffer::ClearContent() {
    marks.Clear(true);
    if (blocks.IsEmpty())
        rewound = false; // set by a PopMark without blocks; there is nothing to drop
    else
        ReinitializeBuffer();
}

void OutputBuffer::Reset() {
    DeleteBuffer();
    marks.Clear(true);
    status = NoError;
}

void OutputBuffer::SetBinOutput(BinOutput & output) {
    binOutput = &output;
}

void OutputBuffer::ClearBinOutput() {
    binOutput = &nullOutput;
}

void OutputBuffer::DisableBuffering() {
    if (IsInMarkMode())
        return;
    (void)Flush(); // a failure sticks
    DeleteBuffer();
    bufferingEnabled = false;
}

} // namespace IO
