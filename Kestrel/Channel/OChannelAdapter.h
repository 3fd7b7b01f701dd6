#pragma once

#include <Kestrel/Channel/OutputBuffer.h>
#include <Kestrel/Root/Streams/OChannel.h>

#include <concepts>
#include <typeinfo>

namespace IO {

/// An output channel over an OutputBuffer, whole but for where the bytes go.
///
/// To make a channel, derive from this and from OutputBuffer::BinOutput and call
/// SetBinOutput(*this) in the constructor, or hold a private object that is a BinOutput. One
/// operation is left to implement, SetDefaultOutputProtocol. The destructor does not flush, for the
/// sink of the derived class is gone by then: a channel that must not lose bytes flushes in its
/// own.
///
/// Numbers are written where they go in the buffer. A channel that is its own sink has that by
/// SetBinOutput; one with a private object calls WriteInLine.
///
/// Memory:  blocks of 16384 bytes, the first taken by the first write, as documented at
///          OutputBuffer.
/// Threads: one at a time.
/// Failure: those of OutputBuffer; none are added.
class KESTREL_API OChannelAdapter : public Mu::OChannel {
public:
    ~OChannelAdapter() override;

    // Out-parameters that count may be null here.

    // Kept: `*written` is `count` whatever the result. Bytes wait in the buffer, so there is no
    // telling how many arrive; the status is what counts.
    KESTREL_INLINE_API MuErrCode WriteBin(char const * source, unsigned int count,
                                          unsigned int * written) override {
        if (written != nullptr)
            *written = count;
        return outputWindow.PutFew(source, count) ? NoError : WriteRest(source, count);
    }
    MuErrCode DirectOutputAccess(unsigned int offset, char ** data,
                                 unsigned int * available) override;
    /// The position of the next byte, counted from the first one ever written; PopMark sets it back
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
    void DisableOutputBuffering();
    bool IsOutputBufferingEnabled() const { return buffer.IsBufferingEnabled(); }

protected:
    explicit OChannelAdapter(Mu::OProtocol & protocol);

    void SetBinOutput(OutputBuffer::BinOutput & output) { buffer.SetBinOutput(output); }
    /// For a channel that is its own sink; WriteInLine is done with it.
    template <typename Channel>
    requires std::derived_from<Channel, OChannelAdapter> &&
        std::derived_from<Channel, OutputBuffer::BinOutput>
    void SetBinOutput(Channel & channel) {
        buffer.SetBinOutput(channel);
        WriteInLine(channel);
    }
    /// For the constructor of a channel, with itself: numbers are written where they go in the buffer,
    /// without a call of WriteBin, unless the class has a WriteBin of its own. What derives from that
    /// class is not meant by that, until it does the same in its own constructor.
    template <typename Channel>
    void WriteInLine(Channel &) {
        using Ours = MuErrCode (OChannelAdapter::*)(char const *, unsigned int, unsigned int *);
        inLineType = nullptr;
        if constexpr (requires { requires std::same_as<decltype(&Channel::WriteBin), Ours>; })
            inLineType = &typeid(Channel);
    }
    void ClearBinOutput() { buffer.ClearBinOutput(); }
    OutputBuffer::BinOutput & GetBinOutput() const { return buffer.GetBinOutput(); }
    unsigned int GetDataSizeInOutputBuffer() const {
        NoteWriting();
        return buffer.GetDataSize();
    }
    /// Drops what is buffered, the marks, the status and the blocks.
    void ResetOutputBuffer();

private:
    class Turn;

    MuErrCode WriteRest(char const * source, unsigned int count);
    void NoteWriting() const {
        if (outputWindow.IsOpen())
            buffer.FillUpTo(outputWindow.GetPlace());
    }

    mutable OutputBuffer buffer;                 // questions take note of what was written in line
    std::type_info const * inLineType = nullptr; // the class that may be written so
};

} // namespace IO
