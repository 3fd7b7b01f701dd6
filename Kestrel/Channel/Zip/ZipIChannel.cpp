#include <Kestrel/Channel/Zip/ZipIChannel.h>

#include <Kestrel/Channel/Zip/Internal/ZipIChannelImp.h>

#include <algorithm>
#include <new>

namespace IO {

ZipIChannel::ZipIChannel(Mu::IChannel & source) : IChannelAdapter(source.GetInputProtocol()) {
    static_assert(sizeof(ZipIChannelImp) <= sizeof storage);
    imp = new (storage) ZipIChannelImp(source);
    SetBinInput(*imp);
    ReadInLine(*this);
}

ZipIChannel::~ZipIChannel() {
    ClearBinInput();
    imp->~ZipIChannelImp();
}

MuErrCode ZipIChannel::GetInputPosition(unsigned long long * position) const {
    // 0 while the total is less than what is buffered: it does not count bytes pushed back before
    // the start, nor those of a read that failed.
    unsigned long long const total = imp->GetTotalOutput();
    *position = total - std::min<unsigned long long>(total, GetDataSizeInInputBuffer());
    return NoError;
}

MuErrCode ZipIChannel::GetAvailable(unsigned long long *) const {
    return Error;
}

void ZipIChannel::SetDefaultInputProtocol() {
    SetInputProtocol(imp->GetSource().GetInputProtocol());
}

MuErrCode ZipIChannel::GetZipError() const {
    return imp->GetZipError();
}

MuErrCode ZipIChannel::FindNextFlushFlush(unsigned long long limit) {
    MuErrCode const found = imp->FindNextFullFlush(limit);
    if (found == NoError)
        ResetInputStatus();
    return found;
}

} // namespace IO
