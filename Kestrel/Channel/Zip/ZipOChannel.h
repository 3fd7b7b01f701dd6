#pragma once

#include <Kestrel/Channel/OChannelAdapter.h>
#include <Kestrel/Channel/Zip/ZipOChannelOptions.h>

#include <cstddef>

namespace IO {

/// Compresses what is written to it into another channel, as one plain zlib stream (RFC 1950).
///
/// The stream is complete only when the channel is gone: there is no other way to finish it. Two
/// channels, one after the other, write two streams behind each other.
///
/// With a worker thread, which is the default, the writer only copies; the compressor may lag up to
/// 400 KiB behind. The destination belongs to the worker then, from construction to destruction:
/// keep your hands off it. And keep it writeable: when it fails, or memory runs out for the worker,
/// the worker ends and nobody is notified; the writer goes on until the blocks between are used up,
/// and then waits for ever. For a destination that may fail, such as a disk that may be full, and
/// where memory may run out, compress in the writing thread.
///
/// Memory:  zlib's state, about 260 KiB; with a worker, blocks of 4096 bytes, 100 at the most. The
///          first of these must be had: Mu::OutOfMemoryException.
/// Threads: one at a time, besides the channel's own. The destination must outlive the channel.
/// Failure: statuses. In the writing thread, what the destination says; Error for zlib's own
///          failures. What the destination throws in the writing thread leaves the writing
///          operation; in the worker it counts as a failure. At the end nothing is reported and
///          nothing thrown; flush the destination and check its status.
class KESTREL_API ZipOChannel : public OChannelAdapter {
public:
    /// Takes over the destination's present protocol. Mu::ThreadingException: the worker cannot be.
    ZipOChannel(Mu::OChannel & destination, ZipOChannelOptions const & options);
    /// Writes the end of the stream, and waits until it has reached the destination.
    ~ZipOChannel() override;

    /// Of the data as written here, not of the compressed bytes.
    MuErrCode GetOutputPosition(unsigned long long * position) const override;
    /// The destination's present protocol.
    void SetDefaultOutputProtocol() override;

    /// Flushes, and sets a point from which a damaged stream can be read on. Error in the writing
    /// thread when there is nothing since the last one; the stream is fine all the same.
    virtual MuErrCode FullFlush();

private:
    class ZipOChannelImp;

    alignas(std::max_align_t) char storage[2048]; // of the implementation
    ZipOChannelImp * imp;
};

} // namespace IO
