#include <Kestrel/IPC/SocketOChannel.h>

#include <Kestrel/Channel/BinProtocol.h>
#include <Kestrel/IPC/CommunicatorPool.h>
#include <Kestrel/IPC/EndPoint.h>
#include <Kestrel/IPC/Internal/BlockStore.h>
#include <Kestrel/Root/Log/Logger.h>
#include <Kestrel/Root/Text/PlatformConversion.h>
#include <Kestrel/Socket/SocketFunctions.h>

#include <algorithm>
#include <cstring>

namespace IO::IPC {

namespace {

constexpr char SeparatorTag = 'S';
constexpr char ServiceTag = 'L';
constexpr char DataTag = 'D';

void LogCount(char const * message, unsigned int count) {
    static Mu::InfoLogLine line("IO::IPC::SocketOChannel%%", "IO", "IPC");
    Mu::LogComposer composer;
    composer.Append(message);
    composer.Append(count);
    Mu::logger.Append(line, &composer);
}

} // namespace

SocketOChannel::SocketOChannel(unsigned int blockSize)
    : OChannel(binOProtocol), mBlockSize(std::max(blockSize, 1u)) {}

SocketOChannel::~SocketOChannel() {
    Clear();
}

void SocketOChannel::SetDefaultOutputProtocol() {
    SetOutputProtocol(binOProtocol);
}

// Blocks.

char * SocketOChannel::TakeBlock() {
    std::size_t const size = std::size_t{mBlockSize} + HeaderSize;
    return HeaderSize + (size == BlockStore::BlockSize ? BlockStore::Instance().Take()
                                                       : static_cast<char *>(Mu::NewOrThrow(size)));
}

void SocketOChannel::FreeBlock(char * block) {
    if (mBlockSize + HeaderSize == BlockStore::BlockSize)
        BlockStore::Instance().Give(block - HeaderSize);
    else
        Mu::DeleteOperator(block - HeaderSize);
}

void SocketOChannel::Alloc(unsigned int need) {
    unsigned long long const used = static_cast<unsigned long long>(mBlockSize) - mLastFree + need;
    std::size_t const before = mBlocks.GetSize();
    try {
        for (unsigned long long more = used / mBlockSize; more > 0; --more) {
            mBlocks.ReserveOne();
            mBlocks.PushBack(TakeBlock());
        }
    } catch (Mu::OutOfMemoryException const &) {
        while (mBlocks.GetSize() > before) {
            FreeBlock(mBlocks.GetBack());
            mBlocks.PopBack();
        }
        throw;
    }
    mLastFree = mBlockSize - static_cast<unsigned int>(used % mBlockSize);
}

void SocketOChannel::Clear() {
    while (!mBlocks.IsEmpty()) {
        FreeBlock(mBlocks.GetFront());
        mBlocks.PopFront();
    }
    mMetaChars.Clear();
    mSeparatorCount = mPendingRaw = mLastFree = mOffset = mTotalWritten = 0;
    mFirstOffset = 0;
}

// The address of the byte `offset` before the end, and how many follow it in its block.
char * SocketOChannel::GetAt(unsigned int offset, unsigned int * contiguous) const {
    unsigned long long const size =
        static_cast<unsigned long long>(mBlocks.GetSize()) * mBlockSize - mLastFree;
    unsigned long long const at = size - offset;
    unsigned int const inBlock = static_cast<unsigned int>(at % mBlockSize);
    *contiguous = std::min(mBlockSize - inBlock, offset);
    return mBlocks[at / mBlockSize] + inBlock;
}

// Bytes of buffered data, without the tags and headers before them.
unsigned long long SocketOChannel::GetBuffered() const {
    long long const size = static_cast<long long>(mBlocks.GetSize()) * mBlockSize - mLastFree;
    return static_cast<unsigned long long>(size - mFirstOffset - mPendingRaw);
}

// Writing.

MuErrCode SocketOChannel::WriteBin(char const * data, unsigned int count, unsigned int * written) {
    if (written != nullptr)
        *written = 0;
    if (mStatus != NoError)
        return mStatus;
    if (count == 0)
        return NoError;
    WakeOwner();
    if (mOffset < count) {
        unsigned int const need = count - mOffset;
        if (mLastFree >= need)
            mLastFree -= need;
        else
            Alloc(need);
        mOffset += need;
        mEnd += need;
    }
    for (unsigned int done = 0; done < count;) {
        unsigned int contiguous;
        char * const to = GetAt(mOffset, &contiguous);
        unsigned int const piece = std::min(contiguous, count - done);
        std::memcpy(to, data + done, piece);
        done += piece;
        mOffset -= piece;
    }
    mTotalWritten += count;
    if (written != nullptr)
        *written = count;
    return NoError;
}

MuErrCode SocketOChannel::DirectOutputAccess(unsigned int offset, char ** data,
                                             unsigned int * available) {
    *data = nullptr;
    unsigned int there = 0;
    if (mStatus == NoError && offset < mOffset)
        *data = GetAt(mOffset - offset, &there);
    if (available != nullptr)
        *available = there;
    return mStatus != NoError ? mStatus : there != 0 ? NoError : Error;
}

MuErrCode SocketOChannel::GetOutputPosition(unsigned long long * position) const {
    *position = mTotalWritten;
    return NoError;
}

MuErrCode SocketOChannel::CopyBinOutput(char * data, unsigned int count, unsigned int * copied) {
    unsigned int const most = mStatus == NoError ? std::min(count, mOffset) : 0;
    for (unsigned int done = 0; done < most;) {
        unsigned int contiguous;
        char const * const from = GetAt(mOffset - done, &contiguous);
        unsigned int const piece = std::min(contiguous, most - done);
        std::memcpy(data + done, from, piece);
        done += piece;
    }
    if (copied != nullptr)
        *copied = most;
    return mStatus;
}

MuErrCode SocketOChannel::PushMark() {
    if (mStatus == NoError)
        mMarks.push_back(mEnd - mOffset);
    return mStatus;
}

MuErrCode SocketOChannel::PopMark() {
    if (mStatus != NoError)
        return mStatus;
    if (mMarks.empty())
        return Error;
    // A mark left by an earlier connection refers to data that no longer exists.
    mOffset = static_cast<unsigned int>(std::min(mEnd - mMarks.back(), GetBuffered()));
    mMarks.pop_back();
    return NoError;
}

MuErrCode SocketOChannel::OpenBlock() {
    PushMark();
    Write(0u);
    return PushMark();
}

MuErrCode SocketOChannel::CloseBlock() {
    MuErrCode status = PopMark();
    unsigned int const size = GetOffset();
    if (status == NoError)
        status = PopMark();
    if (status != NoError)
        return status; // the block was opened on a connection that is lost
    status = Write(size);
    ResetOffset();
    return status;
}

MuErrCode SocketOChannel::WriteSeparator() {
    return mStatus != NoError ? mStatus : WriteMetaChar(SeparatorTag);
}

MuErrCode SocketOChannel::WriteServiceSign() {
    return WriteMetaChar(ServiceTag);
}

MuErrCode SocketOChannel::WriteMetaChar(char tag) {
    WakeOwner();
    unsigned long long const position = mEnd - mOffset;
    std::size_t index = mMetaChars.GetSize();
    while (index > 0 &&
           (mMetaChars[index - 1].position > position ||
            (mMetaChars[index - 1].position == position && mMetaChars[index - 1].tag < tag)))
        --index;
    mMetaChars.Insert(index, {position, tag});
    if (tag == SeparatorTag)
        LogCount("::WriteMetaChar,  mSeparatorCount++ = ", ++mSeparatorCount);
    return NoError;
}

// Sending.

// How many bytes at the end are retained: those after a mark, after a tag that must be sent before,
// and after the write position, where bytes will be overwritten.
unsigned long long SocketOChannel::GetLimit() const {
    unsigned long long limit = mOffset;
    for (unsigned long long const mark : mMarks)
        limit = std::max(limit, mEnd - mark);
    if (!mMetaChars.IsEmpty())
        limit = std::max(limit, mEnd - mMetaChars.GetFront().position);
    return limit;
}

bool SocketOChannel::IsMetaAtHead() const {
    return !mMetaChars.IsEmpty() && mEnd - mMetaChars.GetFront().position == GetBuffered();
}

bool SocketOChannel::HasSendable() const {
    return mStatus == NoError && (mPendingRaw > 0 || GetBuffered() > GetLimit() || IsMetaAtHead());
}

bool SocketOChannel::HasUnsent() const {
    return mPendingRaw > 0 || !mMetaChars.IsEmpty() || GetBuffered() > 0;
}

void SocketOChannel::WakeOwner() {
    mIsFresh = true;
    if (mOwner != nullptr)
        mOwner->Wake();
}

void SocketOChannel::TakeMetaFromFront() {
    if (mMetaChars.GetFront().tag == SeparatorTag)
        LogCount("::ProcessWrite,  mSeparatorCount-- = ", --mSeparatorCount);
    mMetaChars.PopFront();
}

// Puts the tags at the head before the data, as many as fit, in their order.
void SocketOChannel::PutTags() {
    if (mBlocks.IsEmpty()) {
        mBlocks.ReserveOne();
        mBlocks.PushBack(TakeBlock());
        mLastFree = mBlockSize;
    }
    unsigned int const room = static_cast<unsigned int>(mFirstOffset) + HeaderSize;
    unsigned long long const head = mMetaChars.GetFront().position;
    unsigned int count = 1;
    while (count < std::min<std::size_t>(room, mMetaChars.GetSize()) &&
           mMetaChars[count].position == head)
        ++count;
    mFirstOffset -= static_cast<int>(count);
    mPendingRaw = count;
    for (char * at = mBlocks.GetFront() + mFirstOffset; count > 0; --count) {
        *at++ = mMetaChars.GetFront().tag;
        TakeMetaFromFront();
    }
}

void SocketOChannel::ProcessWrite(unsigned long long socket) {
    mIsFresh = false;
    if (mStatus != NoError || (mPendingRaw > 0 && !TrySendRaw(socket, mPendingRaw)))
        return;
    for (;;) {
        unsigned long long const buffered = GetBuffered();
        unsigned long long const limit = GetLimit();
        unsigned long long sendable = buffered > limit ? buffered - limit : 0;
        if (sendable == 0) {
            if (!IsMetaAtHead())
                return; // the rest waits for a mark, or for more
            PutTags();
            if (!TrySendRaw(socket, mPendingRaw))
                return;
        }
        while (sendable > 0) {
            unsigned int const count = static_cast<unsigned int>(
                std::min<unsigned long long>(sendable, mBlockSize - mFirstOffset));
            if (!TrySend(socket, count))
                return;
            sendable -= count;
        }
    }
}

// Tags directly after the last data are sent with it where there is room, to save a system call and
// a packet. They remain queued until they have been sent.
unsigned int SocketOChannel::PutTail(unsigned int count) {
    char * const end = mBlocks.GetFront() + mFirstOffset + count;
    if (mBlocks.GetSize() > 1 || end != mBlocks.GetFront() + mBlockSize - mLastFree)
        return 0;
    unsigned int tail = 0;
    while (tail < std::min<std::size_t>(mLastFree, mMetaChars.GetSize()) &&
           mMetaChars[tail].position == mEnd) {
        end[tail] = mMetaChars[tail].tag;
        ++tail;
    }
    return tail;
}

bool SocketOChannel::TrySend(unsigned long long socket, unsigned int count) {
    mFirstOffset -= static_cast<int>(HeaderSize);
    char * const header = mBlocks.GetFront() + mFirstOffset;
    header[0] = DataTag;
    unsigned int length = count;
    IVULong(Mu::WindowsSign, &length);
    std::memcpy(header + 1, &length, sizeof(length));
    return TrySendRaw(socket, count + HeaderSize, PutTail(count + HeaderSize));
}

// True: everything has been sent.
bool SocketOChannel::TrySendRaw(unsigned long long socket, unsigned int count, unsigned int tail) {
    unsigned int sent = 0;
    if (Socket::Send(socket, mBlocks.GetFront() + mFirstOffset, count + tail, &sent) != NoError &&
        Socket::GetLastError() != Socket::WouldBlock) {
        Fail(socket);
        return false;
    }
    for (; sent > count; --sent)
        TakeMetaFromFront();
    mFirstOffset += static_cast<int>(sent);
    mPendingRaw = count - sent;
    if (mFirstOffset == static_cast<int>(mBlockSize)) {
        FreeBlock(mBlocks.GetFront());
        mBlocks.PopFront();
        mFirstOffset = 0;
    }
    return mPendingRaw == 0;
}

void SocketOChannel::Fail(unsigned long long socket) {
    if (mOwner != nullptr)
        mOwner->CloseAfterFailure(socket);
    else
        Socket::Close(socket);
    GoToErrorState(OutputClosed);
}

void SocketOChannel::GoToErrorState(int status) {
    mStatus = status;
    Clear();
}

MuErrCode SocketOChannel::Flush() {
    if (mStatus != NoError || !HasSendable())
        return mStatus;
    CommunicatorPool & pool = CommunicatorPool::Instance();
    Life::Mark const mark(mLife);
    for (;;) {
        pool.Process();
        if (mark.IsOver())
            return OutputClosed;
        if (!HasSendable())
            return mStatus;
        pool.Wait(CommunicatorPool::WaitStep);
    }
}

MuErrCode SocketOChannel::WriteDetails(Mu::OChannel & channel) const {
    channel.Write(mSeparatorCount);
    channel.Write(static_cast<unsigned int>(mBlocks.GetSize()));
    channel.Write(mBlockSize);
    channel.Write(mPendingRaw);
    channel.Write(mFirstOffset);
    channel.Write(mLastFree);
    channel.Write(mOffset);
    channel.Write(mStatus);
    channel.Write(mTotalWritten);
    channel.Write(static_cast<unsigned int>(mMarks.size()));
    for (unsigned long long const mark : mMarks)
        channel.Write(static_cast<unsigned int>(mEnd - mark));
    channel.Write(static_cast<unsigned int>(mMetaChars.GetSize()));
    for (std::size_t i = 0; i < mMetaChars.GetSize(); ++i) {
        channel.Write(static_cast<unsigned int>(mEnd - mMetaChars[i].position));
        channel.Write(mMetaChars[i].tag);
    }
    return channel.GetOutputStatus();
}

} // namespace IO::IPC
