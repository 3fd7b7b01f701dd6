#pragma once

#include <Kestrel/Channel/OChannelAdapter.h>

namespace IO {

/// Discards bytes and counts them, to determine the length of a written form.
///
/// Memory:  the adapter's block of 16384 bytes.
/// Threads: one at a time.
/// Failure: only a shortage of memory.
class KESTREL_API NullOChannel : public OChannelAdapter, public OutputBuffer::BinOutput {
public:
    NullOChannel();
    /// Does not flush, as this would have no effect.
    ~NullOChannel() override;

    /// The number of bytes written, flushed or not.
    unsigned long long GetDataSize() const { return byteCount + GetDataSizeInOutputBuffer(); }
    void SetDefaultOutputProtocol() override;

private:
    MuErrCode InternalWrite(char const * source, unsigned int count,
                            unsigned int * written) override;

    unsigned long long byteCount = 0; // those that have left the buffer
};

} // namespace IO
