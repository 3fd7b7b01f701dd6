#pragma once

#include <Kestrel/IPC/FrontQueue.h>
#include <Kestrel/IPC/LifeMark.h>
#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Streams/OChannel.h>

namespace IO::IPC {

class EndPoint;

/// The writing half of a framed connection: buffers what is written until the pool sends it.
///
/// A write only copies; the bytes are sent when CommunicatorPool runs a pass and the socket is
/// writable. WriteSeparator ends a message. If a response must be sent before the program
/// continues, call Flush. The wire format is a sequence of items: "D", a length of four bytes, low
/// byte first, and that number of bytes; "S", a separator; "L", a service selection. The boundaries
/// of frames have no meaning.
///
/// Memory:  blocks of the block size, the first one allocated by the first write. Blocks that were
///          sent are reused by all connections.
/// Threads: the one that drives the pool.
/// Failure: OutputClosed once the connection is lost, until ResetOutputStatus. Without memory,
///          Mu::OutOfMemoryException is thrown and the channel is unchanged.
class KESTREL_API SocketOChannel : public Mu::OChannel {
public:
    explicit SocketOChannel(unsigned int blockSize);
    /// Does not send buffered data.
    ~SocketOChannel() override;

    MuErrCode WriteBin(char const * data, unsigned int count, unsigned int * written) override;
    /// As far as the bytes are contiguous; Error if there are none.
    MuErrCode DirectOutputAccess(unsigned int offset, char ** data,
                                 unsigned int * available) override;
    /// Number of bytes written since the connection began.
    MuErrCode GetOutputPosition(unsigned long long * position) const override;
    /// Drives the pool until everything is sent that no mark holds back. Waits in steps of 0.05 s,
    /// which end early if a socket of the pool becomes ready. There is no limit: a peer that
    /// neither reads nor disconnects blocks it.
    MuErrCode Flush() override;
    void SetDefaultOutputProtocol() override;
    MuErrCode PushMark() override;
    /// Error if there is no mark.
    MuErrCode PopMark() override;
    unsigned int GetOffset() const override { return mOffset; }
    void ResetOffset() override { mOffset = 0; }
    MuErrCode GetOutputStatus() const override { return mStatus; }
    void ResetOutputStatus() override { mStatus = NoError; }
    /// Copies what was undone to a mark, from the write position on, and does not remove it.
    MuErrCode CopyBinOutput(char * data, unsigned int count, unsigned int * copied);

    /// Ends a message.
    MuErrCode WriteSeparator();
    /// The length and text that are written next select a service.
    MuErrCode WriteServiceSign();
    /// Begins a part that is preceded by its length of 32 bits; it is not sent before CloseBlock.
    MuErrCode OpenBlock();
    MuErrCode CloseBlock();

    /// Number of separators that are not sent yet.
    unsigned int GetSeparatorCount() const { return mSeparatorCount; }
    /// Number of data bytes that are not sent yet.
    unsigned long long GetUnsent() const { return GetBuffered(); }
    /// Whether a pass would find anything to send.
    bool HasSendable() const;
    /// Sends as much as the socket accepts. Called by the pool.
    void ProcessWrite(unsigned long long socket);
    /// Discards all buffered data; every operation returns the status from then on.
    void GoToErrorState(int status);
    /// A dump for the inspection of a running process.
    MuErrCode WriteDetails(Mu::OChannel & channel) const;

private:
    friend class CommunicatorPool;
    friend class EndPoint;

    static constexpr unsigned int HeaderSize = 5; // reserved bytes in front of each block

    struct MetaChar {
        unsigned long long position; // in the stream, of the byte that it precedes
        char tag;
    };

    /// Whether anything is buffered, including data that a mark holds back.
    bool HasUnsent() const;
    MuErrCode WriteMetaChar(char tag);
    void WakeOwner();
    void Clear();
    char * TakeBlock();
    void FreeBlock(char * block);
    void Alloc(unsigned int need);
    char * GetAt(unsigned int offset, unsigned int * contiguous) const;
    unsigned long long GetBuffered() const;
    unsigned long long GetLimit() const;
    bool IsMetaAtHead() const;
    void PutTags();
    void TakeMetaFromFront();
    unsigned int PutTail(unsigned int count);
    bool TrySend(unsigned long long socket, unsigned int count);
    bool TrySendRaw(unsigned long long socket, unsigned int count, unsigned int tail = 0);
    void Fail(unsigned long long socket);

    // Positions count from the start of the stream, so that nothing is adjusted as it grows.
    std::vector<unsigned long long, Mu::StdAllocator<unsigned long long>> mMarks;
    FrontQueue<MetaChar> mMetaChars; // by position; at one position "S" before "L"
    unsigned int mSeparatorCount = 0;
    FrontQueue<char *> mBlocks; // each points behind its reserved bytes
    unsigned int const mBlockSize;
    unsigned int mPendingRaw = 0; // bytes of the item being sent that the socket has not accepted
    int mFirstOffset = 0;         // of the unsent data in the first block; below 0: tags, a header
    unsigned int mLastFree = 0;   // at the end of the last block
    unsigned int mOffset = 0;     // the write position, before the end
    MuErrCode mStatus = NoError;
    unsigned int mTotalWritten = 0;
    unsigned long long mEnd = 0; // position of the end of what is buffered
    bool mIsFresh = false;       // data was written since a pass tried to send
    EndPoint * mOwner = nullptr; // closes the socket after a failure; null: closed here
    Life mLife;
};

} // namespace IO::IPC
