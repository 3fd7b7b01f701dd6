#pragma once

#include <Kestrel/Channel/CopyBytes.h>
#include <Kestrel/Root/Containers/Array.h>
#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Export.h>

namespace IO {

/// A chain of blocks that collects bytes for a sink and lets a writer return to a marked place.
///
/// The part of an output channel that is the same for all of them: a channel holds one, gives it
/// the one operation that takes bytes, and forwards its own writes here. Not a channel itself; for
/// one, derive from OChannelAdapter.
///
/// Marks are for what must be written in front of something that is not known yet, such as a length
/// before its body: PushMark, write a placeholder and the body, PopMark, overwrite the placeholder,
/// ResetOffset. Three states: plain; marked, while marks are alive (the chain grows, and nothing
/// leaves it); rewound, between PopMark and ResetOffset (writing replaces bytes and may not pass
/// their end). Marks nest, and PushMark is allowed in each state.
///
/// Memory:  blocks of one size, the first taken by the first write that needs it and kept until
///          Reset. Without marks there is never a second one: a write that does not fit drains the
///          block, and one larger than a block goes by it. With marks the chain grows to 4 GiB.
/// Threads: one at a time; nothing here locks.
/// Failure: statuses, never exceptions, unless the sink throws. They stick until ResetOutputStatus:
///          the sink is left alone, and what the current block has no room for is dropped.
class KESTREL_API OutputBuffer {
public:
    static constexpr unsigned int DefaultBlockSize = 16384;

    /// Where the bytes go. This class itself is the sink that takes none.
    class KESTREL_API BinOutput {
    public:
        /// Takes `count` bytes and returns in `*written` how many, fewer only with a status.
        virtual MuErrCode InternalWrite(char const * source, unsigned int count,
                                        unsigned int * written);
        virtual ~BinOutput() = default;
    };

    /// Takes no memory and cannot fail. A null output is the sink that takes nothing. A block size
    /// of 0 means DefaultBlockSize; blocks of that size are shared among all buffers of the
    /// process.
    explicit OutputBuffer(BinOutput * output = nullptr, unsigned int blockSize = 0);

    /// Drops unflushed bytes: the owner of the buffer flushes first if they matter.
    ~OutputBuffer();

    OutputBuffer(OutputBuffer const &) = delete;
    OutputBuffer & operator=(OutputBuffer const &) = delete;

    /// Writes at the write position.
    /// Error: an overwriting would pass the end of the data. EOO: the sink is full.
    // Kept: what fits in the block is stored whatever the status, so that the common case is one
    // comparison. Rewound in the last block after stepping into it, it may pass `endPtr`; bytes
    // there are no data and are gone with ResetOffset.
    MuErrCode Put(char c) {
        if (writePtr < blockEnd) {
            *writePtr++ = c;
            return status;
        }
        return PutRest(&c, 1);
    }
    MuErrCode Put(char const * source, unsigned int count) {
        char * const to = writePtr;
        // Signed, as the write position may lie behind blockEnd after marks past the data's end.
        if (static_cast<long long>(count) <= blockEnd - to) {
            if (count > FewBytes)
                return PutMany(source, count);
            writePtr = to + count;
            CopyFewBytes(to, source, count);
            return status;
        }
        return PutRest(source, count);
    }

    /// The room from the write position on that Put fills without more ado; null when there is none, or
    /// after a failure. Owned by the buffer and valid until its next operation.
    void GetRoom(char ** begin, char ** end) const {
        bool const isReady = writePtr < blockEnd && status == NoError && bufferingEnabled;
        *begin = isReady ? writePtr : nullptr;
        *end = isReady ? blockEnd : nullptr;
    }
    /// Counts that room as written up to `next`, and returns how many bytes that were.
    unsigned int FillUpTo(char * next) {
        unsigned int const filled = static_cast<unsigned int>(next - writePtr);
        writePtr = next;
        return filled;
    }

    /// Hands all buffered bytes to the sink. They are gone from here even when it takes none of
    /// them; they stay when nothing is handed over, as below, or for a status from before.
    /// Error: a mark is alive, or the buffer is rewound; nothing was written, and it does not
    /// stick.
    MuErrCode Flush();

    /// Remembers the write position. Error: buffering is off; this does not stick.
    MuErrCode PushMark();
    /// Returns to the last mark. Error: there is none, or buffering is off; this does not stick.
    MuErrCode PopMark();
    /// How far the write position lies before the end of the data.
    unsigned int GetOffset() const;
    /// Returns to the end of the data, and drains a chain of more than two full blocks that no mark
    /// holds back any more.
    void ResetOffset();
    /// Where the bytes at `offset` behind the write position lie, to be read or replaced in place,
    /// up to the end of their block: walk a region by adding `*available` to the offset until it is
    /// 0. Owned by the buffer and valid until its next operation.
    /// Error: the buffer is not rewound, or the offset lies behind the data; it does not stick.
    MuErrCode DirectAccess(unsigned int offset, char ** data, unsigned int * available);

    /// How many bytes are buffered, also behind the write position.
    unsigned int GetDataSize() const;
    /// The write position, in bytes from the start of the buffered data.
    unsigned int GetWritePosition() const;
    /// How much room there is without a new block. Takes the first block if need be.
    unsigned int GetFreeSpace();
    /// How many bytes the sink was given, those that it failed to take included.
    unsigned long long GetWrittenBytes() const { return writtenBytes; }
    bool IsEmpty() const { return GetDataSize() == 0; }
    bool IsInMarkMode() const { return rewound || !marks.IsEmpty(); }

    MuErrCode GetStatus() const { return status; }
    void ResetOutputStatus() { status = NoError; }
    /// Drops the buffered bytes and the marks. The status and the first block stay.
    void ClearContent();
    /// Empty and healthy, and without memory. Sink, buffering and the count of bytes stay.
    void Reset();

    void SetBinOutput(BinOutput & output);
    BinOutput & GetBinOutput() const { return *binOutput; }
    /// Back to the sink that takes nothing.
    void ClearBinOutput();

    void EnableBuffering() { bufferingEnabled = true; }
    /// Drains the buffer; from now on every write is passed directly to the sink. Ignored while a
    /// mark is alive or the buffer is rewound.
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
    char * blockEnd = nullptr;          // where it must stop in its block
    bool rewound = false;               // the write position was taken back by PopMark
    char * endPtr = nullptr;            // while rewound: the end of the data, in the last block
    Mu::ArrayFB<unsigned int, 8> marks; // positions, the last on top
    BinOutput * binOutput;              // not owned, never null
    unsigned long long writtenBytes = 0;
    bool bufferingEnabled = true;
    MuErrCode status = NoError;
};

} // namespace IO
