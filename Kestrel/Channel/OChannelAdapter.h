#pragma once

#include <Kestrel/Channel/OutputBuffer.h>
#include <Kestrel/Root/Streams/OChannel.h>

namespace IO {

/// An output channel over an OutputBuffer, whole but for where the bytes go.
///
/// To make a channel, derive from this and from OutputBuffer::BinOutput and call
/// SetBinOutput(*this) in the constructor, or hold a private object that is a BinOutput. One
/// operation is left to implement, SetDefaultOutputProtocol. The destructor does not flush, for the
/// sink of the derived class is gone by then: a channel that must not lose bytes flushes in its
/// own.
///
/// Memory:  blocks of 16384 bytes, the first taken by the first write, as documented at
///          OutputBuffer.
/// Threads: one at a time.
/// Failure: those of OutputBuffer; none are added.
class KESTREL_API OChannelAdapter : public Mu::OChannel {
public:
    ~OChannelAdapter() override;

    // Out-parameters that count may be null here.

    // Kept: `*written` is `count` whatever came of it. Bytes wait in the buffer, so there is no
    // telling how many arrive; the status is what counts.
    KESTREL_INLINE_API MuErrCode WriteBin(char const * source, unsigned int count,
                                          unsigned int * written) override {
        if (written != nullptr)
            *written = count;
        return buffer.Put(source, count);
    }
    MuErrCode DirectOutputAccess(unsigned int offset, char ** data,
                                 unsigned int * available) override;
    /// Where the next byte goes, counted from the first one ever written; it goes back with PopMark
    /// and returns with ResetOffset. Always NoError.
    MuErrCode GetOutputPosition(unsigned long long * position) const override;
    MuErrCode Flush() override;
    MuErrCode PushMark() override;
    MuErrCode PopMark() override;
    unsigned int GetOffset() const override;
    void ResetOffset() override;
    MuErrCode GetOutputStatus() const override;
    void ResetOutputStatus() override;

    void EnableOutputBuffering() { buffer.EnableBuffering(); }
    void DisableOutputBuffering() { buffer.DisableBuffering(); }
    bool IsOutputBufferingEnabled() const { return buffer.IsBufferingEnabled(); }

protected:
    explicit OChannelAdapter(Mu::OProtocol & protocol);

    void SetBinOutput(OutputBuffer::BinOutput & output) { buffer.SetBinOutput(output); }
    void ClearBinOutput() { buffer.ClearBinOutput(); }
    OutputBuffer::BinOutput & GetBinOutput() const { return buffer.GetBinOutput(); }
    unsigned int GetDataSizeInOutputBuffer() const { return buffer.GetDataSize(); }
    /// Drops what is buffered, the marks, the status and the blocks.
    void ResetOutputBuffer() { buffer.Reset(); }

private:
    OutputBuffer buffer;
};

} // namespace IO
