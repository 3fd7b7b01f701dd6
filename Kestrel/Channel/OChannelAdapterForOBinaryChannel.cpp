#include <Kestrel/Channel/OChannelAdapterForOBinaryChannel.h>

#include <Kestrel/Channel/BinProtocol.h>
#include <Kestrel/Root/Log/Quietly.h>

#include <memory>
#include <new>

namespace IO {

using SharedSink = Mu::Ref<Mu::OBinaryChannel, Mu::AtomicCounter>;

OChannelAdapterForOBinaryChannel::OChannelAdapterForOBinaryChannel(Mu::OBinaryChannel & channel)
    : OChannelAdapter(binOProtocol), binaryChannel(&channel) {
    SetBinOutput(*this);
}

OChannelAdapterForOBinaryChannel::OChannelAdapterForOBinaryChannel(SharedSink const & channel)
    : OChannelAdapter(binOProtocol), binaryChannel(&*channel), // throws for an empty one
      channelRef(::new (Mu::NewOrThrow(sizeof(SharedSink))) SharedSink(channel)) {
    SetBinOutput(*this);
}

OChannelAdapterForOBinaryChannel::~OChannelAdapterForOBinaryChannel() {
    Mu::Quietly([this] { (void)Flush(); });
    binaryChannel = nullptr;
    if (channelRef != nullptr)
        std::destroy_at(channelRef);
    Mu::DeleteOperator(channelRef);
}

void OChannelAdapterForOBinaryChannel::SetDefaultOutputProtocol() {
    SetOutputProtocol(binOProtocol);
}

MuErrCode OChannelAdapterForOBinaryChannel::InternalWrite(char const * source, unsigned int count,
                                                          unsigned int * written) {
    try {
        binaryChannel->Write(source, count);
    } catch (Mu::MuException const & exception) {
        return exception.GetID();
    }
    if (written != nullptr)
        *written = count;
    return NoError;
}

} // namespace IO
