#pragma once

#include <Kestrel/Channel/IChannelAdapter.h>

#include <cstddef>

namespace IO {

/// The result of GetCodeError after a record with an invalid header.
inline constexpr MuErrCode CodeDataError = Mu::MakeErrorCode(0x81010903);

/// Deciphers the output of a CodeOChannel.
///
/// EOI is the record that ends the stream; the source can be read on behind it, after
/// ResetInputStatus also through this channel. A wrong key is not detected and gives wrong bytes.
/// If the source ends without that record, this is detected late: the last record is returned once
/// more, as garbage, with the source's own status.
///
/// Memory:  the cipher's tables, 4168 bytes, and the adapter's ring.
/// Threads: one at a time. The source must outlive the channel.
/// Failure: statuses. InputFailure: a record is broken, and GetCodeError returns CodeDataError.
///          Other statuses are the source's.
class KESTREL_API CodeIChannel : public IChannelAdapter {
public:
    /// Adopts the source's current protocol. Reads nothing yet. Throws Mu::OutOfMemoryException.
    CodeIChannel(Mu::IChannel & source, void const * key, unsigned int length);
    ~CodeIChannel() override;

    /// The position in the deciphered data.
    MuErrCode GetInputPosition(unsigned long long * position) const override;
    /// Adopts the source's current protocol.
    void SetDefaultInputProtocol() override;

    virtual MuErrCode GetCodeError() const;
    /// Searches the source for the next record, in steps of two bytes, and resets the status so
    /// that reading continues there, after what is still in the channel's buffer. For a source that
    /// lost whole records. NoError, or the status of the source.
    virtual MuErrCode FindNextBlock();

private:
    class CodeIChannelImp;

    alignas(std::max_align_t) char storage[2048]; // for the implementation
    CodeIChannelImp * imp;
};

} // namespace IO
