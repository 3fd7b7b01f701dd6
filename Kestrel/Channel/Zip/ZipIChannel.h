#pragma once

#include <Kestrel/Channel/IChannelAdapter.h>

#include <cstddef>

namespace IO {

/// The result of GetZipError after zlib has found invalid data.
inline constexpr MuErrCode ZipDataError = Mu::MakeErrorCode(0x81010803);

/// Decompresses a zlib stream (RFC 1950) from another channel.
///
/// Reads exactly the bytes of the stream and none behind it, so that reading the source can
/// continue there, for example with another ZipIChannel. EOI is the end of the stream, not of the
/// source.
///
/// Memory:  zlib's state, about 40 KiB, and the adapter's ring; independent of any length.
/// Threads: one at a time. The source must outlive the channel.
/// Failure: statuses. InputFailure: the data is broken (GetZipError returns ZipDataError then), or
///          the source ends before the stream does (GetZipError returns NoError). Statuses of the
///          source are passed on. Error: zlib had no memory.
class KESTREL_API ZipIChannel : public IChannelAdapter {
public:
    /// Adopts the source's current protocol. Reads nothing yet.
    explicit ZipIChannel(Mu::IChannel & source);
    ~ZipIChannel() override;

    /// The position in the decompressed data.
    MuErrCode GetInputPosition(unsigned long long * position) const override;
    using Mu::IChannel::GetAvailable;
    /// Error, and the number is unchanged: the decompressed size is unknown.
    MuErrCode GetAvailable(unsigned long long * available) const override;
    /// Adopts the source's current protocol.
    void SetDefaultInputProtocol() override;

    /// ZipDataError once the data was broken, even after reading has continued past that place.
    virtual MuErrCode GetZipError() const;
    /// Searches the source for the next full flush point, up to its position `limit` (0: 4 GiB).
    /// NoError: reading continues there, after what is still in the channel's buffer. EOI: the
    /// source ended first. Error: the limit was reached first.
    virtual MuErrCode FindNextFlushFlush(unsigned long long limit);

private:
    class ZipIChannelImp;

    alignas(std::max_align_t) char storage[2048]; // for the implementation
    ZipIChannelImp * imp;
};

} // namespace IO
