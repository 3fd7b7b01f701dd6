#include <Kestrel/Root/Streams/IChannel.h>

#include <Kestrel/Root/Objects/Frame.h>
#include <Kestrel/Root/Values/Guid.h>

namespace Mu {

IProtocol::~IProtocol() = default;

MuErrCode IProtocol::Read(IChannel & channel, Guid & value) {
    return value.ReadStructured(channel);
}

IChannel::~IChannel() = default;

MuErrCode IChannel::PushBack(char c) {
    return PushBack(&c, 1);
}

MuErrCode IChannel::GetAvailable(unsigned int * available) const {
    unsigned long long wide = 0;
    MuErrCode const status = GetAvailable(&wide);
    bool const fits = wide <= 0xFFFFFFFFu;
    if (available != nullptr)
        *available = fits ? static_cast<unsigned int>(wide) : 0;
    return status == NoError && !fits ? Error : status;
}

MuErrCode IChannel::GetAvailable(unsigned long long * available) const {
    if (available != nullptr)
        *available = 0;
    return Error;
}

bool IChannel::IsEOI() {
    char c;
    return Look(0, &c) == EOI;
}

void IChannel::SetInputProtocol(IProtocol & protocol) {
    if (IsNull(protocol))
        return;
    inputProtocol = &protocol;
    inputWindow.SetPlain(protocol.IsPlain());
}

unsigned long long IChannel::GetReadLimit() const {
    return frame == nullptr ? ~0ull : frame->GetRest();
}

MuErrCode IChannel::ConvertObjectReadError(int status) {
    return status == EOI ? Error : status;
}

} // namespace Mu
