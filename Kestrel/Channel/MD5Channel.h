#pragma once

#include <Kestrel/Channel/OChannelAdapter.h>
#include <Kestrel/Root/Values/MD5.h>

namespace IO {

/// Computes the MD5 digest of what is written to it. Stores none of the bytes.
///
/// Memory:  the adapter's block of 16384 bytes.
/// Threads: one at a time.
/// Failure: only a shortage of memory: check GetOutputStatus before using the digest.
class KESTREL_API MD5Channel : public OChannelAdapter, public OutputBuffer::BinOutput {
public:
    MD5Channel();
    /// Does not flush: only Finish returns a digest.
    ~MD5Channel() override;

    /// Flushes and returns the digest of everything written. Later writes, or a second call, start
    /// a new digest.
    void Finish(MD5::FingerPrint * fingerPrint);
    void SetDefaultOutputProtocol() override;

private:
    MuErrCode InternalWrite(char const * source, unsigned int count,
                            unsigned int * written) override;

    MD5::Generator generator;
    bool finished = false; // for dumps; not used here
};

} // namespace IO
