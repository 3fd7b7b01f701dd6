#include <Kestrel/Channel/Zip/ZipOChannel.h>

#include <Kestrel/Channel/Zip/Internal/ZipOChannelImp.h>

#include <Kestrel/Root/Log/Quietly.h>

#include <new>

namespace IO {

ZipOChannel::ZipOChannel(Mu::OChannel & destination, ZipOChannelOptions const & options)
    : OChannelAdapter(destination.GetOutputProtocol()) {
    static_assert(sizeof(ZipOChannelImp) <= sizeof storage);
    imp = new (storage) ZipOChannelImp(destination, options);
    SetBinOutput(*imp);
    WriteInLine(*this);
}

ZipOChannel::~ZipOChannel() {
    Mu::Quietly([this] { (void)Flush(); });
    Mu::Quietly([this] { imp->Close(); });
    ClearBinOutput();
    imp->~ZipOChannelImp();
}

MuErrCode ZipOChannel::GetOutputPosition(unsigned long long * position) const {
    *position = imp->GetTotalInput() + GetDataSizeInOutputBuffer();
    if (IsOutputBufferingEnabled())
        *position -= GetOffset();
    return NoError;
}

void ZipOChannel::SetDefaultOutputProtocol() {
    SetOutputProtocol(imp->GetDestination().GetOutputProtocol());
}

MuErrCode ZipOChannel::FullFlush() {
    MuErrCode const flushed = Flush();
    return flushed != NoError ? flushed : imp->ImpFullFlush();
}

} // namespace IO
