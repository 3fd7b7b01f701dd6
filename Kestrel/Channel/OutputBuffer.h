#pragma once

#include <Kestrel/Channel/CopyBytes.h>
#include <Kestrel/Root/Containers/Array.h>
#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Export.h>

namespace IO {

/// A chain of blocks that collects bytes for a sink and lets a writer return to a marked position.
///
/// The common part of all output channels: a channel contains one, provides the operation that
/// consumes bytes, and forwards its own writes to it. It is not a channel itself; to write one,
/// derive from OChannelAdapter.
///
/// Marks are for values that are known only later, such as a length in front of its body: PushMark,
/// write a placeholder and the body, PopMark, overwrite the placeholder, ResetOffset. There are
/// three states: plain; marked, while marks exist (the chain grows, and nothing is passed to the
/// sink); rewound, between PopMark and ResetOffset (writing replaces bytes and must not pass their
/// end). Marks nest, and PushMark is allowed in each state.
///
/// Memory:  blocks of one size, the first allocated by the first write that needs it and freed by
///          Reset. Without marks there is never a second one: a write that does not fit drains the
///          block, and one that is larger than a block bypasses it. With marks the chain grows up
///          to 4 GiB.
/// Threads: one at a time; nothing here locks.
/// Failure: statuses, never exceptions, unless the sink throws. They are sticky until
///          ResetOutputStatus: the sink is not called, and bytes that do not fit into the current
///          block are discarded.
class KESTREL_API OutputBuffer {
public:
    static constexpr unsigned int DefaultBlockSize = 16384;

    /// The destination of the bytes. This class itself is a sink that accepts none.
    class KESTREL_API BinOutput {
    public:
        /// Consumes `count` bytes and stores their number in `*written`, fewer only with a status.
        virtual MuErrCode InternalWrite(char const * source, unsigned int count,
                                        unsigned int * written);
        virtual ~BinOutput() = default;
    };

    /// Allocates nothing and cannot fail. A null output is a sink that accepts nothing. A block
    /// size of 0 means DefaultBlockSize; blocks of that size are shared by all buffers of the
    /// process.
    explicit OutputBuffer(BinOutput * output = nullptr, unsigned int blockSize = 0);

    /// Discards unflushed bytes: the owner of the buffer flushes first if they matter.
    ~OutputBuffer();

    OutputBuffer(OutputBuffer const &) = delete;
    OutputBuffer & operator=(OutputBuffer const &) = delete;

    /// Writes at the write position.
    /// Error: an overwrite would pass the end of the data. EOO: the sink is full.
    // Kept: what fits into the block is stored whatever the status, so that the common case is one
    // comparison. When rewound, in the last block, it may pass `endPtr`; bytes there are not data
    // and are discarded by ResetOffset.
    MuErrCode Put(char c) {
        if (writePtr < blockEnd) {
            *writePtr++ = c;
            return status;
        }
        return PutRest(&c, 1);
    }
    MuErrCode Put(char const * source, unsigned int count) {
        char * const to = writePtr;
        // Signed, as the write position may be behind blockEnd after marks past the data's end.
        if (static_cast<long long>(count) <= blockEnd - to) {
            if (count > FewBytes)
                return PutMany(source, count);
            writePtr = to + count;
            CopyFewBytes(to, source, count);
            return status;
        }
        return PutRest(source, count);
    }

    /// The space from the write position on that Put fills without further effect; null if there is
    /// none, or after a failure. Owned by the buffer and valid until its next operation.
    void GetRoom(char ** begin, char ** end) const {
        bool const isReady = writePtr < blockEnd && status == NoError && bufferingEnabled;
        *begin = isReady ? writePtr : nullptr;
        *end = isReady ? blockEnd : nullptr;
    }
    /// Marks that space as written up to `next`, and returns the number of bytes.
    unsigned int FillUpTo(char * next) {
        unsigned int const filled = static_cast<unsigned int>(next - writePtr);
        writePtr = next;
        return filled;
    }

    /// Passes all buffered bytes to the sink. They are then removed from the buffer even if the
    /// sink accepts none; they remain if nothing is passed on, as below, or because of an earlier
    /// status. Error: a mark exists, or the buffer is rewound; nothing was passed on, and the
    /// status is not sticky.
    MuErrCode Flush();

    /// Stores the write position. Error: buffering is disabled; not sticky.
    MuErrCode PushMark();
    /// Returns to the last mark. Error: there is none, or buffering is disabled; not sticky.
    MuErrCode PopMark();
    /// The distance from the write position to the end of the data.
    unsigned int GetOffset() const;
    /// Returns to the end of the data, and drains a chain of more than two full blocks that no mark
    /// holds back.
    void ResetOffset();
    /// A pointer to the bytes at `offset` behind the write position, to be read or replaced in
    /// place, up to the end of their block: to walk a region, add `*available` to the offset until
    /// it is 0. Owned by the buffer and valid until its next operation. Error: the buffer is not
    /// rewound, or the offset is past the data; not sticky.
    MuErrCode DirectAccess(unsigned int offset, char ** data, unsigned int * available);

    /// The number of buffered bytes, including those behind the write position.
    unsigned int GetDataSize() const;
    /// The write position, in bytes from the start of the buffered data.
    unsigned int GetWritePosition() const;
    /// The space that is left without a new block. Allocates the first block if necessary.
    unsigned int GetFreeSpace();
    /// The number of bytes passed to the sink, including those that it did not accept.
    unsigned long long GetWrittenBytes() const { return writtenBytes; }
    bool IsEmpty() const { return GetDataSize() == 0; }
    bool IsInMarkMode() const { return rewound || !marks.IsEmpty(); }

    MuErrCode GetStatus() const { return status; }
    void ResetOutputStatus() { status = NoError; }
    /// Discards the buffered bytes and the marks. The status and the first block remain.
    void ClearContent();
    /// Empties the buffer, clears the status and frees the memory. Sink, buffering and the count of
    /// bytes remain.
    void Reset();

    void SetBinOutput(BinOutput & output);
    BinOutput & GetBinOutput() const { return *binOutput; }
    /// Restores the sink that accepts nothing.
    void ClearBinOutput();

    void EnableBuffering() { bufferingEnabled = true; }
    /// Drains the buffer; afterwards every write is passed directly to the sink. Ignored while a
    /// mark exists or the buffer is rewound.
    void DisableBuffering();
    bool IsBufferingEnabled() const { return bufferingEnabled; }

private:
    void InitializeBuffer();
    void ReinitializeBuffer();
    void DeleteBuffer();
    void CopyToBuffer(char const * source, unsigned int count);
    void WriteData(char const * source, unsigned int count);
    MuErrCode PutMany(char const * source, unsigned int count);
    MuErrCode PutRest(char const * source, unsigned int count);
    void PutAtTheEnd(char const * source, unsigned int count);
    bool AppendBlock();
    bool StepToNextBlock();
    void ReturnToFirstBlock();
    void FreeBlocksFrom(unsigned int first);
    unsigned int GetBlockCount() const { return blocks.GetSize(); }

    Mu::ArrayFB<char *, 4> blocks; // owned, of blockSize bytes each
    unsigned int blockSize;
    unsigned int currentBlock = 0;      // index of the block with the write position
    char * writePtr = nullptr;          // the write position; null without a block
    char * blockEnd = nullptr;          // the limit of the write position in its block
    bool rewound = false;               // the write position was set back by PopMark
    char * endPtr = nullptr;            // while rewound: the end of the data, in the last block
    Mu::ArrayFB<unsigned int, 8> marks; // positions, the last one on top
    BinOutput * binOutput;              // not owned, never null
    unsigned long long writtenBytes = 0;
    bool bufferingEnabled = true;
    MuErrCode status = NoError;
};

} // namespace IO
