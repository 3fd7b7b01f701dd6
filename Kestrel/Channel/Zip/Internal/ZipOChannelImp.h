#pragma once

#include <Kestrel/Channel/OutputBuffer.h>
#include <Kestrel/Channel/Zip/Internal/ZipBlockPool.h>
#include <Kestrel/Channel/Zip/ZipOChannel.h>
#include <Kestrel/Root/Threads/Thread.h>

#include <zlib.h>

#include <memory>

namespace IO {

/// The implementation of a ZipOChannel: the compressor, and the worker that drives it.
///
/// From construction on, the stream, the output area, `zipStatus` and the destination belong to the
/// worker, if there is one; the block that is being filled and the counters to the writer. Only the
/// two queues of the pool are shared.
class ZipOChannel::ZipOChannelImp final : public OutputBuffer::BinOutput {
public:
    ZipOChannelImp(Mu::OChannel & destination, ZipOChannelOptions const & options);
    ~ZipOChannelImp();

    MuErrCode InternalWrite(char const * source, unsigned int count,
                            unsigned int * written) override;
    MuErrCode ImpFullFlush();
    /// Finishes the stream; all of it has been written to the destination then.
    void Close();

    unsigned long long GetTotalInput() const { return totalInput; }
    Mu::OChannel & GetDestination() const { return *destinationChannel; }

private:
    class ZipThreadRunner;

    void StartWorker();
    void RunWorker();
    bool Serve(ZipBlock block);
    void CopyToBlocks(char const * source, unsigned int count);
    MuErrCode DrainOutput();
    MuErrCode CompressInput();
    MuErrCode DeflateFlush(int flush);
    MuErrCode Compress(char const * data, unsigned int size, unsigned int * written);
    MuErrCode Finish();

    static constexpr unsigned int outputBufferSize = 1024;

    z_stream stream;
    MuErrCode zipStatus; // sticks
    bool initialized;
    Mu::OChannel * destinationChannel; // not owned
    unsigned long long totalInput = 0;
    char outputBuffer[outputBufferSize];
    bool useThread;
    std::unique_ptr<ZipBlockPool> pool; // null without a worker
    ZipBlock currentBlock;
    std::unique_ptr<Mu::Thread> worker;
    unsigned long long bytesSinceFullFlush = 0;
    unsigned long long autoFullFlushLimit;
};

} // namespace IO
