#pragma once

#include <Kestrel/Channel/CopyBytes.h>
#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Export.h>

namespace IO {

/// A ring of bytes that reads ahead from a source and takes bytes back.
///
/// The part of an input channel that is the same for all of them: a channel holds one, gives it
/// the one operation that fetches bytes, and forwards its own reads here. Not a channel itself;
/// for one, derive from IChannelAdapter.
///
/// A failure that the source reports together with enough bytes is deferred: the bytes come first
/// and without a failure, and the status shows up at the next operation that needs the source. So
/// an end of input never hides the bytes in front of it.
///
/// Memory:  one block of the ring's size, taken by the first operation that needs it, kept until
///          Reset. PushBack, Copy, Look and DirectAccess enlarge it, by exactly what is missing and
///          to the given limit at most. Get and Skip never do.
/// Threads: one at a time; nothing here locks.
/// Failure: statuses, never exceptions, unless the source throws. They stick: after one, bytes that
///          are in the ring can still be had, each time with that status, and the source is left
///          alone until ResetInputStatus, ResetEOI or Reset.
class KESTREL_API InputBuffer {
public:
    static constexpr unsigned int DefaultBufferSize = 4096;
    static constexpr unsigned int MinBufferSize = 32;
    static constexpr unsigned int MaxInitialBufferSize = 1000000000;
    static constexpr double DefaultReservedRatio = 0.01;

    /// Where the bytes come from. This class itself is the source that is always at its end.
    class KESTREL_API BinInput {
    public:
        /// Fills `destination` with up to `count` bytes and returns in `*read` how many. Fewer than
        /// `count` should come with the status that says why, as nobody else can know; bytes and a
        /// status may come in one call.
        virtual MuErrCode InternalRead(char * destination, unsigned int count, unsigned int * read);
        virtual ~BinInput() = default;
    };

    /// Takes no memory and cannot fail. A null input is the source at its end. A size of 0 means
    /// DefaultBufferSize; others are brought into MinBufferSize ... MaxInitialBufferSize. A maximum
    /// of 0 means no limit; it is never below the size. `reservedRatio`, 0.0 to 1.0, is the share
    /// of the ring that reading ahead leaves free for PushBack.
    explicit InputBuffer(BinInput * input = nullptr, unsigned int bufferSize = 0,
                         unsigned int maxBufferSize = 0,
                         double reservedRatio = DefaultReservedRatio);
    ~InputBuffer();

    InputBuffer(InputBuffer const &) = delete;
    InputBuffer & operator=(InputBuffer const &) = delete;

    /// Takes one byte. Without one, `*c` stays as it was.
    MuErrCode Get(char * c) {
        if (dataSize == 0 && !ReadDataToBuffer(1))
            return status;
        char const next = buffer[start];
        start = start + 1 == bufferSize ? 0 : start + 1;
        --dataSize;
        *c = next;
        return status;
    }
    /// Takes up to `count` bytes; `*read` receives how many, also beside a failure. What is missing
    /// in the ring and is no shorter than a read-ahead goes to `destination` directly.
    MuErrCode Get(char * destination, unsigned int count, unsigned int * read) {
        unsigned int const from = start;
        if (count > FewBytes || count > dataSize || count >= bufferSize - from)
            return GetMany(destination, count, read);
        // The copy stands between the two fields to keep them out of one vector register, which the
        // next call would have to take apart again.
        unsigned int const left = dataSize - count;
        start = from + count;
        CopyFewBytes(destination, buffer + from, count);
        dataSize = left;
        *read = count;
        return status;
    }
    /// As Get, but the bytes stay unread, for which the ring must hold all of them.
    /// Error: they are more than the ring may hold.
    MuErrCode Copy(char * destination, unsigned int count, unsigned int * copied);
    /// The next byte, left unread. Without one, `*c` stays as it was.
    MuErrCode Look(char * c) { return Look(0, c); }
    /// The byte at `offset` from the next one, left unread.
    MuErrCode Look(unsigned int offset, char * c);
    /// Puts bytes in front of the unread ones, and takes back an end of input that was met.
    /// Error: the ring may not hold as many; nothing was put.
    MuErrCode PushBack(char c);
    MuErrCode PushBack(char const * source, unsigned int count);
    /// Drops bytes, buffered or not; `*skipped` receives how many, also beside a failure, but stays
    /// as it was when there was no memory for the ring.
    MuErrCode Skip(unsigned long long count, unsigned long long * skipped);
    /// A pointer to `size` unread bytes that lie in one piece; they stay unread. `*available` says
    /// how many there are, fewer at the end of the input. A size of 0 asks for what fits without
    /// moving anything, and the end of the input is no failure then. The pointer is owned by the
    /// ring and valid until its next operation; it is null when a failure other than EOI came
    /// first.
    MuErrCode DirectAccess(unsigned int size, char ** data, unsigned int * available);

    /// The unread bytes that lie in one piece from the next one on; null when there are none, or they
    /// come with a failure. Owned by the ring and valid until its next operation.
    void GetReady(char const ** begin, char const ** end) const {
        bool const isReady = dataSize != 0 && status == NoError;
        *begin = isReady ? buffer + start : nullptr;
        *end = isReady ? *begin + (dataSize < bufferSize - start ? dataSize : bufferSize - start)
                       : nullptr;
    }
    /// Takes those up to `next`, and returns how many they were.
    unsigned int TakeUpTo(char const * next) {
        unsigned int const taken = static_cast<unsigned int>(next - (buffer + start));
        dataSize -= taken;
        start = start + taken == bufferSize ? 0 : start + taken;
        return taken;
    }

    /// Whether no byte is left. Reads, when the ring is empty.
    bool IsEOI();
    /// Whether the ring is empty. Never reads.
    bool IsEmpty() const { return dataSize == 0; }
    /// How many unread bytes are in the ring.
    unsigned int GetDataSize() const { return dataSize; }

    MuErrCode GetStatus() const { return status; }
    /// Forgets the failure and a deferred one.
    void ResetInputStatus();
    /// Forgets an end of input, met or deferred; another failure stays.
    void ResetEOI();
    /// Drops the unread bytes. Statuses and memory stay.
    void ClearContent();
    /// Empty and healthy, and without memory. Source, sizes and buffering stay.
    void Reset();

    void SetBinInput(BinInput & input);
    BinInput & GetBinInput() const { return *binInput; }
    /// Back to the source that is always at its end.
    void ClearBinInput();

    // With buffering off, only what is asked for is fetched. What the ring holds stays in it.
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
    MuErrCode pendingStatus = NoError; // came with enough bytes; counts from the next read on
};

} // namespace IO
