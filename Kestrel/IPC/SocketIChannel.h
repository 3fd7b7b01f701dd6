#pragma once

#include <Kestrel/IPC/FrontQueue.h>
#include <Kestrel/IPC/LifeMark.h>
#include <Kestrel/Location/Location.h>
#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Streams/IChannel.h>

namespace Mu {
class OChannel;
}

namespace IO::IPC {

class EndPoint;

/// The reading half of a framed connection: the data that the pool has received, as one stream of
/// bytes with separators between its messages. SocketOChannel documents the wire format.
///
/// A read beyond the available data drives the pool until enough has arrived or the connection is
/// lost, in steps of 0.05 s that end early if a socket of the pool becomes ready. There is no other
/// limit, so read a message when its separator has arrived (EndPoint::WaitNextSeparator) and under
/// an EndPoint::InputSeparatorGuard, which ends reads at it.
///
/// Memory:  a receive buffer while data arrives, and a block for each frame that grows with the
///          bytes received, whatever length is announced. One block is kept for the next small
///          frame; those of large frames are reused by all connections.
/// Threads: the one that drives the pool.
/// Failure: EOI if the connection is lost or a separator ends the read; it remains until
///          ResetInputStatus. Without memory, the call that drives the pool throws
///          Mu::OutOfMemoryException; received data is not lost by it.
class KESTREL_API SocketIChannel : public Mu::IChannel {
public:
    SocketIChannel(EndPoint & endPoint, unsigned int bufferSize);
    ~SocketIChannel() override;

    MuErrCode ReadBin(char * data, unsigned int count, unsigned int * read) override;
    // Kept: the input position advances as if the bytes had been read, and again when they are.
    MuErrCode CopyBin(char * data, unsigned int count, unsigned int * copied) override;
    /// Does not change the status.
    MuErrCode Look(unsigned int offset, char * c) override;
    using IChannel::PushBack;
    /// Neither the position nor the distances of separators change until the bytes are read again.
    MuErrCode PushBack(char const * data, unsigned int count) override;
    /// NoError if everything was skipped, even if that set the status to EOI.
    MuErrCode Skip(unsigned long long count, unsigned long long * skipped) override;
    /// Waits for the bytes. Error: they are not contiguous.
    MuErrCode DirectInputAccess(unsigned int size, char ** data, unsigned int * available) override;
    MuErrCode GetInputPosition(unsigned long long * position) const override;
    // The end of a stream is unknown: the largest number, minus the position.
    MuErrCode GetAvailable(unsigned int * available) const override;
    MuErrCode GetAvailable(unsigned long long * available) const override;
    /// Waits for a byte, or for the end of the connection.
    bool IsEOI() override;
    void SetDefaultInputProtocol() override;
    MuErrCode GetInputStatus() const override { return mStatus; }
    void ResetInputStatus() override { mStatus = NoError; }

    /// Number of separators that were received and not passed.
    unsigned int GetSeparatorCount() const {
        return static_cast<unsigned int>(mSeparators.GetSize());
    }
    /// Distance of the next separator in bytes; -1 if none was received.
    long long GetNearestSeparator() const;
    /// Skips to the next separator and removes it. Error if none was received.
    MuErrCode EatSeparator();
    /// Passes service selections that have reached the read position to the end point.
    void EatLocations();
    /// Whether reads stop at the next separator.
    bool GetSeparatorIsEOI() const { return mSeparatorIsEOI; }
    /// Returns the previous value.
    bool SetSeparatorIsEOI(bool isEOI) { return std::exchange(mSeparatorIsEOI, isEOI); }

    /// The memory used by bytes and separators that wait to be read.
    unsigned long long GetUnread() const;
    /// Number of bytes that can be read without waiting.
    unsigned long long GetReadable() const { return mAvailable; }
    /// Reads what the socket has received. Called by the pool.
    void ProcessRead(unsigned long long socket);
    /// Discards an incomplete frame; complete ones remain, but the status is EOI.
    void GoToErrorState();
    /// A dump for the inspection of a running process.
    MuErrCode WriteDetails(Mu::OChannel & channel) const;

private:
    friend class EndPoint;

    static constexpr unsigned int LocationMark = 0xFFFFFFFFu;

    /// Received bytes of a frame, or the text of a location.
    struct Block {
        unsigned int size; // LocationMark: a zero-terminated text
        char * data;       // owned
        unsigned int capacity;
    };
    /// Bytes whose number is announced by the peer: those received, and memory that grows with
    /// them.
    struct Growing {
        char * data = nullptr; // owned
        unsigned int capacity = 0;
        unsigned int length = 0; // announced
        unsigned int filled = 0;
    };

    bool IsHeldBack() const;
    bool HasRest() const { return mReceived != mWalked || mFrameIsFull; }
    void ReceiveAndWalk(unsigned long long socket);
    bool Receive(unsigned long long socket, bool * isFull);
    unsigned int GetDirectRoom() const;
    void Fill(unsigned int count);
    void GiveBackBuffer();
    bool Walk();
    bool TakeTag(char tag);
    void TakePayload();
    void FinishFrame();
    unsigned int AppendToLocation(char const * data, unsigned int count);
    void FinishLocation();
    void PassOver(unsigned int count);
    void Grow(Growing & block, unsigned int more);
    void Free(Growing & block);
    void FreeBlock(Block const & block);
    void PopFront();
    void Lose(unsigned long long socket);
    void Clear();

    unsigned long long LimitBySeparator(unsigned long long count) const;
    unsigned long long EnsureData(unsigned long long count, bool stopsAtSeparator,
                                  Life::Mark const & mark);
    MuErrCode Begin(unsigned long long count, unsigned long long * got, Life::Mark const & mark);
    template <typename Use>
    void ForUnread(unsigned long long from, unsigned long long count, Use use) const;
    void Take(unsigned long long count, char * destination, Life::Mark const & mark);

    FrontQueue<Block> mBlocks;
    unsigned long long mPosition = 0; // as the host counts
    char * mRecvBuffer = nullptr;     // owned; null while everything received is parsed
    bool mHasReceived = false;
    unsigned int const mRecvBufferSize;
    unsigned int mReceived = 0;    // bytes in the receive buffer
    unsigned int mWalked = 0;      // and how many of them are parsed
    unsigned int mFirstOffset = 0; // bytes of the first block that were read
    unsigned long long mAvailable = 0;
    // 0 between items; below 0: missing header bytes; above 0: missing payload bytes, or none while
    // there was no memory for the content of the frame.
    long long mFrameState = 0;
    Growing mFrame;
    bool mFrameIsFull = false;
    unsigned int mFrameUsed = 0; // bytes of the complete frame that belong to the location
    MuErrCode mStatus = NoError;
    long long mLocationState = 0; // like that of the frame
    Growing mLocation;
    bool mIsEating = false; // a location is being delivered
    bool mSeparatorIsEOI = false;
    EndPoint & mEndPoint;
    // Positions in the stream of payload, which count all bytes that were received or read.
    FrontQueue<unsigned long long> mSeparators;
    unsigned long long mStreamEnd = 0;
    unsigned long long mTaken = 0;
    unsigned long long mPushedBack = 0; // bytes that were read and are unread again
    unsigned long long mWanted = 0;     // what a read waits for
    unsigned long long mLocationBytes = 0;
    Block mSpare{0, nullptr, 0}; // a block that has been read, kept for the next frame
    Life mLife;
};

} // namespace IO::IPC
