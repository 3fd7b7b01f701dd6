#pragma once

#include <Kestrel/Channel/InputBuffer.h>
#include <Kestrel/Root/Streams/IChannel.h>

#include <concepts>
#include <typeinfo>

namespace IO {

/// An input channel over an InputBuffer, complete except for the source of the bytes.
///
/// To write a channel, derive from this class and from InputBuffer::BinInput and call
/// SetBinInput(*this) in the constructor, or use a private object that is a BinInput. Two
/// operations must be implemented: GetInputPosition and SetDefaultInputProtocol; GetAvailable
/// should be if the number is known.
///
/// Numbers are read directly from the buffer if the channel is its own source and calls
/// SetBinInput; one with a private object calls ReadInLine.
///
/// The buffer reads ahead, so a position is that of the source minus GetDataSizeInInputBuffer().
///
/// Memory:  a ring of 4096 bytes, allocated by the first read, as documented for InputBuffer.
/// Threads: one at a time.
/// Failure: as for InputBuffer.
class KESTREL_API IChannelAdapter : public Mu::IChannel {
public:
    ~IChannelAdapter() override;

    // Out-parameters for counts may be null here.

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
    /// `*skipped` is 0 if there was no memory for the ring.
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
    /// For a channel that is its own source; includes ReadInLine.
    template <typename Channel>
    requires std::derived_from<Channel, IChannelAdapter> &&
        std::derived_from<Channel, InputBuffer::BinInput>
    void SetBinInput(Channel & channel) {
        buffer.SetBinInput(channel);
        ReadInLine(channel);
    }
    /// To be called in the constructor of a channel with `this`: numbers are read directly from the
    /// buffer, without a call of ReadBin, unless the class overrides ReadBin. Derived classes are
    /// excluded unless they call it in their own constructors.
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
    /// Discards the buffered bytes and the statuses, and frees the ring.
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

    mutable InputBuffer buffer;                  // const operations note what was read
    std::type_info const * inLineType = nullptr; // the class that may be read in line
};

} // namespace IO
