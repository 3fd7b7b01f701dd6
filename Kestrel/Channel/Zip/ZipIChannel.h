#pragma once

#include <Kestrel/Channel/IChannelAdapter.h>

#include <cstddef>

namespace IO {

/// What GetZipError returns after zlib has found that the data is no stream of its own.
inline constexpr MuErrCode ZipDataError = Mu::MakeErrorCode(0x81010803);

/// Decompresses a zlib stream (RFC 1950) out of another channel.
///
/// Takes exactly the bytes of the stream and none behind it, so that the source can be read on
/// there, by another ZipIChannel for instance. EOI is the end of the stream, not of the source.
///
/// Memory:  zlib's state, about 40 KiB, and the adapter's ring; none by the length of anything.
/// Threads: one at a time. The source must outlive the channel.
/// Failure: statuses. InputFailure: the data is broken (GetZipError says ZipDataError then), or the
///          source ends before the stream does (GetZipError says NoError). What the source says is
///          passed on. Error: zlib had no memory.
class KESTREL_API ZipIChannel : public IChannelAdapter {
public:
    /// Takes over the source's present protocol. Reads nothing yet.
    explicit ZipIChannel(Mu::IChannel & source);
    ~ZipIChannel() override;

    /// Of the decompressed data.
    MuErrCode GetInputPosition(unsigned long long * position) const override;
    using Mu::IChannel::GetAvailable;
    /// Error, and the number is unchanged: the decompressed size is unknown.
    MuErrCode GetAvailable(unsigned long long * available) const override;
    /// The source's present protocol.
    void SetDefaultInputProtocol() override;

    /// ZipDataError once the data was broken, also after reading continued behind the break.
    virtual MuErrCode GetZipError() const;
    /// Searches the source for the next full flush point, up to its position `limit` (0: 4 GiB).
    /// NoError: reading continues there, after what is still in the channel's buffer. EOI: the
    /// source ended first. Error: the limit came first.
    virtual MuErrCode FindNextFlushFlush(unsigned long long limit);

private:
    class ZipIChannelImp;

    alignas(std::max_align_t) char storage[2048]; // of the implementation
    ZipIChannelImp * imp;
};

} // namespace IO
