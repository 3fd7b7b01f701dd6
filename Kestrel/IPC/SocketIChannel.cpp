#include <Kestrel/IPC/SocketIChannel.h>

#include <Kestrel/Channel/BinProtocol.h>
#include <Kestrel/IPC/CommunicatorPool.h>
#include <Kestrel/IPC/EndPoint.h>
#include <Kestrel/IPC/Internal/BlockStore.h>
#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Streams/OChannel.h>
#include <Kestrel/Root/Text/PlatformConversion.h>
#include <Kestrel/Root/Text/String.h>
#include <Kestrel/Socket/SocketFunctions.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace IO::IPC {

namespace {

constexpr unsigned int LengthSize = 4;
constexpr unsigned int LargeFrame = 32768; // gets a block of the store, if one is unused
constexpr unsigned int LargeCapacity = BlockStore::BlockSize - 1;
constexpr unsigned long long CostOfEntry = 32; // memory of a separator or a block besides its bytes

// Adds one byte of a length, the lowest first; `state` is minus the number of missing ones.
void AddLengthByte(unsigned int * length, long long state, char byte) {
    unsigned int const shift = 8 * static_cast<unsigned int>(LengthSize + state);
    *length |= static_cast<unsigned int>(static_cast<unsigned char>(byte)) << shift;
}

} // namespace

SocketIChannel::SocketIChannel(EndPoint & endPoint, unsigned int bufferSize)
    : IChannel(binIProtocol), mRecvBufferSize(std::max(bufferSize, 1u)), mEndPoint(endPoint) {}

SocketIChannel::~SocketIChannel() {
    Clear();
    GiveBackBuffer();
    Mu::DeleteOperator(mSpare.data);
}

void SocketIChannel::SetDefaultInputProtocol() {
    SetInputProtocol(binIProtocol);
}

// Memory.

void SocketIChannel::Grow(Growing & block, unsigned int more) {
    unsigned long long const needed = static_cast<unsigned long long>(block.filled) + more;
    if (needed <= block.capacity)
        return;
    unsigned int capacity = static_cast<unsigned int>(std::min<unsigned long long>(
        block.length, std::max<unsigned long long>(needed, 2ull * block.capacity)));
    if (capacity > LargeCapacity / 2 && capacity < LargeCapacity)
        capacity = LargeCapacity; // can be reused by others later
    // One more byte, since a text is terminated, whatever its bytes are.
    void * const larger = Mu::ReallocateOperator(block.data, std::size_t{capacity} + 1);
    if (larger == nullptr)
        Mu::ThrowOutOfMemory();
    block.data = static_cast<char *>(larger);
    block.capacity = capacity;
}

void SocketIChannel::Free(Growing & block) {
    Mu::DeleteOperator(block.data);
    block = Growing();
}

void SocketIChannel::FreeBlock(Block const & block) {
    Block freed = block;
    if (freed.capacity == LargeCapacity) {
        BlockStore::Instance().Give(freed.data);
        return;
    }
    if (freed.size != LocationMark && freed.capacity < LargeFrame &&
        freed.capacity > mSpare.capacity)
        std::swap(freed, mSpare);
    Mu::DeleteOperator(freed.data);
}

void SocketIChannel::GiveBackBuffer() {
    if (mRecvBuffer == nullptr)
        return;
    if (mRecvBufferSize == BlockStore::BlockSize)
        BlockStore::Instance().Give(mRecvBuffer);
    else
        Mu::DeleteOperator(mRecvBuffer);
    mRecvBuffer = nullptr;
}

void SocketIChannel::PopFront() {
    Block const block = mBlocks.GetFront();
    mBlocks.PopFront();
    mFirstOffset = 0;
    FreeBlock(block);
}

void SocketIChannel::Clear() {
    while (!mBlocks.IsEmpty())
        PopFront();
    Free(mFrame);
    Free(mLocation);
    mFrameIsFull = mIsEating = false;
    mFrameState = mLocationState = 0;
    mReceived = mWalked = mFirstOffset = mFrameUsed = 0;
    mSeparators.Clear();
    mAvailable = mStreamEnd = mTaken = mPushedBack = mLocationBytes = 0;
}

// Receiving.

// While a whole message waits and is not read, and no read needs more, TCP must hold back the
// sender.
bool SocketIChannel::IsHeldBack() const {
    return !mSeparators.IsEmpty() && mWanted <= mAvailable &&
           GetUnread() > CommunicatorPool::Instance().GetUnreadLimit();
}

unsigned long long SocketIChannel::GetUnread() const {
    return mAvailable + mLocationBytes + CostOfEntry * (mSeparators.GetSize() + mBlocks.GetSize());
}

void SocketIChannel::ProcessRead(unsigned long long socket) {
    ReceiveAndWalk(socket);
    if (mWalked == mReceived)
        GiveBackBuffer();
}

void SocketIChannel::ReceiveAndWalk(unsigned long long socket) {
    // A sender that is faster than the pass must not occupy it.
    constexpr int MostTurns = 8;
    bool isFull = true;
    for (int turn = 0; turn < MostTurns && isFull; ++turn) {
        if (mStatus != NoError || IsHeldBack())
            return;
        if (!HasRest() && !Receive(socket, &isFull))
            return;
        if (!Walk() || GetUnread() + mFrame.filled + mLocation.filled >
                           CommunicatorPool::Instance().GetMessageLimit())
            Lose(socket);
    }
}

// False: nothing was received. A receive that does not fill the room has taken all there was, so
// that the socket need not be queried again.
bool SocketIChannel::Receive(unsigned long long socket, bool * isFull) {
    mReceived = mWalked = 0;
    unsigned int const room = GetDirectRoom();
    if (room != 0)
        Grow(mFrame, room);
    else if (mRecvBuffer == nullptr)
        mRecvBuffer = mRecvBufferSize == BlockStore::BlockSize
                          ? BlockStore::Instance().Take()
                          : static_cast<char *>(Mu::NewOrThrow(mRecvBufferSize));
    unsigned int count = 0;
    unsigned int const most = room != 0 ? room : mRecvBufferSize;
    char * const to = room != 0 ? mFrame.data + mFrame.filled : mRecvBuffer;
    if (Socket::Recv(socket, to, most, &count) != NoError &&
        Socket::GetLastError() != Socket::WouldBlock)
        Lose(socket);
    else if (room != 0)
        Fill(count);
    else
        mReceived = count;
    mHasReceived = mHasReceived || count != 0;
    *isFull = count == most;
    return count != 0;
}

// How much of a large frame is received in place without a copy: as much as has already been
// received of it, or as its block has room for, so that an announced length allocates nothing.
unsigned int SocketIChannel::GetDirectRoom() const {
    constexpr unsigned int LeastRoom = 16384;
    if (mFrameState <= 0)
        return 0;
    unsigned int const room = std::max(mFrame.capacity - mFrame.filled, mFrame.filled);
    if (room < LeastRoom)
        return 0;
    return static_cast<unsigned int>(std::min<long long>(mFrameState, room));
}

void SocketIChannel::Fill(unsigned int count) {
    mFrame.filled += count;
    mFrameState -= count;
    mFrameIsFull = mFrameState == 0;
}

void SocketIChannel::Lose(unsigned long long socket) {
    mReceived = mWalked = 0;
    GoToErrorState();
    mEndPoint.CloseAfterFailure(socket);
}

void SocketIChannel::GoToErrorState() {
    Free(mFrame);
    Free(mLocation);
    mFrameIsFull = false;
    mFrameState = mLocationState = 0;
    mReceived = mWalked = 0;
    mStatus = EOI;
}

// Parses the received bytes. Each step allocates before it advances, so that after running out of
// memory the next call continues from here. False: no valid peer sends this.
bool SocketIChannel::Walk() {
    for (;;) {
        if (mFrameIsFull)
            FinishFrame();
        if (mWalked == mReceived)
            return true;
        if (mFrameState == 0) {
            if (!TakeTag(mRecvBuffer[mWalked]))
                return false;
            ++mWalked;
        } else if (mFrameState < 0) {
            AddLengthByte(&mFrame.length, mFrameState, mRecvBuffer[mWalked++]);
            // An empty frame ends here.
            if (++mFrameState == 0)
                mFrameState = mFrame.length;
        } else {
            TakePayload();
        }
    }
}

bool SocketIChannel::TakeTag(char tag) {
    switch (tag) {
    case 'D':
        mFrameState = -static_cast<long long>(LengthSize);
        mFrame.length = mFrame.filled = mFrameUsed = 0;
        return true;
    case 'L':
        Free(mLocation);
        mLocationState = -static_cast<long long>(LengthSize);
        return true;
    case 'S': mSeparators.PushBack(mStreamEnd); return true;
    default: return false;
    }
}

void SocketIChannel::TakePayload() {
    if (mFrame.data == nullptr && mFrame.length >= LargeFrame) {
        mFrame.data = BlockStore::Instance().TakeUnused();
        mFrame.capacity = mFrame.data != nullptr ? LargeCapacity : 0;
    }
    if (mFrame.data == nullptr && mSpare.data != nullptr) {
        mFrame.data = std::exchange(mSpare.data, nullptr);
        mFrame.capacity = std::exchange(mSpare.capacity, 0);
    }
    unsigned int const count =
        static_cast<unsigned int>(std::min<long long>(mFrameState, mReceived - mWalked));
    Grow(mFrame, count);
    std::memcpy(mFrame.data + mFrame.filled, mRecvBuffer + mWalked, count);
    mWalked += count;
    Fill(count);
}

void SocketIChannel::FinishFrame() {
    while (mLocationState != 0 && mFrameUsed < mFrame.filled)
        mFrameUsed += AppendToLocation(mFrame.data + mFrameUsed, mFrame.filled - mFrameUsed);
    unsigned int const rest = mFrame.filled - mFrameUsed;
    if (rest != 0) {
        mBlocks.ReserveOne();
        std::memmove(mFrame.data, mFrame.data + mFrameUsed, rest);
        mBlocks.PushBack({rest, mFrame.data, mFrame.capacity});
        mAvailable += rest;
        mStreamEnd += rest;
    } else {
        FreeBlock({0, mFrame.data, mFrame.capacity});
    }
    mFrame = Growing();
    mFrameIsFull = false;
}

// Returns how many of the bytes belong to the text.
unsigned int SocketIChannel::AppendToLocation(char const * data, unsigned int count) {
    if (mLocationState < 0) {
        mBlocks.ReserveOne();
        AddLengthByte(&mLocation.length, mLocationState, *data);
        if (++mLocationState == 0) {
            mLocationState = mLocation.length;
            if (mLocationState == 0)
                FinishLocation();
        }
        return 1;
    }
    unsigned int const taken =
        static_cast<unsigned int>(std::min<long long>(mLocationState, count));
    mBlocks.ReserveOne();
    Grow(mLocation, taken);
    std::memcpy(mLocation.data + mLocation.filled, data, taken);
    mLocation.filled += taken;
    mLocationState -= taken;
    if (mLocationState == 0)
        FinishLocation();
    return taken;
}

void SocketIChannel::FinishLocation() {
    if (mLocation.data != nullptr)
        mLocation.data[mLocation.filled] = 0;
    mLocationBytes += mLocation.capacity;
    mBlocks.PushBack({LocationMark, mLocation.data, mLocation.capacity});
    mLocation = Growing();
}

// A selection for which there was no memory remains in place; otherwise its messages would go to
// another service.
void SocketIChannel::EatLocations() {
    Life::Mark const mark(mLife);
    while (!mIsEating && !mBlocks.IsEmpty() && mBlocks.GetFront().size == LocationMark) {
        char const * const text = mBlocks.GetFront().data;
        Location const location(text != nullptr ? text : "");
        if (location.GetStatus() == ErrMemoryFull)
            Mu::ThrowOutOfMemory();
        mIsEating = true; // it stays first meanwhile, and is not handed over again
        try {
            // It need not be legal: the name of a service is not a path with a drive.
            if (location.GetStatus() == NoError)
                mEndPoint.LocationArrived(location);
        } catch (...) {
            if (!mark.IsOver())
                mIsEating = false;
            throw;
        }
        if (mark.IsOver() || !std::exchange(mIsEating, false))
            return; // deleted, or cleared for another connection
        mLocationBytes -= mBlocks.GetFront().capacity;
        PopFront();
    }
}

// Reading.

unsigned long long SocketIChannel::LimitBySeparator(unsigned long long count) const {
    long long const nearest = mSeparatorIsEOI ? GetNearestSeparator() : -1;
    return nearest >= 0 ? std::min(count, static_cast<unsigned long long>(nearest)) : count;
}

// Drives the pool until that many bytes are available; returns how many are. The separator that
// ends a read may arrive meanwhile.
unsigned long long SocketIChannel::EnsureData(unsigned long long count, bool stopsAtSeparator,
                                              Life::Mark const & mark) {
    CommunicatorPool & pool = CommunicatorPool::Instance();
    unsigned long long want = stopsAtSeparator ? LimitBySeparator(count) : count;
    auto const isShort = [&] {
        if (mark.IsOver() || mStatus != NoError)
            return false;
        want = stopsAtSeparator ? LimitBySeparator(count) : count;
        mWanted = want;
        return mAvailable < want;
    };
    while (isShort()) {
        pool.Process();
        if (isShort())
            pool.Wait(CommunicatorPool::WaitStep);
    }
    if (mark.IsOver())
        return 0;
    mWanted = 0;
    return std::min(mAvailable, want);
}

// The common start of ReadBin, CopyBin and Skip; returns the status of a read of nothing.
MuErrCode SocketIChannel::Begin(unsigned long long count, unsigned long long * got,
                                Life::Mark const & mark) {
    *got = 0;
    if (mStatus != NoError || count == 0)
        return mStatus;
    *got = EnsureData(count, true, mark);
    if (mark.IsOver())
        return EOI;
    if (*got < count)
        mStatus = EOI;
    if (*got != 0)
        mPosition += *got;
    return mStatus;
}

// Passes the pieces of that many unread bytes to `use`.
template <typename Use>
void SocketIChannel::ForUnread(unsigned long long from, unsigned long long count, Use use) const {
    unsigned long long skip = from + mFirstOffset;
    for (std::size_t i = 0; count > 0 && i < mBlocks.GetSize(); ++i) {
        Block const & block = mBlocks[i];
        if (block.size == LocationMark)
            continue;
        if (skip >= block.size) {
            skip -= block.size;
            continue;
        }
        unsigned long long const piece = std::min(count, block.size - skip);
        use(block.data + skip, static_cast<std::size_t>(piece));
        count -= piece;
        skip = 0;
    }
}

// Removes that many available bytes from the blocks.
void SocketIChannel::Take(unsigned long long count, char * destination, Life::Mark const & mark) {
    EatLocations();
    while (count > 0 && !mark.IsOver() && !mBlocks.IsEmpty()) {
        Block const & block = mBlocks.GetFront();
        if (block.size == LocationMark)
            return; // the location that is being delivered
        unsigned int const piece = static_cast<unsigned int>(
            std::min<unsigned long long>(count, block.size - mFirstOffset));
        if (destination != nullptr) {
            std::memcpy(destination, block.data + mFirstOffset, piece);
            destination += piece;
        }
        count -= piece;
        PassOver(piece);
        mFirstOffset += piece;
        if (mFirstOffset == block.size) {
            PopFront();
            try {
                EatLocations();
            } catch (Mu::OutOfMemoryException const &) {
                // A read that got all its bytes keeps them; the next one retries the location.
                if (count > 0)
                    throw;
            }
        }
    }
}

void SocketIChannel::PassOver(unsigned int count) {
    unsigned long long const again = std::min<unsigned long long>(count, mPushedBack);
    mAvailable -= count;
    mPushedBack -= again;
    mTaken += count - again;
    while (!mSeparators.IsEmpty() && mSeparators.GetFront() < mTaken)
        mSeparators.PopFront();
}

MuErrCode SocketIChannel::ReadBin(char * data, unsigned int count, unsigned int * read) {
    Life::Mark const mark(mLife);
    unsigned long long got = 0;
    MuErrCode const status = mIsEating ? Error : Begin(count, &got, mark);
    if (read != nullptr)
        *read = static_cast<unsigned int>(got);
    if (got != 0)
        Take(got, data, mark);
    return status;
}

MuErrCode SocketIChannel::CopyBin(char * data, unsigned int count, unsigned int * copied) {
    Life::Mark const mark(mLife);
    unsigned long long got;
    MuErrCode const status = Begin(count, &got, mark);
    if (copied != nullptr)
        *copied = static_cast<unsigned int>(got);
    if (got != 0)
        ForUnread(0, got, [&](char const * piece, std::size_t size) {
            std::memcpy(data, piece, size);
            data += size;
        });
    return status;
}

MuErrCode SocketIChannel::Skip(unsigned long long count, unsigned long long * skipped) {
    Life::Mark const mark(mLife);
    unsigned long long got = 0;
    MuErrCode const status = mIsEating ? Error : Begin(count, &got, mark);
    if (skipped != nullptr)
        *skipped = got;
    if (got == 0)
        return status;
    Take(got, nullptr, mark);
    return NoError;
}

MuErrCode SocketIChannel::Look(unsigned int offset, char * c) {
    Life::Mark const mark(mLife);
    unsigned long long const needed = static_cast<unsigned long long>(offset) + 1;
    if (EnsureData(needed, false, mark) < needed)
        return EOI;
    ForUnread(offset, 1, [c](char const * piece, std::size_t) { *c = *piece; });
    return NoError;
}

bool SocketIChannel::IsEOI() {
    char c;
    return Look(0, &c) == EOI;
}

MuErrCode SocketIChannel::DirectInputAccess(unsigned int size, char ** data,
                                            unsigned int * available) {
    Life::Mark const mark(mLife);
    *data = nullptr;
    if (available != nullptr)
        *available = 0;
    if (mStatus != NoError)
        return mStatus;
    unsigned long long const got = EnsureData(std::max(size, 1u), true, mark);
    if (mark.IsOver())
        return EOI;
    unsigned long long there = 0;
    ForUnread(0, got == 0 ? 0 : std::max(got, mAvailable), [&](char const * piece, std::size_t n) {
        if (*data == nullptr) {
            *data = const_cast<char *>(piece);
            there = n;
        }
    });
    there = LimitBySeparator(there);
    if (size != 0)
        there = std::min<unsigned long long>(there, size);
    if (available != nullptr)
        *available = static_cast<unsigned int>(there);
    if (there >= std::max(size, 1u))
        return NoError;
    return got < std::max(size, 1u) ? EOI : Error;
}

MuErrCode SocketIChannel::PushBack(char const * data, unsigned int count) {
    if (count == 0 || mIsEating)
        return count == 0 ? NoError : Error;
    bool const isMoreThanRead = count > mTaken - mPushedBack;
    Block * const first = mBlocks.IsEmpty() ? nullptr : &mBlocks.GetFront();
    unsigned int const inFirst =
        first == nullptr || first->size == LocationMark ? 0 : std::min(mFirstOffset, count);
    unsigned int const rest = count - inFirst;
    if (rest != 0) {
        char * const block = static_cast<char *>(Mu::NewOrThrow(rest));
        bool const isOdd = isMoreThanRead && first != nullptr && first->size != LocationMark &&
                           rest <= first->size;
        try {
            mBlocks.Insert(isOdd ? mBlocks.GetSize() : 0, {rest, block, rest});
        } catch (Mu::OutOfMemoryException const &) {
            Mu::DeleteOperator(block);
            throw;
        }
        Block & front = mBlocks.GetFront();
        if (isOdd) {
            // Kept: if more is pushed back than was read, a zeroed block is put at the end, and the
            // data over the start of the first one.
            std::memset(block, 0, rest);
            std::memcpy(front.data, data + rest, inFirst);
            std::memcpy(front.data, data, rest);
        } else {
            // Only the first block can have an offset: the bytes already read of the old first one
            // are dropped.
            std::memcpy(block, data, rest);
            if (first != nullptr && inFirst != 0) {
                Block & old = mBlocks[1];
                std::memcpy(old.data + mFirstOffset - inFirst, data + rest, inFirst);
                std::memmove(old.data, old.data + mFirstOffset - inFirst,
                             old.size - (mFirstOffset - inFirst));
                old.size -= mFirstOffset - inFirst;
            }
        }
        mFirstOffset = 0;
    } else {
        mFirstOffset -= count;
        std::memcpy(first->data + mFirstOffset, data, count);
    }
    mAvailable += count;
    mPushedBack += count;
    return NoError;
}

MuErrCode SocketIChannel::GetInputPosition(unsigned long long * position) const {
    *position = mPosition;
    return NoError;
}

MuErrCode SocketIChannel::GetAvailable(unsigned int * available) const {
    *available = ~0u - static_cast<unsigned int>(mPosition);
    return NoError;
}

MuErrCode SocketIChannel::GetAvailable(unsigned long long * available) const {
    *available = ~0ull - mPosition;
    return NoError;
}

// Separators.

long long SocketIChannel::GetNearestSeparator() const {
    return mSeparators.IsEmpty() ? -1 : static_cast<long long>(mSeparators.GetFront() - mTaken);
}

MuErrCode SocketIChannel::EatSeparator() {
    Life::Mark const mark(mLife);
    long long const nearest = GetNearestSeparator();
    if (nearest < 0)
        return Error;
    if (nearest > 0) {
        MuErrCode const status = Skip(static_cast<unsigned long long>(nearest), nullptr);
        if (status != NoError || mark.IsOver())
            return status;
    }
    if (!mSeparators.IsEmpty())
        mSeparators.PopFront();
    return NoError;
}

MuErrCode SocketIChannel::WriteDetails(Mu::OChannel & channel) const {
    channel.Write(mPosition);
    channel.Write(mHasReceived);
    channel.Write(mRecvBufferSize);
    channel.Write(mFirstOffset);
    channel.Write(mAvailable);
    channel.Write(static_cast<int>(mFrameState));
    channel.Write(mFrame.length);
    channel.Write(mFrame.data != nullptr);
    channel.Write(mStatus);
    channel.Write(static_cast<int>(mLocationState));
    channel.Write(mLocation.length);
    Mu::String const begun(mLocation.data, mLocation.filled);
    channel.Write(begun);
    channel.Write(static_cast<unsigned int>(mBlocks.GetSize()));
    for (std::size_t i = 0; i < mBlocks.GetSize(); ++i) {
        channel.Write(mBlocks[i].size);
        if (mBlocks[i].size == LocationMark)
            channel.Write(Mu::String(mBlocks[i].data));
    }
    unsigned long long last = mSeparators.IsEmpty() ? 0 : mSeparators.GetBack() - mTaken;
    channel.Write(last);
    channel.Write(GetSeparatorCount());
    unsigned long long before = mTaken;
    for (std::size_t i = 0; i < mSeparators.GetSize(); ++i) {
        channel.Write(mSeparators[i] - before);
        before = mSeparators[i];
    }
    return channel.GetOutputStatus();
}

} // namespace IO::IPC
