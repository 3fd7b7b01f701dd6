#pragma once

#include <Kestrel/Root/Streams/ChannelWindow.h>
#include <Kestrel/Root/Streams/OProtocol.h>
#include <Kestrel/Root/Types.h>

namespace Mu {

/// A stream of bytes to write to, with typed writes through its current protocol.
///
/// Threads: one at a time.
/// Failure: statuses, never exceptions. They are sticky until ResetOutputStatus.
class KESTREL_API OChannel {
public:
    virtual ~OChannel();
    OChannel(OChannel const &) = delete;
    OChannel & operator=(OChannel const &) = delete;

    // All out-parameters for counts may be null.

    virtual MuErrCode WriteBin(char const * source, unsigned int count, unsigned int * written) = 0;
    /// A pointer to the bytes at `offset` behind the write position, after PopMark has set it back.
    virtual MuErrCode DirectOutputAccess(unsigned int offset, char ** data,
                                         unsigned int * available) = 0;
    virtual MuErrCode GetOutputPosition(unsigned long long * position) const = 0;
    /// Passes all buffered bytes to their destination.
    virtual MuErrCode Flush() = 0;
    virtual void SetDefaultOutputProtocol() = 0;
    virtual void SetOutputProtocol(OProtocol & protocol);
    /// Stores the write position; nothing is sent while a mark exists.
    virtual MuErrCode PushMark() = 0;
    /// Returns to the last mark, so that the bytes behind it can be overwritten.
    virtual MuErrCode PopMark() = 0;
    /// The distance from the write position to the end of the written bytes.
    virtual unsigned int GetOffset() const = 0;
    /// Returns to the end of the written bytes.
    virtual void ResetOffset() = 0;
    virtual MuErrCode GetOutputStatus() const = 0;
    virtual void ResetOutputStatus() = 0;

    OProtocol & GetOutputProtocol() const { return *outputProtocol; }

    MuErrCode Write(bool value) { return WriteNumber(value); }
    MuErrCode Write(char value) { return WriteNumber(value); }
    MuErrCode Write(unsigned char value) { return WriteNumber(value); }
    MuErrCode Write(short value) { return WriteNumber(value); }
    MuErrCode Write(unsigned short value) { return WriteNumber(value); }
    MuErrCode Write(int value) { return WriteNumber(value); }
    MuErrCode Write(unsigned int value) { return WriteNumber(value); }
    MuErrCode Write(long value) { return WriteNumber(value); }
    MuErrCode Write(unsigned long value) { return WriteNumber(value); }
    MuErrCode Write(long long value) { return WriteNumber(value); }
    MuErrCode Write(unsigned long long value) { return WriteNumber(value); }
    MuErrCode Write(float value) { return WriteNumber(value); }
    MuErrCode Write(double value) { return WriteNumber(value); }
    MuErrCode Write(long double value) { return WriteNumber(value); }
    MuErrCode Write(char const * text) { return outputProtocol->Write(*this, text); }
    MuErrCode Write(Guid const & value) { return outputProtocol->Write(*this, value); }
    MuErrCode Write(Object const & value) { return outputProtocol->Write(*this, value); }
    MuErrCode WriteUShort(unsigned short value) { return WriteNumber(value); }

    // Readable text, independent of the protocol: no length, no terminator. A failure is stored in
    // the channel's status.
    OChannel & operator<<(char const * text);
    OChannel & operator<<(char c) { return outputWindow.PutNumber(c) ? *this : WriteCharacter(c); }
    OChannel & operator<<(unsigned int value);
    OChannel & operator<<(float value);
    OChannel & operator<<(double value);
    OChannel & operator<<(void const * pointer);

protected:
    explicit OChannel(OProtocol & protocol) : outputProtocol(&protocol) {}

    // For buffered channels; see ChannelWindow. Mutable, as const operations note how far it was
    // filled.
    void OpenOutputWindow(char * begin, char * end, bool numbersToo) const {
        outputWindow.Open(begin, end, numbersToo, outputProtocol->IsPlain());
    }
    mutable OutputWindow outputWindow;

private:
    template <typename T>
    MuErrCode WriteNumber(T value) {
        if (outputWindow.PutNumber(value)) [[likely]]
            return NoError;
        return outputProtocol->Write(*this, value);
    }
    OChannel & WriteCharacter(char c);

    OProtocol * outputProtocol; // not owned, never null
};

/// Writes every value as text, without length or terminator. Stateless.
KESTREL_API extern OProtocol & textOProtocol;

} // namespace Mu
