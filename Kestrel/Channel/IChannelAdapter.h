#pragma once

#include <Kestrel/Channel/InputBuffer.h>
#include <Kestrel/Root/Streams/IChannel.h>

namespace IO {

/// An input channel over an InputBuffer, whole but for where the bytes come from.
///
/// To make a channel, derive from this and from InputBuffer::BinInput and call SetBinInput(*this)
/// in the constructor, or hold a private object that is a BinInput. Two operations are left to
/// implement: GetInputPosition and SetDefaultInputProtocol; GetAvailable is worth one where it is
/// known.
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
        unsigned int ignored;
        return buffer.Get(destination, count, read != nullptr ? read : &ignored);
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
    void ClearBinInput() { buffer.ClearBinInput(); }
    InputBuffer::BinInput & GetBinInput() const { return buffer.GetBinInput(); }
    unsigned int GetDataSizeInInputBuffer() const { return buffer.GetDataSize(); }
    /// Drops what is buffered, the statuses and the ring's memory.
    void ResetInputBuffer() { buffer.Reset(); }

private:
    InputBuffer buffer;
};

} // namespace IO
