#pragma once

#include <Kestrel/Channel/OutputBuffer.h>
#include <Kestrel/Root/Streams/OChannel.h>

#include <concepts>
#include <typeinfo>

namespace IO {

/// An output channel over an OutputBuffer, complete except for the destination of the bytes.
///
/// To write a channel, derive from this class and from OutputBuffer::BinOutput and call
/// SetBinOutput(*this) in the constructor, or use a private object that is a BinOutput. One
/// operation must be implemented, SetDefaultOutputProtocol. The destructor does not flush, as the
/// derived class's sink is already destroyed then: a channel that must not lose bytes flushes in
/// its own destructor.
///
/// Numbers are written directly to the buffer if the channel is its own sink and calls
/// SetBinOutput; one with a private object calls WriteInLine.
///
/// Memory:  blocks of 16384 bytes, the first allocated by the first write, as documented for
///          OutputBuffer.
/// Threads: one at a time.
/// Failure: as for OutputBuffer.
class KESTREL_API OChannelAdapter : public Mu::OChannel {
public:
    ~OChannelAdapter() override;

    // Out-parameters for counts may be null here.

    // Kept: `*written` is `count` whatever the result. As the bytes are buffered, the number that
    // will arrive is unknown; the status is what counts.
    KESTREL_INLINE_API MuErrCode WriteBin(char const * source, unsigned int count,
                                          unsigned int * written) override {
        if (written != nullptr)
            *written = count;
        return outputWindow.PutFew(source, count) ? NoError : WriteRest(source, count);
    }
    MuErrCode DirectOutputAccess(unsigned int offset, char ** data,
                                 unsigned int * available) override;
    /// The position of the next byte, from the first one ever written; PopMark sets it back, and
    /// ResetOffset restores it. Always NoError.
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
    /// For a channel that is its own sink; includes WriteInLine.
    template <typename Channel>
    requires std::derived_from<Channel, OChannelAdapter> &&
        std::derived_from<Channel, OutputBuffer::BinOutput>
    void SetBinOutput(Channel & channel) {
        buffer.SetBinOutput(channel);
        WriteInLine(channel);
    }
    /// To be called in the constructor of a channel with `this`: numbers are written directly to
    /// the buffer, without a call of WriteBin, unless the class overrides WriteBin. Derived classes
    /// are excluded unless they call it in their own constructors.
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
    /// Discards the buffered bytes, the marks and the status, and frees the blocks.
    void ResetOutputBuffer();

private:
    class Turn;

    MuErrCode WriteRest(char const * source, unsigned int count);
    void NoteWriting() const {
        if (outputWindow.IsOpen())
            buffer.FillUpTo(outputWindow.GetPlace());
    }

    mutable OutputBuffer buffer;                 // const operations note what was written
    std::type_info const * inLineType = nullptr; // the class that may be written in line
};

} // namespace IO
