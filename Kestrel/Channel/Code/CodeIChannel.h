#pragma once

#include <Kestrel/Channel/IChannelAdapter.h>

#include <cstddef>

namespace IO {

/// What GetCodeError returns after a record that does not begin like one.
inline constexpr MuErrCode CodeDataError = Mu::MakeErrorCode(0x81010903);

/// Deciphers what a CodeOChannel wrote.
///
/// EOI is the record that ends the stream; what follows in the source can be read on, after
/// ResetInputStatus also through this channel. A wrong key is not detected: it yields wrong bytes.
/// A source that ends without that record is noticed late: its last record comes once more, as
/// rubbish, with the source's own status.
///
/// Memory:  the cipher's tables, 4168 bytes, and the adapter's ring.
/// Threads: one at a time. The source must outlive the channel.
/// Failure: statuses. InputFailure: a record is broken, and GetCodeError says CodeDataError. Other
///          statuses are the source's.
class KESTREL_API CodeIChannel : public IChannelAdapter {
public:
    /// Takes over the source's present protocol. Reads nothing yet. Throws
    /// Mu::OutOfMemoryException.
    CodeIChannel(Mu::IChannel & source, void const * key, unsigned int length);
    ~CodeIChannel() override;

    /// Of the deciphered data.
    MuErrCode GetInputPosition(unsigned long long * position) const override;
    /// The source's present protocol.
    void SetDefaultInputProtocol() override;

    virtual MuErrCode GetCodeError() const;
    /// Searches the source for the next record, by steps of two bytes, and resets the status so
    /// that reading goes on there, after what is still in the channel's buffer. For a source that
    /// lost whole records. NoError, or what the source says.
    virtual MuErrCode FindNextBlock();

private:
    class CodeIChannelImp;

    alignas(std::max_align_t) char storage[2048]; // of the implementation
    CodeIChannelImp * imp;
};

} // namespace IO
