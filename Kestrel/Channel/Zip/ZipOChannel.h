#pragma once

#include <Kestrel/Channel/OChannelAdapter.h>
#include <Kestrel/Channel/Zip/ZipOChannelOptions.h>

#include <cstddef>

namespace IO {

/// Compresses what is written to it into another channel, as a plain zlib stream (RFC 1950).
///
/// The stream is complete only after the channel is destroyed, which is the only way to finish it.
/// Two channels in succession write two streams one after the other.
///
/// With a worker thread, which is the default, the writer only copies; the compressor may lag up to
/// 400 KiB behind. The worker then has exclusive use of the destination from construction to
/// destruction. It must remain writeable: if it fails, or memory runs out for the worker, the
/// worker ends without notification; the writer continues until the blocks in between are used up,
/// and then waits forever. For a destination that may fail, such as a disk that may be full, and if
/// memory may run out, compress in the writing thread.
///
/// Memory:  zlib's state, about 260 KiB; with a worker, up to 100 blocks of 4096 bytes. If the
///          first of these cannot be allocated, Mu::OutOfMemoryException is thrown.
/// Threads: one at a time, besides the channel's own. The destination must outlive the channel.
/// Failure: statuses. In the writing thread, those of the destination; Error for failures of zlib.
///          Exceptions of the destination in the writing thread are passed to the caller; in the
///          worker they count as failures. The destructor reports and throws nothing; flush the
///          destination and check its status.
class KESTREL_API ZipOChannel : public OChannelAdapter {
public:
    /// Adopts the destination's current protocol. Mu::ThreadingException: no worker can be started.
    ZipOChannel(Mu::OChannel & destination, ZipOChannelOptions const & options);
    /// Writes the end of the stream, and waits until it has reached the destination.
    ~ZipOChannel() override;

    /// The position in the uncompressed data.
    MuErrCode GetOutputPosition(unsigned long long * position) const override;
    /// Adopts the destination's current protocol.
    void SetDefaultOutputProtocol() override;

    /// Flushes, and sets a point from which a damaged stream can be read again. Error in the
    /// writing thread if nothing was written since the last one; this does not damage the stream.
    virtual MuErrCode FullFlush();

private:
    class ZipOChannelImp;

    alignas(std::max_align_t) char storage[2048]; // for the implementation
    ZipOChannelImp * imp;
};

} // namespace IO
