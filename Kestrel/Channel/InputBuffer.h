#pragma once

#include <Kestrel/Channel/CopyBytes.h>
#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Export.h>

namespace IO {

/// A ring buffer that reads ahead from a source and accepts bytes that are put back.
///
/// The common part of all input channels: a channel contains one, provides the operation that
/// fetches bytes, and forwards its own reads to it. It is not a channel itself; to write one,
/// derive from IChannelAdapter.
///
/// If the source reports a failure together with enough bytes, the failure is deferred: the bytes
/// are returned without it, and the next operation that needs the source returns the status. So the
/// end of the input never hides the bytes in front of it.
///
/// Memory:  one block of the ring's size, allocated by the first operation that needs it and freed
///          by Reset. PushBack, Copy, Look and DirectAccess enlarge it by exactly what is missing,
///          up to the limit. Get and Skip never do.
/// Threads: one at a time; nothing here locks.
/// Failure: statuses, never exceptions, unless the source throws. They are sticky: afterwards,
///          bytes in the ring can still be read, each time with that status, and the source is not
///          called until ResetInputStatus, ResetEOI or Reset.
///          alone until ResetInputStatus, ResetEOI or Reset.
class KESTREL_API InputBuffer {
public:
    static constexpr unsigned int DefaultBufferSize = 4096;
    static constexpr unsigned int MinBufferSize = 32;
    static constexpr unsigned int MaxInitialBufferSize = 1000000000;
    static constexpr double DefaultReservedRatio = 0.01;

    /// The source of the bytes. This class itself is a source that is always at its end.
    class KESTREL_API BinInput {
    public:
        /// Stores up to `count` bytes in `destination` and their number in `*read`. Fewer than
        /// `count` must come with the status that explains it; bytes and a status may come in one
        /// call.
        virtual MuErrCode InternalRead(char * destination, unsigned int count, unsigned int * read);
        virtual ~BinInput() = default;
    };

    /// Allocates nothing and cannot fail. A null input is a source at its end. A size of 0 means
    /// DefaultBufferSize; others are limited to MinBufferSize ... MaxInitialBufferSize. A maximum
    /// of 0 means no limit; it is never below the size. `reservedRatio`, 0.0 to 1.0, is the share
    /// of the ring that reading ahead leaves free for PushBack.
    explicit InputBuffer(BinInput * input = nullptr, unsigned int bufferSize = 0,
                         unsigned int maxBufferSize = 0,
                         double reservedRatio = DefaultReservedRatio);
    ~InputBuffer();

    InputBuffer(InputBuffer const &) = delete;
    InputBuffer & operator=(InputBuffer const &) = delete;

    /// Reads one byte. If there is none, `*c` is unchanged.
    MuErrCode Get(char * c) {
        if (dataSize == 0 && !ReadDataToBuffer(1))
            return status;
        char const next = buffer[start];
        start = start + 1 == bufferSize ? 0 : start + 1;
        --dataSize;
        *c = next;
        return status;
    }
    /// Reads up to `count` bytes; `*read` receives their number, even on failure. If what is
    /// missing in the ring is at least as long as a read-ahead, it is read directly into
    /// `destination`.
    MuErrCode Get(char * destination, unsigned int count, unsigned int * read) {
        unsigned int const from = start;
        if (count > FewBytes || count > dataSize || count >= bufferSize - from)
            return GetMany(destination, count, read);
        // The copy between the two fields keeps them out of one vector register, which the next
        // call would have to split again.
        unsigned int const left = dataSize - count;
        start = from + count;
        CopyFewBytes(destination, buffer + from, count);
        dataSize = left;
        *read = count;
        return status;
    }
    /// Like Get, but the bytes remain unread, for which the ring must hold all of them. Error: they
    /// exceed the ring's limit.
    MuErrCode Copy(char * destination, unsigned int count, unsigned int * copied);
    /// The next byte, which remains unread. If there is none, `*c` is unchanged.
    MuErrCode Look(char * c) { return Look(0, c); }
    /// The byte at `offset` from the next one, which remains unread.
    MuErrCode Look(unsigned int offset, char * c);
    /// Inserts bytes in front of the unread ones, and clears an end of input. Error: the ring's
    /// limit is exceeded; nothing is inserted then.
    MuErrCode PushBack(char c);
    MuErrCode PushBack(char const * source, unsigned int count);
    /// Skips bytes, buffered or not; `*skipped` receives their number, even on failure, but is
    /// unchanged if there was no memory for the ring.
    MuErrCode Skip(unsigned long long count, unsigned long long * skipped);
    /// A pointer to `size` contiguous unread bytes, which remain unread. `*available` receives
    /// their number, fewer at the end of the input. A size of 0 returns what is contiguous without
    /// moving bytes, and the end of the input is not a failure then. The pointer is owned by the
    /// ring and valid until its next operation; it is null if a failure other than EOI occurred
    /// first.
    MuErrCode DirectAccess(unsigned int size, char ** data, unsigned int * available);

    /// The contiguous unread bytes from the next one on; null if there are none, or if they come
    /// with a failure. Owned by the ring and valid until its next operation.
    void GetReady(char const ** begin, char const ** end) const {
        bool const isReady = dataSize != 0 && status == NoError;
        *begin = isReady ? buffer + start : nullptr;
        *end = isReady ? *begin + (dataSize < bufferSize - start ? dataSize : bufferSize - start)
                       : nullptr;
    }
    /// Marks those before `next` as read, and returns their number.
    unsigned int TakeUpTo(char const * next) {
        unsigned int const taken = static_cast<unsigned int>(next - (buffer + start));
        dataSize -= taken;
        start = start + taken == bufferSize ? 0 : start + taken;
        return taken;
    }

    /// Whether there are no more bytes. Reads from the source if the ring is empty.
    bool IsEOI();
    /// Whether the ring is empty. Never reads from the source.
    bool IsEmpty() const { return dataSize == 0; }
    /// The number of unread bytes in the ring.
    unsigned int GetDataSize() const { return dataSize; }

    MuErrCode GetStatus() const { return status; }
    /// Clears the failure and a deferred one.
    void ResetInputStatus();
    /// Clears an end of the input, reported or deferred; any other failure remains.
    void ResetEOI();
    /// Discards the unread bytes. Statuses and memory remain.
    void ClearContent();
    /// Empties the buffer, clears failures and frees the memory. Source, sizes and buffering
    /// remain.
    void Reset();

    void SetBinInput(BinInput & input);
    BinInput & GetBinInput() const { return *binInput; }
    /// Restores the source that is always at its end.
    void ClearBinInput();

    // With buffering disabled, only requested bytes are fetched. What is in the ring remains there.
    void EnableBuffering() { bufferingEnabled = true; }
    void DisableBuffering() { bufferingEnabled = false; }
    bool IsBufferingEnabled() const { return bufferingEnabled; }

private:
    void ComputeReadBlockLength();
    char * AllocateBuffer(unsigned int size);
    char * GetBuffer();
    bool ReallocBuffer(unsigned long long newSize);
    unsigned int ReadData(char * destination, unsigned int minimum, unsigned int maximum);
    bool ReadDataToBuffer(unsigned long long count);
    unsigned int GetRest(char * destination, unsigned int count);
    MuErrCode GetMany(char * destination, unsigned int count, unsigned int * read);
    unsigned int CopyDataFromBuffer(char * destination, unsigned int count) const;
    void MoveDataFromBuffer(char * destination, unsigned int count);
    bool MakeRoom(unsigned int count);
    bool Compact();
    unsigned int After(unsigned int from, unsigned int by) const;
    unsigned int Before(unsigned int from, unsigned int by) const;

    char * buffer = nullptr;      // the ring, owned; null until the first operation that needs it
    unsigned int bufferSize;      // <= maxBufferSize
    unsigned int maxBufferSize;   // the ring may grow to this
    unsigned int start = 0;       // index of the first unread byte, < bufferSize
    unsigned int dataSize = 0;    // unread bytes, <= bufferSize; they wrap at its end
    BinInput * binInput;          // not owned, never null
    bool bufferingEnabled = true; // reads ahead
    double reservedRatio;         // 0.0 to 1.0
    unsigned int readBlockLength; // what reading ahead tries to hold, 1 to bufferSize
    MuErrCode status = NoError;   // what operations return
    MuErrCode pendingStatus = NoError; // came with enough bytes; applies from the next read on
};

} // namespace IO
