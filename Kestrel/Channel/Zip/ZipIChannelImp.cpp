#include <Kestrel/Channel/Zip/Internal/ZipIChannelImp.h>

#include <Kestrel/Channel/Zip/Internal/ZipMemory.h>

#include <algorithm>

namespace IO {

ZipIChannel::ZipIChannelImp::ZipIChannelImp(Mu::IChannel & source)
    : stream(MakeZipStream()), sourceChannel(&source) {
    initStatus = inflateInit(&stream) == Z_OK ? NoError : Error;
}

ZipIChannel::ZipIChannelImp::~ZipIChannelImp() {
    if (initialized && initStatus == NoError)
        inflateEnd(&stream);
}

MuErrCode ZipIChannel::ZipIChannelImp::InternalRead(char * destination, unsigned int count,
                                                    unsigned int * read) {
    *read = 0;
    if (!initialized || initStatus != NoError)
        return Error;
    stream.next_out = reinterpret_cast<Bytef *>(destination);
    stream.avail_out = count;
    while (*read < count) {
        char * data = nullptr;
        unsigned int available = 0;
        MuErrCode const status = sourceChannel->DirectInputAccess(0, &data, &available);
        if (status != NoError)
            return status;
        int const result = InflateFrom(data, available);
        *read = count - stream.avail_out;
        if (result == Z_STREAM_END) {
            totalOutput += *read;
            return EOI;
        }
        if (result == Z_DATA_ERROR)
            zipError = ZipDataError;
        if (result != Z_OK)
            return InputFailure; // also Z_BUF_ERROR: the source is at its end, the stream is not
    }
    totalOutput += *read;
    return NoError;
}

// Consumes what zlib uses, and no byte of what follows the stream.
int ZipIChannel::ZipIChannelImp::InflateFrom(char * data, unsigned int available) {
    stream.next_in = reinterpret_cast<Bytef *>(data);
    stream.avail_in = available;
    int const result = inflate(&stream, Z_SYNC_FLUSH);
    rest = stream.avail_in;
    stream.avail_in = 0; // the rest remains in the source, which may move it
    sourceChannel->Skip(available - rest, nullptr);
    return result;
}

// Makes the unused rest of what the source last offered the input, wherever it is by now.
void ZipIChannel::ZipIChannelImp::LookAtRest() {
    char * data = nullptr;
    unsigned int available = 0;
    if (rest == 0 || sourceChannel->DirectInputAccess(0, &data, &available) != NoError)
        return;
    stream.next_in = reinterpret_cast<Bytef *>(data);
    stream.avail_in = std::min(rest, available);
}

int ZipIChannel::ZipIChannelImp::SyncAndSkip(unsigned long long * position) {
    unsigned int const before = stream.avail_in;
    int const result = inflateSync(&stream);
    rest = stream.avail_in;
    stream.avail_in = 0;
    sourceChannel->Skip(before - rest, nullptr);
    sourceChannel->GetInputPosition(position);
    return result;
}

MuErrCode ZipIChannel::ZipIChannelImp::FindNextFullFlush(unsigned long long limit) {
    if (initStatus != NoError)
        return Error;
    if (limit == 0)
        limit = 0xFFFFFFFFu;
    unsigned long long position = 0;
    LookAtRest(); // before the limit counts
    int result = SyncAndSkip(&position);
    while ((result == Z_BUF_ERROR || result == Z_DATA_ERROR) && position < limit) {
        char * data = nullptr;
        unsigned int available = 0;
        MuErrCode const status = sourceChannel->DirectInputAccess(0, &data, &available);
        if (status == EOI || available == 0)
            return EOI;
        if (status != NoError)
            return status;
        stream.next_in = reinterpret_cast<Bytef *>(data);
        stream.avail_in = available;
        result = SyncAndSkip(&position);
    }
    return result == Z_OK ? NoError : Error;
}

} // namespace IO
