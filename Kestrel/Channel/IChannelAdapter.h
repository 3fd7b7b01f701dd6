#pragma once

#include <Kestrel/Channel/InputBuffer.h>
#include <Kestrel/Root/Streams/IChannel.h>

#include <concepts>
#include <typeinfo>

namespace IO {

/// An input channel over an InputBuffer, whole but for where the bytes come from.
///
/// To make a channel, derive from this and from InputBuffer::BinInput and call SetBinInput(*this)
/// in the constructor, or hold a private object that is a BinInput. Two operations are left to
/// implement: GetInputPosition and SetDefaultInputProtocol; GetAvailable is worth one where it is
/// known.
///
/// Numbers are read where they lie in the buffer. A channel that is its own source has that by
/// SetBinInput; one with a private object calls ReadInLine.
///
/// The buffer reads ahead, so a position is what the source gave less GetDataSizeInInputBuffer().
///
/// Memory:  a ring of 4096 bytes, taken by the first read, as documented at InputBuffer.
/// Threads: one at a time.
/// Failure: those of InputBuffer; none are added.
class KESTREL_API IChannelAdapter : public Mu::IChannel {
public:
    ~IChannelAdapter() override;

    // Out-parameters that count may be null here.

    KESTREL_INLINE_API MuErrCode ReadBin(char * destination, unsigned int count,
                                         unsigned int * read) override {
        if (!inputWindow.TakeFew(destination, count))
            return ReadRest(destination, count, read);
        if (read != nullptr)
            *read = count;
        return NoError;
    }
    MuErrCode CopyBin(char * destination, unsigned int count, unsigned int * copied) override;
    MuErrCode Look(unsigned int offset, char * c) override;
    MuErrCode PushBack(char c) override;
    MuErrCode PushBack(char const * source, unsigned int count) override;
    /// `*skipped` is 0 when there was no memory for the ring.
    MuErrCode Skip(unsigned long long count, unsigned long long * skipped) override;
    MuErrCode DirectInputAccess(unsigned int size, char ** data, unsigned int * available) override;
    MuErrCode GetInputStatus() const override;
    void ResetInputStatus() override;

    void EnableInputBuffering() { buffer.EnableBuffering(); }
    void DisableInputBuffering() { buffer.DisableBuffering(); }
    bool IsInputBufferingEnabled() const { return buffer.IsBufferingEnabled(); }

protected:
    explicit IChannelAdapter(Mu::IProtocol & protocol);

    void SetBinInput(InputBuffer::BinInput & input) { buffer.SetBinInput(input); }
    /// For a channel that is its own source; ReadInLine is done with it.
    template <typename Channel>
    requires std::derived_from<Channel, IChannelAdapter> &&
        std::derived_from<Channel, InputBuffer::BinInput>
    void SetBinInput(Channel & channel) {
        buffer.SetBinInput(channel);
        ReadInLine(channel);
    }
    /// For the constructor of a channel, with itself: numbers are read where they lie in the buffer,
    /// without a call of ReadBin, unless the class has a ReadBin of its own. What derives from that
    /// class is not meant by that, until it does the same in its own constructor.
    template <typename Channel>
    void ReadInLine(Channel &) {
        using Ours = MuErrCode (IChannelAdapter::*)(char *, unsigned int, unsigned int *);
        inLineType = nullptr;
        if constexpr (requires { requires std::same_as<decltype(&Channel::ReadBin), Ours>; })
            inLineType = &typeid(Channel);
    }
    void ClearBinInput() { buffer.ClearBinInput(); }
    InputBuffer::BinInput & GetBinInput() const { return buffer.GetBinInput(); }
    unsigned int GetDataSizeInInputBuffer() const {
        NoteReading();
        return buffer.GetDataSize();
    }
    /// Drops what is buffered, the statuses and the ring's memory.
    void ResetInputBuffer();

private:
    class Turn;

    MuErrCode ReadRest(char * destination, unsigned int count, unsigned int * read);
    void NoteReading() const {
        if (!inputWindow.IsOpen())
            return;
        buffer.TakeUpTo(inputWindow.GetPlace());
        inputWindow.CloseIfUsedUp();
    }

    mutable InputBuffer buffer;                  // questions take note of what was read in line
    std::type_info const * inLineType = nullptr; // the class that may be read so
};

} // namespace IO
