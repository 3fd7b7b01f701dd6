#pragma once

#include <Kestrel/IPC/FrontQueue.h>
#include <Kestrel/IPC/LifeMark.h>
#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Streams/OChannel.h>

namespace IO::IPC {

class EndPoint;

/// The writing half of a framed connection: keeps what is written until the pool sends it.
///
/// A write only copies; the bytes leave when CommunicatorPool passes and the socket takes them.
/// WriteSeparator ends a message. For an answer that must have left before the program goes on,
/// Flush. On the wire stand items: "D", a length of four bytes, low byte first, and that many
/// bytes; "S", a separator; "L", a service sign. Where frames begin and end means nothing.
///
/// Memory:  blocks of the block size, the first one taken by the first write. Those that were sent go
///          to the next message of whichever connection.
/// Threads: the one that drives the pool.
/// Failure: OutputClosed once the connection is lost, until ResetOutputStatus. A shortage of memory
///          is thrown as Mu::OutOfMemoryException, and the channel is as it was.
class KESTREL_API SocketOChannel : public Mu::OChannel {
public:
    explicit SocketOChannel(unsigned int blockSize);
    /// Does not send what is left.
    ~SocketOChannel() override;

    MuErrCode WriteBin(char const * data, unsigned int count, unsigned int * written) override;
    /// As far as they lie in one piece; Error when none lie there.
    MuErrCode DirectOutputAccess(unsigned int offset, char ** data,
                                 unsigned int * available) override;
    /// Bytes accepted since the connection began.
    MuErrCode GetOutputPosition(unsigned long long * position) const override;
    /// Drives the pool until all has left that no mark holds back. Waits in steps of 0.05 s, which
    /// end early when a socket of the pool is ready. No limit: a peer that reads nothing, and does
    /// not go away, holds it up.
    MuErrCode Flush() override;
    void SetDefaultOutputProtocol() override;
    MuErrCode PushMark() override;
    /// Error when there is no mark.
    MuErrCode PopMark() override;
    unsigned int GetOffset() const override { return mOffset; }
    void ResetOffset() override { mOffset = 0; }
    MuErrCode GetOutputStatus() const override { return mStatus; }
    void ResetOutputStatus() override { mStatus = NoError; }
    /// Copies what a mark has taken back, from the write position on, and leaves it there.
    MuErrCode CopyBinOutput(char * data, unsigned int count, unsigned int * copied);

    /// Ends a message.
    MuErrCode WriteSeparator();
    /// What is written next, a length and a text, selects a service.
    MuErrCode WriteServiceSign();
    /// Begins a part that stands behind its own length of 32 bits; nothing of it leaves before
    /// CloseBlock.
    MuErrCode OpenBlock();
    MuErrCode CloseBlock();

    /// Separators that have not left yet.
    unsigned int GetSeparatorCount() const { return mSeparatorCount; }
    /// Bytes of data that have not left yet.
    unsigned long long GetUnsent() const { return GetBuffered(); }
    /// Whether a pass would find something to send.
    bool HasSendable() const;
    /// Sends as much as the socket takes. For the pool.
    void ProcessWrite(unsigned long long socket);
    /// Drops all that waits; the status is what every operation returns from now on.
    void GoToErrorState(int status);
    /// A dump for the inspection of a running process.
    MuErrCode WriteDetails(Mu::OChannel & channel) const;

private:
    friend class CommunicatorPool;
    friend class EndPoint;

    static constexpr unsigned int HeaderSize = 5; // spare bytes in front of each block

    struct MetaChar {
        unsigned long long position; // in the stream, of what it stands in front of
        char tag;
    };

    /// Anything at all, also what a mark holds back.
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

    // Positions count from the start of the stream, so that nothing must be adjusted as it grows.
    std::vector<unsigned long long, Mu::StdAllocator<unsigned long long>> mMarks;
    FrontQueue<MetaChar> mMetaChars; // by position; at one position "S" before "L"
    unsigned int mSeparatorCount = 0;
    FrontQueue<char *> mBlocks; // each points behind its spare bytes
    unsigned int const mBlockSize;
    unsigned int mPendingRaw = 0; // bytes of the item being sent that the socket has not taken
    int mFirstOffset = 0;         // of what is unsent in the first block; below 0: tags, a header
    unsigned int mLastFree = 0;   // at the end of the last block
    unsigned int mOffset = 0;     // the write position, before the end
    MuErrCode mStatus = NoError;
    unsigned int mTotalWritten = 0;
    unsigned long long mEnd = 0; // position of the end of what is buffered
    bool mIsFresh = false;       // something was written since a pass tried to send
    EndPoint * mOwner = nullptr; // closes the socket after a failure; null: closed here
    Life mLife;
};

} // namespace IO::IPC
