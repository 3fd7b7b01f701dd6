#pragma once

#include <Kestrel/Channel/InputBuffer.h>
#include <Kestrel/Channel/Zip/ZipIChannel.h>

#include <zlib.h>

namespace IO {

/// The implementation of a ZipIChannel: the decompressor over the source's own bytes.
class ZipIChannel::ZipIChannelImp final : public InputBuffer::BinInput {
public:
    explicit ZipIChannelImp(Mu::IChannel & source);
    ~ZipIChannelImp();

    MuErrCode InternalRead(char * destination, unsigned int count, unsigned int * read) override;
    virtual MuErrCode GetZipError() const { return zipError; }
    virtual MuErrCode FindNextFullFlush(unsigned long long limit);

    unsigned long long GetTotalOutput() const { return totalOutput; }
    Mu::IChannel & GetSource() const { return *sourceChannel; }

private:
    int InflateFrom(char * data, unsigned int available);
    void LookAtRest();
    int SyncAndSkip(unsigned long long * position);

    z_stream stream;
    MuErrCode initStatus;
    MuErrCode zipError = NoError;
    bool initialized = true;
    Mu::IChannel * sourceChannel; // not owned
    unsigned long long totalOutput = 0;
    unsigned int rest = 0; // of those that the source offered last, unused by zlib
};

} // namespace IO
