#include <Kestrel/Channel/Zip/Internal/ZipOChannelImp.h>

#include <Kestrel/Channel/Zip/Internal/ZipMemory.h>
#include <Kestrel/Root/Errors/Exceptions.h>

#include <algorithm>

namespace IO {

namespace {

/// Input belongs to the caller and may not exist after the call. The rest of it is dropped when the
/// destination failed or threw, and the stream continues behind it if the destination recovers.
class InputDropper {
public:
    explicit InputDropper(z_stream & stream) : stream(stream) {}
    ~InputDropper() {
        stream.next_in = nullptr;
        stream.avail_in = 0;
    }
    InputDropper(InputDropper const &) = delete;
    InputDropper & operator=(InputDropper const &) = delete;

private:
    z_stream & stream;
};

} // namespace

class ZipOChannel::ZipOChannelImp::ZipThreadRunner : public Mu::Runnable {
public:
    explicit ZipThreadRunner(ZipOChannelImp & imp) : imp(imp) {}
    void Run() override { imp.RunWorker(); }

private:
    ZipOChannelImp & imp;
};

ZipOChannel::ZipOChannelImp::ZipOChannelImp(Mu::OChannel & destination,
                                            ZipOChannelOptions const & options)
    : stream(MakeZipStream()), initialized(true), destinationChannel(&destination),
      useThread(options.GetMT() == ZipOChannelOptions::WorkerThread),
      autoFullFlushLimit(options.GetAutoFullFlushAfterBytesOfData()) {
    zipStatus = deflateInit(&stream, options.GetCompressionLevel()) == Z_OK ? NoError : Error;
    stream.next_out = reinterpret_cast<Bytef *>(outputBuffer);
    stream.avail_out = outputBufferSize;
    if (!useThread)
        return;
    try {
        StartWorker();
    } catch (...) {
        deflateEnd(&stream);
        throw;
    }
}

// The first block is taken before the thread starts, so that its failure leaves no thread to stop.
void ZipOChannel::ZipOChannelImp::StartWorker() {
    pool.reset(new ZipBlockPool);
    currentBlock = pool->TakeFree();
    Mu::RunnableTask const task(new ZipThreadRunner(*this));
    worker.reset(new Mu::Thread(task, Mu::UniString()));
    if (!worker->Start())
        throw Mu::ThreadingException("Failed to start the zip thread.", __FILE__, __LINE__,
                                     Mu::NoCauseException);
}

// zlib frees what it holds in any state of the stream; after a failed deflateInit that is nothing.
ZipOChannel::ZipOChannelImp::~ZipOChannelImp() {
    deflateEnd(&stream);
}

MuErrCode ZipOChannel::ZipOChannelImp::InternalWrite(char const * source, unsigned int count,
                                                     unsigned int * written) {
    MuErrCode status = NoError;
    if (useThread) {
        CopyToBlocks(source, count);
        if (written != nullptr)
            *written = count;
    } else
        status = Compress(source, count, written);
    totalInput += count;
    if (autoFullFlushLimit != 0) {
        bytesSinceFullFlush += count;
        if (bytesSinceFullFlush > autoFullFlushLimit)
            ImpFullFlush(); // a failure is reported by the next write
    }
    return status;
}

// Kept: the count is taken as signed, so a write of 2 GiB or more copies nothing, but is reported
// as written. A single write of that size arrives here, as those larger than a block bypass the
// output buffer.
void ZipOChannel::ZipOChannelImp::CopyToBlocks(char const * source, unsigned int count) {
    for (int left = static_cast<int>(count); left > 0;) {
        unsigned int const room = currentBlock.capacity - currentBlock.used;
        unsigned int const piece = std::min(static_cast<unsigned int>(left), room);
        std::copy_n(source, piece, currentBlock.data + currentBlock.used);
        source += piece;
        left -= static_cast<int>(piece);
        currentBlock.used += piece;
        if (currentBlock.used == currentBlock.capacity) {
            pool->filled.Push(currentBlock);
            currentBlock = pool->TakeFree();
        }
    }
}

MuErrCode ZipOChannel::ZipOChannelImp::ImpFullFlush() {
    bytesSinceFullFlush = 0;
    if (!useThread)
        return DeflateFlush(Z_FULL_FLUSH);
    if (currentBlock.used > 0) {
        pool->filled.Push(currentBlock);
        currentBlock = pool->TakeFree();
    }
    pool->filled.Push(ZipBlock::MakeCommand(ZipBlock::FullFlushCommand));
    return NoError;
}

void ZipOChannel::ZipOChannelImp::Close() {
    if (useThread) {
        pool->filled.Push(currentBlock);
        pool->filled.Push(ZipBlock::MakeCommand(ZipBlock::FinishCommand));
        worker->Join(false);
    } else
        Finish();
}

// A failure of the compressor or the destination ends the worker silently; see ZipOChannel.
void ZipOChannel::ZipOChannelImp::RunWorker() {
    for (;;) {
        ZipBlock const block = pool->filled.Pop();
        if (block.data == nullptr && block.capacity == ZipBlock::FinishCommand)
            break;
        if (!Serve(block))
            return;
    }
    Finish();
}

bool ZipOChannel::ZipOChannelImp::Serve(ZipBlock block) {
    if (block.data == nullptr) {
        if (block.capacity == ZipBlock::FullFlushCommand)
            DeflateFlush(Z_FULL_FLUSH); // two in a row are no failure of the stream
        return true;
    }
    if (Compress(block.data, block.used, nullptr) != NoError)
        return false;
    block.used = 0;
    pool->free.Push(block);
    return true;
}

MuErrCode ZipOChannel::ZipOChannelImp::DrainOutput() {
    if (zipStatus != NoError)
        return zipStatus;
    unsigned int const filled = outputBufferSize - stream.avail_out;
    stream.next_out = reinterpret_cast<Bytef *>(outputBuffer);
    stream.avail_out = outputBufferSize;
    return destinationChannel->WriteBin(outputBuffer, filled, nullptr);
}

MuErrCode ZipOChannel::ZipOChannelImp::CompressInput() {
    while (stream.avail_in != 0) {
        if (stream.avail_out < outputBufferSize / 2)
            if (MuErrCode const drained = DrainOutput(); drained != NoError)
                return drained;
        if (deflate(&stream, Z_NO_FLUSH) != Z_OK)
            return zipStatus = Error;
    }
    return NoError;
}

MuErrCode ZipOChannel::ZipOChannelImp::DeflateFlush(int flush) {
    if (MuErrCode const compressed = CompressInput(); compressed != NoError)
        return compressed;
    int result;
    for (;;) {
        result = deflate(&stream, flush);
        if ((result != Z_OK && result != Z_BUF_ERROR) || stream.avail_out != 0)
            break;
        if (DrainOutput() != NoError)
            return Error;
    }
    // A full flush without data since the last one returns Z_BUF_ERROR, and the compressor
    // continues.
    if (flush != Z_FINISH)
        return result == Z_OK ? NoError : Error;
    return DrainOutput() == NoError && result == Z_STREAM_END ? NoError : Error;
}

MuErrCode ZipOChannel::ZipOChannelImp::Compress(char const * data, unsigned int size,
                                                unsigned int * written) {
    if (written != nullptr)
        *written = 0;
    if (!initialized || zipStatus != NoError)
        return Error;
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(data));
    stream.avail_in = size;
    InputDropper const dropper(stream);
    MuErrCode const status = CompressInput();
    if (status == NoError && written != nullptr)
        *written = size;
    return status;
}

MuErrCode ZipOChannel::ZipOChannelImp::Finish() {
    MuErrCode const finished = DeflateFlush(Z_FINISH);
    return finished == NoError ? DrainOutput() : finished;
}

} // namespace IO
