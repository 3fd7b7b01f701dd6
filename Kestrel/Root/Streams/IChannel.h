#pragma once

#include <Kestrel/Root/Streams/ChannelWindow.h>
#include <Kestrel/Root/Streams/IProtocol.h>
#include <Kestrel/Root/Types.h>

namespace Mu {

class InputFrame;

/// A stream of bytes to read from, with typed reads through its current protocol.
///
/// Threads: one at a time.
/// Failure: statuses, never exceptions. They are sticky until ResetInputStatus.
class KESTREL_API IChannel {
public:
    virtual ~IChannel();
    IChannel(IChannel const &) = delete;
    IChannel & operator=(IChannel const &) = delete;

    // All out-parameters for counts may be null.

    /// Reads up to `count` bytes. Fewer, with the number in `*read`, are returned only with a
    /// status: EOI at the end.
    virtual MuErrCode ReadBin(char * destination, unsigned int count, unsigned int * read) = 0;
    /// Like ReadBin, but the bytes remain unread.
    virtual MuErrCode CopyBin(char * destination, unsigned int count, unsigned int * copied) = 0;
    /// The byte at `offset` from the next one; all bytes remain unread. EOI: there are fewer.
    virtual MuErrCode Look(unsigned int offset, char * c) = 0;
    // These insert bytes in front of the unread ones. After a failure nothing is changed.
    virtual MuErrCode PushBack(char c);
    virtual MuErrCode PushBack(char const * source, unsigned int count) = 0;
    /// Skips up to `count` bytes; `*skipped` receives the number.
    virtual MuErrCode Skip(unsigned long long count, unsigned long long * skipped) = 0;
    /// A pointer to `size` unread bytes in the buffer (0: as many as there are); they remain
    /// unread. Owned by the channel and valid until its next operation. Fewer, with the number in
    /// `*available`, are returned only with a status.
    virtual MuErrCode DirectInputAccess(unsigned int size, char ** data,
                                        unsigned int * available) = 0;
    virtual MuErrCode GetInputPosition(unsigned long long * position) const = 0;
    /// The number of bytes that can be read without waiting. Calls the 64-bit overload; Error for a
    /// number above 32 bits.
    virtual MuErrCode GetAvailable(unsigned int * available) const;
    /// Error and 0 unless overridden.
    virtual MuErrCode GetAvailable(unsigned long long * available) const;
    /// Whether there are no more bytes. Tries to get one, so it may read and wait.
    virtual bool IsEOI();
    virtual void SetDefaultInputProtocol() = 0;
    virtual void SetInputProtocol(IProtocol & protocol);
    virtual MuErrCode GetInputStatus() const = 0;
    virtual void ResetInputStatus() = 0;

    IProtocol & GetInputProtocol() const { return *inputProtocol; }

    // Numbers, read by the protocol. Unless the status is NoError, the value is unchanged.

    MuErrCode Read(bool & value) { return ReadNumber(value); }
    MuErrCode Read(char & value) { return ReadNumber(value); }
    MuErrCode Read(unsigned char & value) { return ReadNumber(value); }
    MuErrCode Read(short & value) { return ReadNumber(value); }
    MuErrCode Read(unsigned short & value) { return ReadNumber(value); }
    MuErrCode Read(int & value) { return ReadNumber(value); }
    MuErrCode Read(unsigned int & value) { return ReadNumber(value); }
    MuErrCode Read(long & value) { return ReadNumber(value); }
    MuErrCode Read(unsigned long & value) { return ReadNumber(value); }
    MuErrCode Read(long long & value) { return ReadNumber(value); }
    MuErrCode Read(unsigned long long & value) { return ReadNumber(value); }
    MuErrCode Read(float & value) { return ReadNumber(value); }
    MuErrCode Read(double & value) { return ReadNumber(value); }
    MuErrCode Read(long double & value) { return ReadNumber(value); }

    MuErrCode Read(Guid & value) { return inputProtocol->Read(*this, value); }
    MuErrCode Read(Object & value) { return inputProtocol->Read(*this, value); }
    /// The overload without a limit, which trusts the writer with the length; see IProtocol.
    MuErrCode Read(char * text) { return inputProtocol->Read(*this, text); }

    /// The number of bytes left in the innermost frame that is being read, and so the limit for a
    /// length read from it; the largest number outside of frames. See InputFrame.
    unsigned long long GetReadLimit() const;

    /// The status for a value that was truncated: an end of input becomes Error, since a broken
    /// object is not a clean end; any other failure is returned unchanged.
    static MuErrCode ConvertObjectReadError(int status);

protected:
    explicit IChannel(IProtocol & protocol) : inputProtocol(&protocol) {}

    // For buffered channels; see ChannelWindow. Mutable, as const operations note how far it was
    // read.
    void OpenInputWindow(char const * begin, char const * end, bool numbersToo) const {
        inputWindow.Open(begin, end, numbersToo, inputProtocol->IsPlain());
    }
    mutable InputWindow inputWindow;

private:
    friend class InputFrame;
    template <typename T>
    MuErrCode ReadNumber(T & value) {
        if (inputWindow.GetNumber(value)) [[likely]]
            return NoError;
        // Not into `value`: its address does not escape, so it may stay in a register.
        T rest{};
        MuErrCode const status = inputProtocol->Read(*this, rest);
        if (status == NoError)
            value = rest;
        return status;
    }

    IProtocol * inputProtocol;    // not owned, never null
    InputFrame * frame = nullptr; // the innermost one that is being read
};

} // namespace Mu
